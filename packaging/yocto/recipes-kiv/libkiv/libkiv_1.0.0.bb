SUMMARY = "Base library for controller applications on embedded Linux"
DESCRIPTION = "State machines, alarm timers, INI files, GPIO, PWM and ADC through sysfs, error codes and diagnostics, \
for machines that run for years unattended."
SECTION = "libs"
# The project has not published a licence.
LICENSE = "CLOSED"

# Set KIV_SOURCE in local.conf to where your copy of the project is, and SRCREV to a commit, or use externalsrc.
KIV_SOURCE ?= "git:///srv/git/libkiv.git;protocol=file;branch=main"
SRC_URI = "${KIV_SOURCE}"
SRCREV ?= "${AUTOREV}"
S = "${WORKDIR}/git"

# Qt 5 comes from the layer meta-qt5, log4cplus, CLI11 and nlohmann-json from meta-openembedded.
DEPENDS = "qtbase log4cplus boost"

inherit cmake pkgconfig

EXTRA_OECMAKE = " \
    -DKIV_BUILD_TESTS=OFF -DKIV_BUILD_EXAMPLES=OFF -DKIV_BUILD_BENCH=OFF -DKIV_BUILD_DOCS=OFF \
    -DKIV_BUILD_SIM=${@bb.utils.contains('PACKAGECONFIG', 'sim', 'ON', 'OFF', d)} \
    -DKIV_BUILD_TOOLS=${@bb.utils.contains('PACKAGECONFIG', 'tools', 'ON', 'OFF', d)} \
"

# tools: the program kiv, header-only CLI11 and nlohmann-json. sim: kiv-board, for images that are tested without their hardware.
PACKAGECONFIG ??= "tools"
PACKAGECONFIG[tools] = ",,cli11 nlohmann-json"
PACKAGECONFIG[sim] = ",,fuse3,fuse3"

# The udev rule is of use without the programs; its group is made when the image is.
inherit useradd
PACKAGES =+ "${PN}-tools ${PN}-udev"
USERADD_PACKAGES = "${PN}-udev"
GROUPADD_PARAM:${PN}-udev = "--system gpio"
FILES:${PN}-tools = "${bindir} ${mandir} ${datadir}/bash-completion"
FILES:${PN}-udev = "${prefix}/lib/udev"
RDEPENDS:${PN}-tools = "${PN}"
RRECOMMENDS:${PN} = "${PN}-udev"
