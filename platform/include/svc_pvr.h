/* Personal video recorder service. Every call returns 0 on success, non-zero on failure. */
#ifndef PLATFORM_SVC_PVR_H
#define PLATFORM_SVC_PVR_H

#ifdef __cplusplus
extern "C" {
#endif

int svc_pvr_service_init(void);
/* Index of the default recording device. */
int svc_pvr_get_rec_default_dev_index(int* index);
/* `status` becomes 1 when the service is being recorded, 0 otherwise. */
int svc_pvr_is_recording(unsigned long long service_id, int* status);
/* Seconds of recording that still fit; `device_kind` selects the device to ask. */
int svc_pvr_get_remaining_time(int device_kind, unsigned long* remaining_time);
/* `flag` becomes non-zero while the highlight player is on screen. */
int svc_pvr_get_highlight_player_flag(int* flag);
/* Prepares a channel change while recordings may run; fills the stop type and a handler. */
int svc_pvr_pre_channel_change_on_recording(unsigned long long service_id, int* stop_type,
                                            int* handler);

#ifdef __cplusplus
}
#endif

#endif
