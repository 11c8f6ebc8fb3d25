################################################################################
#
# vekbf (untested, see packaging/README.md)
#
################################################################################

# The sources come from VEKBF_OVERRIDE_SRCDIR.
VEKBF_VERSION = 2.1.0
VEKBF_LICENSE = MIT
VEKBF_LICENSE_FILES = LICENSE
VEKBF_INSTALL_STAGING = YES
VEKBF_CONF_OPTS = \
	-DVEKBF_BUILD_TESTS=OFF \
	-DVEKBF_BUILD_BENCH=OFF \
	-DVEKBF_BUILD_TOOLS=OFF \
	-DVEKBF_BUILD_PLUGINS=OFF

$(eval $(cmake-package))
