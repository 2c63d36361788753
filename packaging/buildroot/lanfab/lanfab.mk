################################################################################
#
# lanfab
#
################################################################################

# The tag of the release; before there is one, the branch. LANFAB_OVERRIDE_SRCDIR in local.mk builds another
# copy.
LANFAB_VERSION = main
LANFAB_SITE = https://git.lanfab.example/lanfab.git
LANFAB_SITE_METHOD = git
LANFAB_LICENSE = PROPRIETARY
LANFAB_REDISTRIBUTE = NO
LANFAB_DEPENDENCIES = host-pkgconf jsoncpp
LANFAB_CONF_OPTS = -DLANFAB_CLI=OFF

ifeq ($(BR2_PACKAGE_LANFAB_HOST_PLATFORM),y)
LANFAB_CONF_OPTS += -DLANFAB_PLATFORM=host
LANFAB_DEPENDENCIES += sqlite
else
LANFAB_CONF_OPTS += -DLANFAB_PLATFORM=device
LANFAB_DEPENDENCIES += $(call qstrip,$(BR2_PACKAGE_LANFAB_DEVICE_LIBRARIES))
endif

# The user that dnsmasq changes to.
define LANFAB_USERS
	admin -1 admin -1 * / - - DHCP and DNS of lanfab
endef

$(eval $(cmake-package))
