/* Launch requests to other applications. */
#ifndef PLATFORM_APP_CONTROL_H
#define PLATFORM_APP_CONTROL_H

#ifdef __cplusplus
extern "C" {
#endif

typedef struct app_control_s* app_control_h;
typedef void (*app_control_reply_cb)(app_control_h request, app_control_h reply, int result,
                                     void* user_data);

#define APP_CONTROL_ERROR_NONE 0
#define APP_CONTROL_ERROR_INVALID_PARAMETER -22
#define APP_CONTROL_ERROR_OUT_OF_MEMORY -12
#define APP_CONTROL_ERROR_APP_NOT_FOUND (-0x01100000 | 0x21)

/* All return APP_CONTROL_ERROR_NONE on success. A handle made by app_control_create must be
 * released with app_control_destroy. */
int app_control_create(app_control_h* app_control);
int app_control_destroy(app_control_h app_control);
int app_control_set_app_id(app_control_h app_control, const char* app_id);
int app_control_add_extra_data(app_control_h app_control, const char* key, const char* value);
int app_control_send_launch_request(app_control_h app_control, app_control_reply_cb callback,
                                    void* user_data);

#ifdef __cplusplus
}
#endif

#endif
