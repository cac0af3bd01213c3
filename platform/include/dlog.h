/* Platform log. Every line carries a buffer id, a priority and a tag. */
#ifndef PLATFORM_DLOG_H
#define PLATFORM_DLOG_H

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    LOG_ID_MAIN = 0,
    LOG_ID_RADIO = 1,
    LOG_ID_SYSTEM = 2,
    LOG_ID_APPS = 3,
} log_id_t;

typedef enum {
    DLOG_UNKNOWN = 0,
    DLOG_DEFAULT,
    DLOG_VERBOSE,
    DLOG_DEBUG,
    DLOG_INFO,
    DLOG_WARN,
    DLOG_ERROR,
    DLOG_FATAL,
    DLOG_SILENT,
} log_priority;

/* Writes one formatted line to buffer `log_id`. Returns the number of bytes written, or a
 * negative value when the line could not be written. */
int __dlog_print(log_id_t log_id, int prio, const char* tag, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));

#ifdef __cplusplus
}
#endif

#endif
