#!/usr/bin/env bash
# Builds and runs the consumer project of this folder against the libraries.
#   consumer.sh installed WORK     what this build installs: CMake package, pkg-config, components
#   consumer.sh static WORK        the same of a build of static libraries
#   consumer.sh add_subdirectory WORK
#   consumer.sh FetchContent WORK
# SOURCE, BUILD, VERSION, CXX, CMAKE and PKG_CONFIG say with what; WORK is made anew.
set -euo pipefail

way=$1 work=$2
here=$(cd "$(dirname "$0")" && pwd)
export CMAKE_BUILD_TYPE=Release
compiler=(-G Ninja -DCMAKE_CXX_COMPILER="$CXX" -DCMAKE_CXX_COMPILER_LAUNCHER="${LAUNCHER:-}")

fail() {
    echo "consumer: $*" >&2
    exit 1
}

# Answers whatever it is asked with status 5.
write_server() {
    cat >"$1" <<'SERVER'
#!/bin/sh
cat >/dev/null
echo '<methodResponse><params><param><value><array><data><value><struct>
<member><name>table-id</name><value><int>4</int></value></member>
<member><name>status</name><value><int>5</int></value></member>
<member><name>detail</name><value><string>scripted</string></value></member>
</struct></value></data></array></value></param></params></methodResponse>'
SERVER
    chmod +x "$1"
}

# run_programs FOLDER [LIBRARY_PATH]: the three programs do what they are for.
run_programs() {
    export LD_LIBRARY_PATH=${2:-}
    local status=0
    "$1/use_ipseccfg" "$work/server" >"$work/answer" || status=$?
    [[ $status -eq 5 ]] || fail "use_ipseccfg ended with $status, not with the server's status 5"
    "$1/use_parser" <"$work/answer" >"$work/again" || fail "use_parser cannot read the answer"
    grep -q scripted "$work/again" || fail "use_parser lost the answer's text"
    "$1/use_requester" "$work/server" || fail "use_requester got no answer"
    unset LD_LIBRARY_PATH
}

build_consumer() {
    "$CMAKE" -S "$here" -B "$work/build-$way" "${compiler[@]}" -DCONSUMER_VERSION="$VERSION" "$@"
    "$CMAKE" --build "$work/build-$way"
}

# use_pkg_config PREFIX [--static]: a compiler's command line, nothing else.
use_pkg_config() {
    local prefix=$1 pc flags library
    shift
    pc=$(dirname "$(find "$prefix" -name ipseccfg.pc)")
    export PKG_CONFIG_PATH=$pc
    mkdir -p "$work/pkg-config"
    for library in ipseccfg systemdata-parser systemdata-requester; do
        [[ $("$PKG_CONFIG" --modversion "$library") == "$VERSION" ]] || fail "$library.pc has another version"
        read -ra flags <<<"$("$PKG_CONFIG" --cflags --libs "$@" "$library")"
        "$CXX" -std=c++17 "$here/use_${library#systemdata-}.cpp" -o "$work/pkg-config/use_${library#systemdata-}" "${flags[@]}"
    done
    run_programs "$work/pkg-config" "${pc%/pkgconfig}"
}

# The three components are the whole: what is in none of them would be in no package.
check_components() {
    local component
    for component in runtime development programs; do
        "$CMAKE" --install "$BUILD" --prefix "$work/$component" --component "$component" >/dev/null
        [[ -n $(find "$work/$component" -type f) ]] || fail "the component $component is empty"
    done
    local whole parts
    whole=$(cd "$work/installed" && find . ! -type d | sort)
    parts=$(for component in runtime development programs; do (cd "$work/$component" && find . ! -type d); done | sort)
    diff <(echo "$whole") <(echo "$parts") || fail "the components are not the whole (<), or overlap (>)"
    [[ -z $(find "$work/runtime" -name '*.h' -o -name '*.so') ]] || fail "the component runtime holds what only builds need"
}

rm -rf "$work"
mkdir -p "$work"
write_server "$work/server"
case $way in
installed)
    "$CMAKE" --install "$BUILD" --prefix "$work/first" >/dev/null
    mv "$work/first" "$work/installed" # nothing knows where it was installed
    build_consumer -DCONSUMER_WAY=find_package -DCMAKE_PREFIX_PATH="$work/installed"
    run_programs "$work/build-$way"
    use_pkg_config "$work/installed"
    [[ $("$work/installed/bin/ipseccfgctl" --version) == "ipseccfgctl $VERSION" ]] || fail "ipseccfgctl does not run"
    check_components
    ;;
static)
    "$CMAKE" -S "$SOURCE" -B "$work/library" "${compiler[@]}" -DIPSECCFG_SHARED=OFF -DIPSECCFG_BUILD_PROGRAMS=OFF \
        -DIPSECCFG_BUILD_TESTS=OFF
    "$CMAKE" --build "$work/library"
    "$CMAKE" --install "$work/library" --prefix "$work/installed" >/dev/null
    build_consumer -DCONSUMER_WAY=find_package -DCMAKE_PREFIX_PATH="$work/installed"
    run_programs "$work/build-$way"
    use_pkg_config "$work/installed" --static
    [[ ! $(ldd "$work/pkg-config/use_ipseccfg") =~ ipseccfg\.|systemdata ]] || fail "a static program needs the shared library"
    ;;
add_subdirectory | FetchContent)
    build_consumer -DCONSUMER_WAY="$way" -DCONSUMER_SOURCE="$SOURCE"
    run_programs "$work/build-$way"
    ;;
*) fail "unknown way $way" ;;
esac
