################################################################################
#
# libkiv
#
################################################################################

LIBKIV_VERSION = 1.0.0
# LIBKIV_OVERRIDE_SRCDIR in local.mk builds from a copy of the project; otherwise
# this is where its source archives lie.
LIBKIV_SITE ?= file:///srv/archives
LIBKIV_SOURCE = libkiv-$(LIBKIV_VERSION).tar.gz
LIBKIV_LICENSE = PROPRIETARY
LIBKIV_REDISTRIBUTE = NO
LIBKIV_INSTALL_STAGING = YES
LIBKIV_DEPENDENCIES = boost host-pkgconf log4cplus qt5base
LIBKIV_CONF_OPTS = \
	-DKIV_BUILD_TESTS=OFF \
	-DKIV_BUILD_EXAMPLES=OFF \
	-DKIV_BUILD_BENCH=OFF \
	-DKIV_BUILD_DOCS=OFF

ifeq ($(BR2_PACKAGE_LIBKIV_TOOLS),y)
LIBKIV_DEPENDENCIES += cli11 json-for-modern-cpp
LIBKIV_CONF_OPTS += -DKIV_BUILD_TOOLS=ON
else
LIBKIV_CONF_OPTS += -DKIV_BUILD_TOOLS=OFF
endif

ifeq ($(BR2_PACKAGE_LIBKIV_SIM),y)
LIBKIV_DEPENDENCIES += libfuse3
LIBKIV_CONF_OPTS += -DKIV_BUILD_SIM=ON
else
LIBKIV_CONF_OPTS += -DKIV_BUILD_SIM=OFF
endif

# The group of the udev rule, with no user of its own.
define LIBKIV_USERS
	- -1 gpio -1 * - - - group of GPIO and PWM
endef

$(eval $(cmake-package))
