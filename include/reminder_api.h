/*
 * C interface of the booking scheduler: add, read, list, compare and delete the television's
 * bookings, and hear about changes to them. Records are the handles of remind_info.h.
 *
 * Rules that hold for every function here (and those of remind_info.h):
 * - The scheduler. Every function that needs it creates it on first use and answers 0 at once
 *   when it cannot be had; it then writes no out-parameter.
 * - Ownership. Handles passed in stay the caller's: a function reads them, or fills an out
 *   handle the caller created with reminder_info_add; it never keeps or frees them.
 * - Lists. A list comes back through two out-parameters, `int* count` and
 *   `remind_info_type_s*** list`. When the scheduler answers, *count receives the number of
 *   items, and when that is above 0, *list receives a new array of that many new handles
 *   holding copies of the items, in the scheduler's order. The caller owns both and releases
 *   them with reminder_info_list_free(*list, *count). When nothing is handed over (nothing found,
 *   or a failure) *count is 0 and *list is left untouched, so a caller may start with NULL and
 *   release unconditionally. Without a scheduler neither is written.
 * - Text. Every char* returned, directly or through an out-parameter, is a malloc'ed copy that
 *   the caller releases with free().
 * - 0 and NULL. Unless a function says otherwise it answers 1 (non-zero) for done, found or yes
 *   and 0 for failed, not found or no; NULL for a missing handle, string or out-parameter is a
 *   failure (0). After a 0, reminder_last_store_error() tells "nothing there" from "the store
 *   could not be read or written".
 * - Exceptions. No C++ exception crosses this interface: every entry point catches them and
 *   answers 0 (or NULL).
 * - Threads and callbacks. Calls run on the caller's thread. Change callbacks run in the GLib
 *   main context of the thread that registered first; that thread must run a main loop on it.
 *   The event passed to a callback lives only for the call.
 *
 * UIDs are unsigned 32-bit (REMINDER_INVALID_UID: none); times are seconds since 1970 in the
 * television's local clock.
 */
#ifndef REMINDER_API_C_H
#define REMINDER_API_C_H

#include "ReminderExport.h"
#include "ReminderTypes.h"
#include "remind_info.h"

#ifdef __cplusplus
extern "C" {
#endif

/* --- Life cycle and events --- */

/* Creates the scheduler if needed: 1 when it exists, else 0. */
REMINDER_EXPORT int reminder_init(void);

/* The status of the calling thread's last store operation: 0 when it succeeded, otherwise the
 * SQLite result code that made it fail. */
REMINDER_EXPORT int reminder_last_store_error(void);
/* Why the calling thread's last call was refused, as the library logged it ("Failed, Already
 * booked.", ...): a malloc'ed text the caller frees with free(); empty when the call logged no
 * reason (a full list is refused silently); NULL only when memory ran out. */
REMINDER_EXPORT char* reminder_last_refusal(void);

typedef void (*reminder_signal_cb)(void* data, TReminderEvent* event);

/* Registers the process's one change callback, replacing an earlier one. 1 on success (also
 * when no bus is reachable: events arrive once it can be reached), 0 without a scheduler.
 * Callbacks run in the thread-default main context of the thread that registered first. No call
 * waits on the bus for more than about one second; after the bus restarts the process hears and
 * sends events again by itself. A list-changed event (12) that arrives while another is still
 * waiting for the callback is merged into it: re-read the list when it is delivered. */
REMINDER_EXPORT int reminder_register_signal_callback(reminder_signal_cb func, void* data);
/* Drops the callback; later events are received and ignored. */
REMINDER_EXPORT int reminder_unregister_signal_callback(void);
/* The same two under the names another group of clients uses. */
REMINDER_EXPORT int reminder_e_register_signal_callback(reminder_signal_cb func, void* data);
REMINDER_EXPORT int reminder_e_unregister_signal_callback(void);
/* Broadcasts `event` unchanged to every registered process. Non-zero when it was sent; 0 when
 * no bus could be reached within about one second. */
REMINDER_EXPORT int reminder_send_event(const TReminderEvent* event);

/* --- One item --- */

/* Books a copy of `item` after checking it against the list; the stored copy gets its UID (find
 * it with reminder_get_remind_item_by_type).
 * `start_flag` (non-zero): the item is being started now. `notify`: announce the change. */
REMINDER_EXPORT int reminder_add_remind_item(remind_info_type_s* item, int start_flag, int notify);
/* Fills `out` with the stored item of that UID. */
REMINDER_EXPORT int reminder_get_remind_item_by_uid(unsigned long uid, remind_info_type_s* out);
/* Fills `out` with the recording that is ready to start. */
REMINDER_EXPORT int reminder_get_record_ready_remind_item(remind_info_type_s* out);
/* The stored booking of the same service and time as `item` (following a guide event that
 * moved by under two minutes). */
REMINDER_EXPORT int reminder_find_remind_item(const remind_info_type_s* item,
                                              remind_info_type_s* out);
/* As above, the CRIDs matching too. */
REMINDER_EXPORT int reminder_find_remind_item_for_rct(const remind_info_type_s* item,
                                                      remind_info_type_s* out);
/* The stored booking of a guide programme. */
REMINDER_EXPORT int reminder_find_remind_item_from_program(const TCProgramData* program,
                                                           remind_info_type_s* out);
/* Whether a stored booking starts at the same time as `item`; it is copied into *out. When
 * *out is NULL a new handle is created there first (the caller releases it, whatever the
 * answer). */
REMINDER_EXPORT int reminder_exist_same_time_remind_item(const remind_info_type_s* item,
                                                         remind_info_type_s** out);
/* Replaces the stored item of that UID with `item`. `clear_alarm`: the reminder may fire again;
 * `start_flag`: the item is being started now; `notify`: announce the change. */
REMINDER_EXPORT int reminder_update_remind_item_by_uid(unsigned long uid,
                                                       const remind_info_type_s* item,
                                                       int clear_alarm, int start_flag, int notify);
/* Finds the channels of the stored bookings of that channel type again after a rescan
 * (REMINDER_CHANNEL_TYPE_ALL: every type). */
REMINDER_EXPORT int reminder_update_channel_info_of_remind_items(unsigned short channel_type);

/* --- Deleting --- */

/* `by_user`: the viewer asked for it (a recording in progress is stopped as such). */
REMINDER_EXPORT int reminder_delete_remind_item_by_uid(unsigned long uid, int by_user);
/* Deletes only that row, not the other parts of its split event or series. */
REMINDER_EXPORT int reminder_delete_remind_item_alone_by_uid(unsigned long uid);
REMINDER_EXPORT int reminder_user_delete_remind_item_by_uid(unsigned long uid);
REMINDER_EXPORT int reminder_delete_all_remind_item(void);
REMINDER_EXPORT int reminder_delete_expired_item(void);
/* Moves past repeating items to their next occurrence and removes the other past ones. */
REMINDER_EXPORT int reminder_delete_past_remind_item(void);
/* Deletes the stored items whose key `type` matches `*value`, on channels of `channel_type`
 * (REMINDER_CHANNEL_TYPE_ALL: any); `value` points to an unsigned long long service id
 * (REM_DELETE_BY_SERVICE_ID), two unsigned shorts major and minor (REM_DELETE_BY_CHANNEL), an int
 * (reserve type, source, stream type) or a C string (the CRID keys, compared ignoring case).
 * `flag` is handed on to the scheduler. */
REMINDER_EXPORT int reminder_delete_matching_remind_items(EDeleteType type, const void* value,
                                                          EChannelType channel_type, int flag);
REMINDER_EXPORT int reminder_delete_recording_item(void);
/* Deletes the stored items that overlap `item`. */
REMINDER_EXPORT int reminder_delete_overlapping_remind_items(const remind_info_type_s* item);
/* Deletes the `count` items of `uids`, in that order (none when count <= 0). */
REMINDER_EXPORT int reminder_delete_remind_items(int count, const unsigned long* uids);
/* When `time` lies before the television's clock, runs reminder_delete_past_remind_item and
 * answers its result; otherwise does nothing and answers 0. */
REMINDER_EXPORT int reminder_check_time_and_delete(unsigned long time);

/* --- Recording and state --- */

/* Whether the stored recording of that UID can be recorded: the scheduler's code, 0 without a
 * scheduler. */
REMINDER_EXPORT int reminder_check_remind_item_is_recordable(unsigned long uid);
REMINDER_EXPORT int reminder_recording_is_delayed(unsigned long uid);
/* Number of stored items, and the number the list shows. */
REMINDER_EXPORT int reminder_get_remind_item_cnt(void);
REMINDER_EXPORT int reminder_get_reminder_list_size(void);
REMINDER_EXPORT int reminder_flag_exist_record_item(void);
REMINDER_EXPORT int reminder_flag_reminder_list_is_full(void);
REMINDER_EXPORT int reminder_is_channel_scheduled(const TCServiceData* service);
/* Whether `item` is an episode of a series whose base entry is stored. */
REMINDER_EXPORT int reminder_is_basic_series(remind_info_type_s* item);
REMINDER_EXPORT int reminder_is_record_as_basic_series(TCProgramData* program);
REMINDER_EXPORT int reminder_is_latest_series_program(const remind_info_type_s* item);
/* The most items the list holds. Needs no scheduler. */
REMINDER_EXPORT int reminder_get_max_item_cnt(void);
/* The television's country code. Needs no scheduler. */
REMINDER_EXPORT int reminder_get_country(void);
/* The next start of a repeating item at the time of day of `start` (0 on error); `weekdays` is
 * the mask of REMINDER_REPEAT_MANUAL; `skip_today`: not today. Needs no scheduler. */
REMINDER_EXPORT unsigned long reminder_get_start_time(unsigned long start, EReminderRepeatType type,
                                                      unsigned char weekdays, int skip_today);

/* --- Lookups by CRID (compared ignoring case) --- */

/* The stored group subscription of that group CRID, copied into `out`. */
REMINDER_EXPORT int reminder_find_group_booking(const char* crid, remind_info_type_s* out);
/* The stored base entry of that series CRID, copied into `out`. */
REMINDER_EXPORT int reminder_find_series_booking(const char* crid, remind_info_type_s* out);
/* Whether a booking of that programme CRID is stored; copied into `out` unless it is NULL. */
REMINDER_EXPORT int reminder_is_program_scheduled(const char* crid, remind_info_type_s* out);

/* --- Lists (see the rules above) --- */

/* The stored items of kind `type`, by start time. The count is written even for an empty list,
 * and the answer is 1 then too: 0 only without a scheduler or when copying failed. */
REMINDER_EXPORT int reminder_get_remind_item_by_type(int* count, remind_info_type_s*** list,
                                                     EExtractType type);
REMINDER_EXPORT int reminder_get_remind_item_for_mheg(int* count, remind_info_type_s*** list);
REMINDER_EXPORT int reminder_get_remind_items_for_crid(const char* crid, int* count,
                                                       remind_info_type_s*** list);
/* The stored items that overlap `item`. */
REMINDER_EXPORT int reminder_get_overlapping_remind_items(const remind_info_type_s* item,
                                                          int* count, remind_info_type_s*** list);
REMINDER_EXPORT int reminder_get_current_recording_items(int* count, remind_info_type_s*** list);
/* The stored items that start when `item` starts, except one equal to `item` in every field
 * (pass the stored record, as a list hands it out, to leave the booking itself out). */
REMINDER_EXPORT int reminder_get_start_time_is_same_items(const remind_info_type_s* item,
                                                          int* count, remind_info_type_s*** list);
/* As above, only the viewing reminders (reserve type 0). */
REMINDER_EXPORT int reminder_get_start_time_is_same_viewing_items(const remind_info_type_s* item,
                                                                  int* count,
                                                                  remind_info_type_s*** list);
/* Whether booking `item` would take a tuner the stored bookings need; only the number of
 * conflicting items is written. */
REMINDER_EXPORT int reminder_exist_conflicts(const remind_info_type_s* item, int* count);

/* Whether `item` conflicts with stored items other than the `exclusion_count` items of
 * `exclusions` (matched by UID; NULL handles are skipped); `flag` is handed on to the overlap
 * search. */
REMINDER_EXPORT int reminder_exist_conflicts_with_exclusions(const remind_info_type_s* item,
                                                             remind_info_type_s* const* exclusions,
                                                             int exclusion_count, int flag);

/* Kinds of alternative broadcasts: the index into the arrays of reminder_exist_alternatives
 * is the ERemAlterativeType value. */
#define REMINDER_ALTERNATIVE_KINDS 2
/* Other showings that would resolve the conflicts between `item` and the `conflict_count`
 * items of `conflicts`. For each kind k, counts[k] and lists[k] form one list under the list
 * rules above (an empty kind writes counts[k] = 0 and leaves lists[k]). Non-zero when some
 * alternative exists. */
REMINDER_EXPORT int reminder_exist_alternatives(
    const remind_info_type_s* item, remind_info_type_s* const* conflicts, int conflict_count,
    int counts[REMINDER_ALTERNATIVE_KINDS], remind_info_type_s** lists[REMINDER_ALTERNATIVE_KINDS]);

/* --- Text helpers --- */

/* Stores in *text the message for a recording error `code` (a copy to free(), "" when there is
 * none: it is stored whatever the answer); answers whether there is a message. */
REMINDER_EXPORT int reminder_get_text_for_timer_recording_error_by_time_change(unsigned short code,
                                                                               char** text);
/* A lower-case copy of `text` (to free()); NULL for NULL. */
REMINDER_EXPORT char* reminder_lower_case(const char* text);
/* 0 when equal ignoring case, else negative or positive like strcmp; NULL reads as "". */
REMINDER_EXPORT int reminder_compare_str_ignoring_case(const char* a, const char* b);
/* The programme's one-line text (to free()); NULL for NULL. */
REMINDER_EXPORT char* reminder_program_to_string(const TCProgramData* program);

/* --- Kept for existing clients: they do nothing --- */

/* These answer 0. */
REMINDER_EXPORT int reminder_add_record_list_booking(const remind_info_type_s* item);
REMINDER_EXPORT int reminder_save_remind_list_to_file(void);
REMINDER_EXPORT int reminder_check_exist_remind_item_should_be_started_recording(void);
REMINDER_EXPORT int reminder_check_exist_remind_item_should_be_stopped_recording(void);
REMINDER_EXPORT int reminder_check_exist_remind_item_should_be_stopped_recording_with_window_id(
    int window_id);
REMINDER_EXPORT int reminder_init_record_item(void);
REMINDER_EXPORT int reminder_trans_recording_to_fail(unsigned long uid, int error);
REMINDER_EXPORT int reminder_is_series_episode_recorded(const remind_info_type_s* item);
REMINDER_EXPORT int reminder_is_group_program_recorded(const remind_info_type_s* item);
REMINDER_EXPORT int reminder_series_event_added(const remind_info_type_s* item);
REMINDER_EXPORT int reminder_series_event_deleted(const remind_info_type_s* item);
REMINDER_EXPORT int reminder_get_next_booking_order_value(void);
REMINDER_EXPORT int reminder_get_eit_monitoring_status(void);
REMINDER_EXPORT int reminder_turn_on_eit_monitoring(void);
REMINDER_EXPORT int reminder_turn_off_eit_monitoring(void);
REMINDER_EXPORT int reminder_add_next_episode(const remind_info_type_s* item);
/* These answer 1 when the scheduler exists. */
REMINDER_EXPORT int reminder_set_episode_as_recorded(const remind_info_type_s* item);
REMINDER_EXPORT int reminder_set_group_episode_as_recorded(const remind_info_type_s* item);
REMINDER_EXPORT int reminder_set_eit_monitoring_status(int status);
REMINDER_EXPORT int reminder_monitor_series_program(const remind_info_type_s* item);
REMINDER_EXPORT int reminder_search_and_add_next_episode(const remind_info_type_s* item);
/* Sets each of *a and *b that is not NULL to 1 when non-zero; answers 0. */
REMINDER_EXPORT int reminder_check_time(unsigned long time, int* a, int* b);

#ifdef __cplusplus
}
#endif

#endif
