#!/usr/bin/env bash
# The two ways to build a program that a document shows, by CMake and by a compiler's command line, lead to a program that works:
# build_sample.sh SAMPLES DOCUMENT BUILD WORK. The program is the document's first one, which its samples call "mine"; the
# libraries are those that BUILD installs.
set -euo pipefail
samples=$1 document=$2 build=$3 work=$4
here=$(cd "$(dirname "$0")" && pwd)

rm -rf "$work"
mkdir -p "$work/project"
for component in runtime development; do
    cmake --install "$build" --prefix "$work/installed" --component "$component" >/dev/null
done
packages=$(dirname "$(find "$work/installed" -name ipseccfg.pc)")

cp "$samples/$document.1.cpp" "$work/project/mine.cpp"
{
    printf 'cmake_minimum_required(VERSION 3.20)\nproject(mine LANGUAGES CXX)\n'
    # The sample finds the package and links; between the two stands the program.
    sed 's/^\(target_link_libraries(\)/add_executable(mine mine.cpp)\n\1/' "$samples/$document.1.cmake"
} >"$work/project/CMakeLists.txt"
cmake -S "$work/project" -B "$work/project/build" -DCMAKE_PREFIX_PATH="$work/installed" >/dev/null
cmake --build "$work/project/build"
"$here/run_client.sh" "$work/project/build/mine"

cd "$work/project"
mapfile -t shell_samples < <(grep -l '^c++ ' "$samples/$document".*.sh)
[[ ${#shell_samples[@]} -eq 1 ]]
PKG_CONFIG_PATH=$packages bash -e "${shell_samples[0]}"
program=./mine
[[ -x $program ]] || program=./a.out
LD_LIBRARY_PATH=${packages%/pkgconfig} "$here/run_client.sh" "$program"
