/* Power state of the television. */
#ifndef PLATFORM_DEVICE_POWER_H
#define PLATFORM_DEVICE_POWER_H

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    POWER_STATE_NORMAL = 0,
    POWER_STATE_PICTUREOFF = 1,
} power_state_e;

/* The current state, or a negative error code when it cannot be read. */
int device_power_get_state(void);
/* 0 on success, a negative error code otherwise. */
int device_power_set_state(power_state_e state);

#ifdef __cplusplus
}
#endif

#endif
