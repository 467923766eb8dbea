################################################################################
#
# rc
#
################################################################################

RC_VERSION = 1.0
# The tree that this file is in; nothing is downloaded.
RC_SITE = $(realpath $(BR2_EXTERNAL_RC_PATH)/../..)
RC_SITE_METHOD = local
RC_OVERRIDE_SRCDIR_RSYNC_EXCLUSIONS = --exclude=/build
RC_SUPPORTS_IN_SOURCE_BUILD = NO

# No licence is granted, and nothing is redistributed: "make legal-info" lists the
# package and leaves its sources out.
RC_LICENSE = PROPRIETARY
RC_REDISTRIBUTE = NO

ifeq ($(BR2_PACKAGE_RC),y)
ifeq ($(wildcard $(RC_SITE)/rc/main.cpp),)
$(error rc: its sources are not in "$(RC_SITE)", two directories above BR2_EXTERNAL_RC_PATH \
	($(BR2_EXTERNAL_RC_PATH)); use packaging/external where it is, in the tree of rc)
endif
endif

# Optimized for size as a whole, warnings are the developers' matter. No tests and no bench: they are for
# the workstation.
RC_CONF_OPTS = \
	-DCMAKE_BUILD_TYPE=MinSizeRel \
	-DRC_TARGET_ONLY=ON \
	-DRC_PROGRAM_ONLY=ON \
	-DRC_TESTS=OFF \
	-DRC_WARNINGS_ARE_ERRORS=OFF

$(eval $(cmake-package))
