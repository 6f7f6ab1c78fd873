include $(sort $(wildcard $(BR2_EXTERNAL_KIV_PATH)/libkiv/*.mk))
