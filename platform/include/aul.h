/* Application utility library: state of installed applications. */
#ifndef PLATFORM_AUL_H
#define PLATFORM_AUL_H

#ifdef __cplusplus
extern "C" {
#endif

/* Non-zero when the application with this id is running, 0 otherwise. */
int aul_app_is_running(const char* appid);

#ifdef __cplusplus
}
#endif

#endif
