include $(sort $(wildcard $(BR2_EXTERNAL_RC_PATH)/package/*/*.mk))
