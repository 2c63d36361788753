SUMMARY = "Network configuration of a gateway for systemd-networkd and dnsmasq"
DESCRIPTION = "Turns one JSON object into the units of systemd-networkd and the files of dnsmasq, removes \
what the previous configuration left in the kernel, and restarts both services."
SECTION = "net"
require lanfab.inc

inherit systemd useradd features_check

# The program calls /sbin/ip and /bin/networkctl, and its units are in /usr/lib.
REQUIRED_DISTRO_FEATURES = "systemd usrmerge"

# The recipes of libcmd.so, libsysdb.so and libvantor.so, on which the program depends unless it is built for
# the host platform: PACKAGECONFIG:pn-lanfab = "host". They depend on lanfab-platform, which has the headers.
LANFAB_DEVICE_LIBRARIES ?= "libcmd libsysdb libvantor"
PACKAGECONFIG ??= ""
PACKAGECONFIG[host] = "-DLANFAB_PLATFORM=host,-DLANFAB_PLATFORM=device,sqlite3"

DEPENDS = "jsoncpp ${@bb.utils.contains('PACKAGECONFIG', 'host', '', d.getVar('LANFAB_DEVICE_LIBRARIES'), d)}"
RDEPENDS:${PN} = "dnsmasq iproute2 systemd udev"
RRECOMMENDS:${PN} = "kernel-module-8021q kernel-module-bridge kernel-module-ip-gre"

# For libraries with C linkage, a .bbappend adds -DLANFAB_ADAPTER= (see docs/integration.md).
EXTRA_OECMAKE = "-DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF -DLANFAB_CLI=OFF"

# The headers are in lanfab-platform.
do_install() {
    for component in program documents; do
        DESTDIR='${D}' cmake --install '${B}' --component $component
    done
}

SYSTEMD_SERVICE:${PN} = "lanfab.service"

# The user that dnsmasq changes to; sysusers.d cannot create it in a read-only image.
USERADD_PACKAGES = "${PN}"
USERADD_PARAM:${PN} = "--system --no-create-home --home-dir / --shell /sbin/nologin --user-group admin"

FILES:${PN} += " \
    ${systemd_system_unitdir} \
    ${nonarch_libdir}/sysusers.d \
    ${nonarch_libdir}/tmpfiles.d \
"
