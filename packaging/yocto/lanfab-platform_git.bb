SUMMARY = "Headers to compile the libraries of a gateway for lanfab"
DESCRIPTION = "Declares the functions that libcmd.so, libsysdb.so and libvantor.so provide for lanfab. Their \
recipes depend on this one, and lanfab on them."
SECTION = "devel"
require lanfab.inc

DEPENDS = "jsoncpp"
EXTRA_OECMAKE = "-DLANFAB_PLATFORM=device -DBUILD_TESTING=OFF"

# There are only headers.
do_compile[noexec] = "1"

do_install() {
    DESTDIR='${D}' cmake --install '${B}' --component dev
}

RDEPENDS:${PN}-dev = "jsoncpp-dev"
