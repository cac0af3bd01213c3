/*
 * C interface of the booking scheduler.
 *
 * Rules that hold for every function here:
 * - Functions that need the scheduler create it on first use; they return 0 when it cannot be
 *   had, and then write no out-parameter.
 * - Change callbacks run in the GLib main context of the thread that registered first; that
 *   thread must run a main loop on it. The event passed to a callback lives only for the call.
 * - No C++ exception crosses this interface.
 */
#ifndef REMINDER_API_C_H
#define REMINDER_API_C_H

#include "ReminderExport.h"
#include "ReminderTypes.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef void (*reminder_signal_cb)(void* data, TReminderEvent* event);

/* Registers the process's one change callback, replacing an earlier one. 1 on success (also
 * when no bus is reachable: no events will arrive then), 0 without a scheduler. */
REMINDER_EXPORT int reminder_register_signal_callback(reminder_signal_cb func, void* data);
/* Drops the callback; later events are received and ignored. */
REMINDER_EXPORT int reminder_unregister_signal_callback(void);
/* The same two under the names another group of clients uses. */
REMINDER_EXPORT int reminder_e_register_signal_callback(reminder_signal_cb func, void* data);
REMINDER_EXPORT int reminder_e_unregister_signal_callback(void);
/* Broadcasts `event` unchanged to every registered process. Non-zero when it was sent. */
REMINDER_EXPORT int reminder_send_event(const TReminderEvent* event);

#ifdef __cplusplus
}
#endif

#endif
