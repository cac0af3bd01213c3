/* User settings of the television, read by integer key. */
#ifndef PLATFORM_SYSTEM_SETTINGS_H
#define PLATFORM_SYSTEM_SETTINGS_H

#ifdef __cplusplus
extern "C" {
#endif

typedef int system_settings_key_e;

enum {
    SYSTEM_SETTINGS_KEY_COUNTRY = 154,
};

#define SYSTEM_SETTINGS_ERROR_NONE 0
#define SYSTEM_SETTINGS_ERROR_INVALID_PARAMETER -22

/* Returns SYSTEM_SETTINGS_ERROR_NONE and fills `value`, or an error when the key is unset. */
int system_settings_get_value_int(system_settings_key_e key, int* value);

#ifdef __cplusplus
}
#endif

#endif
