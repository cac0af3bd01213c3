/* Fixed facts of the device, read by integer key. */
#ifndef PLATFORM_SYSTEM_INFO_H
#define PLATFORM_SYSTEM_INFO_H

#ifdef __cplusplus
extern "C" {
#endif

typedef int system_info_key_e;

enum {
    SYSTEM_INFO_KEY_TUNER_COUNT = 18,
    SYSTEM_INFO_KEY_PVR_SUPPORTED = 125,
    SYSTEM_INFO_KEY_RECORDABLE_TUNER_COUNT = 238,
};

#define SYSTEM_INFO_ERROR_NONE 0
#define SYSTEM_INFO_ERROR_INVALID_PARAMETER -22

/* Returns SYSTEM_INFO_ERROR_NONE and fills `value`, or an error when the key is unknown. */
int system_info_get_value_int(system_info_key_e key, int* value);

#ifdef __cplusplus
}
#endif

#endif
