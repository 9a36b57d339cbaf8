################################################################################
#
# ipseccfg
#
################################################################################

# The archive is one that "git archive --prefix=ipseccfg-1.0.0/" makes; where it lies is for the board to say:
# BR2_PRIMARY_SITE, or IPSECCFG_OVERRIDE_SRCDIR in local.mk.
IPSECCFG_VERSION = 1.0.0
IPSECCFG_SITE = $(call qstrip,$(BR2_PRIMARY_SITE))
# The owner has not chosen a licence yet.
IPSECCFG_LICENSE = not chosen
IPSECCFG_REDISTRIBUTE = NO
IPSECCFG_INSTALL_STAGING = YES
IPSECCFG_DEPENDENCIES = cli11 expat json-for-modern-cpp tomlplusplus
IPSECCFG_CONF_OPTS = \
	-DCMAKE_BUILD_TYPE=Release \
	-DIPSECCFG_BUILD_TESTS=OFF

define IPSECCFG_INSTALL_CONFIGURATION
	$(INSTALL) -D -m 0644 $(@D)/programs/server/sample-server.toml \
		$(TARGET_DIR)/etc/ipseccfg/server.toml
endef
IPSECCFG_POST_INSTALL_TARGET_HOOKS += IPSECCFG_INSTALL_CONFIGURATION

define IPSECCFG_PERMISSIONS
	/etc/ipseccfg d 0755 0 0 - - - - -
endef

define IPSECCFG_USERS
	- -1 ipseccfg -1 - - - - Callers of the IPsec configuration
endef

$(eval $(cmake-package))
