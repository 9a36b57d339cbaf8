#!/usr/bin/env bash
# The recipes for OpenEmbedded and Buildroot, as far as that can be seen without either: recipes.sh SOURCE INSTALLED
#
# INSTALLED is a tree that the build was installed into with the prefix /usr. Each file of it goes into a package of the recipe or
# is of the kinds that OpenEmbedded gives to the main, -dev and -doc packages by itself; each pattern of the recipe matches something.
set -euo pipefail
source=$1 installed=$2
fail() {
    echo "recipes: $*" >&2
    exit 1
}
version=$(sed -nE 's/^project\(ipseccfg VERSION ([0-9.]+).*/\1/p' "$source/CMakeLists.txt")
recipe=$source/packaging/openembedded/ipseccfg_$version.bb
[[ -f $recipe ]] || fail "there is no recipe of the version $version"
bash -n <(sed -n '/^do_install:append() {$/,/^}$/p' "$recipe" | sed '1s/.*/f() {/') || fail "do_install is no shell script"

# variable NAME: its words, with the folders in place of their names
variable() {
    sed -nE "/^$1 = \"/,/\"\$/p" "$recipe" | sed -E "1s/^[^\"]*\"//; s/\"\$//; s/\\\\\$//" |
        sed -E 's#\$\{sbindir\}#/usr/sbin#; s#\$\{bindir\}#/usr/bin#; s#\$\{libexecdir\}#/usr/libexec#; s#\$\{datadir\}#/usr/share#
                s#\$\{systemd_system_unitdir\}#/usr/lib/systemd/system#; s#\$\{libdir\}#/usr/lib#; s#\$\{sysconfdir\}#/etc#' | xargs -n 1
}
patterns=$({ variable 'FILES:\$\{PN\}-server'; variable 'FILES:\$\{PN\}-client'; } | sort)
[[ $(wc -l <<<"$patterns") -ge 8 ]] || fail "the patterns cannot be read: $patterns"
while read -r pattern; do
    case $pattern in
    /usr/lib/tmpfiles.d | /etc/ipseccfg) ;; # made by do_install
    *) [[ -e $installed$pattern ]] || fail "$pattern matches nothing" ;;
    esac
done <<<"$patterns"
while read -r file; do
    case $file in
    /usr/include/* | /usr/lib/*.so | /usr/lib/*.so.* | /usr/lib/cmake/* | /usr/lib/pkgconfig/* | /usr/share/doc/* | /usr/share/man/*) continue ;;
    esac
    while read -r pattern; do
        [[ $file != "$pattern" && $file != "$pattern"/* ]] || continue 2
    done <<<"$patterns"
    fail "$file goes into no package"
done < <(cd "$installed" && find . -type f -o -type l | sed 's/^\.//')

# What Buildroot's own make files would see: the package is one of CMake, and its variables are set.
folder=$source/packaging/buildroot/ipseccfg
seen=$(make -s -f - <<MAKE
qstrip = \$(strip \$(subst ",,\$(1)))
define cmake-package
evaluated = yes
endef
BR2_PRIMARY_SITE = "http://example.org/sources"
include $folder/ipseccfg.mk
all:
	@echo "\$(evaluated) \$(IPSECCFG_VERSION) \$(IPSECCFG_SITE) \$(words \$(IPSECCFG_DEPENDENCIES))"
MAKE
)
[[ $seen == "yes $version http://example.org/sources 4" ]] || fail "ipseccfg.mk says '$seen'"
while read -r option; do
    grep -qE "^(option|set)\($option " "$source/CMakeLists.txt" || fail "the build has no option $option"
done < <(grep -ohE -- '-DIPSECCFG_[A-Z_]+' "$folder/ipseccfg.mk" "$recipe" | sed 's/-D//')

# What Buildroot's menu would make of the package: what it needs decides whether it can be chosen, and choosing it chooses the rest.
/usr/bin/python3 -c 'import kconfiglib' 2>/dev/null || {
    echo "skipped: Config.in (there is no kconfiglib)"
    exit 77
}
/usr/bin/python3 -B - "$folder/Config.in" <<'PYTHON'
import os, re, sys, tempfile
import kconfiglib

text = open(sys.argv[1]).read()
known = sorted(set(re.findall(r"BR2_\w+", text)) - {"BR2_PACKAGE_IPSECCFG"})
needed = {"BR2_INSTALL_LIBSTDCPP": "y", "BR2_TOOLCHAIN_GCC_AT_LEAST_8": "y", "BR2_TOOLCHAIN_HAS_THREADS": "y", "BR2_STATIC_LIBS": "n"}
selected = [name for name in known if name.startswith("BR2_PACKAGE_")]
assert sorted(needed) == [name for name in known if name not in selected], known


def menu(values):
    with tempfile.NamedTemporaryFile("w") as file:
        file.write("".join(f'config {name}\n\tbool "{name}"\n' for name in known) + f'source "{os.path.realpath(sys.argv[1])}"\n')
        file.flush()
        kconfig = kconfiglib.Kconfig(file.name, warn=True)
    assert not kconfig.warnings, kconfig.warnings
    for name, value in values.items():
        kconfig.syms[name].set_value(value)
    kconfig.syms["BR2_PACKAGE_IPSECCFG"].set_value("y")
    comment = next(node for node in kconfig.node_iter() if node.item == kconfiglib.COMMENT)
    return kconfig, kconfiglib.expr_value(comment.dep)


kconfig, complaint = menu(needed)
assert kconfig.syms["BR2_PACKAGE_IPSECCFG"].str_value == "y" and not complaint, "it cannot be chosen"
assert {kconfig.syms[name].str_value for name in selected} == {"y"} and len(selected) == 4, selected
for name, value in needed.items():
    kconfig, complaint = menu({**needed, name: "n" if value == "y" else "y"})
    assert kconfig.syms["BR2_PACKAGE_IPSECCFG"].str_value == "n" and complaint, f"{name} makes no difference"
PYTHON
