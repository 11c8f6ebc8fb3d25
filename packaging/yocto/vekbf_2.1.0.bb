# Untested, see packaging/README.md.
SUMMARY = "Microphone-array beamforming for embedded audio devices"
DESCRIPTION = "One to four microphones of 16-bit PCM in, one enhanced signal out. A shared library with a C interface."
SECTION = "libs/multimedia"
LICENSE = "MIT"
LIC_FILES_CHKSUM = "file://LICENSE;md5=35bf9d13d751b6da559bc6942a78f196"

# The sources come from EXTERNALSRC.
inherit cmake externalsrc

EXTRA_OECMAKE = "-DVEKBF_BUILD_TESTS=OFF -DVEKBF_BUILD_BENCH=OFF -DVEKBF_BUILD_TOOLS=OFF -DVEKBF_BUILD_PLUGINS=OFF"
