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

#include "ReminderTypes.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef void (*reminder_signal_cb)(void* data, TReminderEvent* event);

/* Registers the process's one change callback, replacing an earlier one. 1 on success (also
 * when no bus is reachable: events arrive once it can be reached), 0 without a scheduler.
 * Callbacks run in the thread-default main context of the thread that registered first. No call
 * waits on the bus for more than about one second; after the bus restarts the process hears and
 * sends events again by itself. A list-changed event (12) that arrives while another is still
 * waiting for the callback is merged into it: re-read the list when it is delivered. */
int reminder_register_signal_callback(reminder_signal_cb func, void* data);
/* Drops the callback; later events are received and ignored. */
int reminder_unregister_signal_callback(void);
/* The same two under the names another group of clients uses. */
int reminder_e_register_signal_callback(reminder_signal_cb func, void* data);
int reminder_e_unregister_signal_callback(void);
/* Broadcasts `event` unchanged to every registered process. Non-zero when it was sent; 0 when
 * no bus could be reached within about one second. */
int reminder_send_event(const TReminderEvent* event);

#ifdef __cplusplus
}
#endif

#endif
