/* Key-value settings store of the television. */
#ifndef PLATFORM_VCONF_H
#define PLATFORM_VCONF_H

#ifdef __cplusplus
extern "C" {
#endif

#define VCONF_OK 0
#define VCONF_ERROR -1

/* Each returns VCONF_OK and fills `value`, or VCONF_ERROR (value untouched) when the key is
 * absent or of another type. Booleans read as 0 or 1. */
int vconf_get_int(const char* key, int* value);
int vconf_get_bool(const char* key, int* value);
int vconf_set_int(const char* key, int value);

#ifdef __cplusplus
}
#endif

#endif
