SUMMARY = "Configures the IPsec engine of an embedded Linux device"
DESCRIPTION = "A library that carries a policy to the privileged server which owns the IPsec engine, the server, and a client."
SECTION = "net"

# The owner has not chosen a licence yet.
LICENSE = "CLOSED"

# Where the sources come from is for the layer to say: SRC_URI and SRCREV in a .bbappend, or externalsrc.
SRC_URI ?= ""
S ?= "${WORKDIR}/git"

DEPENDS = "cli11 expat nlohmann-json tomlplusplus"

inherit cmake pkgconfig systemd useradd

EXTRA_OECMAKE = " \
    -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_SKIP_INSTALL_RPATH=ON \
    -DIPSECCFG_BUILD_TESTS=OFF \
    -DCMAKE_INSTALL_DOCDIR=${docdir}/ipseccfg \
"

# The engine that needs strongSwan calls its daemon and its control program.
PACKAGECONFIG ??= ""
PACKAGECONFIG[strongswan] = ",,,strongswan"

do_install:append() {
    install -D -m 0644 ${S}/programs/server/sample-server.toml ${D}${sysconfdir}/ipseccfg/server.toml
    install -d ${D}${libdir}/tmpfiles.d
    echo 'd /run/ipseccfg 0700 root root -' >${D}${libdir}/tmpfiles.d/ipseccfg.conf
}

PACKAGES =+ "${PN}-server ${PN}-client"

USERADD_PACKAGES = "${PN}-server"
GROUPADD_PARAM:${PN}-server = "--system ipseccfg"

SYSTEMD_PACKAGES = "${PN}-server"
SYSTEMD_SERVICE:${PN}-server = "ipseccfg.socket"
SYSTEMD_AUTO_ENABLE:${PN}-server = "disable"

FILES:${PN}-server = " \
    ${sbindir}/systemdataIPsecCfgServer \
    ${libexecdir}/ipseccfg \
    ${systemd_system_unitdir} \
    ${libdir}/tmpfiles.d \
    ${sysconfdir}/ipseccfg \
"
CONFFILES:${PN}-server = "${sysconfdir}/ipseccfg/server.toml"

FILES:${PN}-client = " \
    ${bindir}/ipseccfgctl \
    ${datadir}/bash-completion \
    ${datadir}/zsh \
    ${datadir}/ipseccfg \
"
RRECOMMENDS:${PN}-client = "${PN}-server"
