/*
 * C interface of the booking record.
 *
 * A record is handled through an opaque handle, created with reminder_info_add and released
 * with reminder_info_del (which accepts NULL). Text returned by a getter is malloc'ed: the
 * caller frees it with free().
 */
#ifndef REMIND_INFO_C_H
#define REMIND_INFO_C_H

#include "ReminderExport.h"
#include "ReminderTypes.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct remind_info_type_s remind_info_type_s;

REMINDER_EXPORT remind_info_type_s* reminder_info_add(void);
REMINDER_EXPORT void reminder_info_del(remind_info_type_s* handle);

#ifdef __cplusplus
}
#endif

#endif
