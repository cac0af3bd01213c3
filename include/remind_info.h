/*
 * C interface of the booking record.
 *
 * Rules that hold for every function here and in reminder_api.h:
 * - Ownership. A record is an opaque handle, remind_info_type_s*. The caller owns every handle
 *   it creates with reminder_info_add and every handle it receives in a list, and releases each
 *   one with reminder_info_del (which accepts NULL). A list (an array of handles with its count,
 *   see reminder_api.h) is released, handles and array together, with reminder_info_list_free.
 *   Functions that take a handle only read or fill it; they never keep or free it.
 * - Text. Every char* a function returns is a malloc'ed copy (NULL when memory ran out); the
 *   caller releases it with free(). Text passed in is copied; the caller keeps its own.
 * - 0 and NULL. A getter given a NULL handle answers 0 (NULL for text); a setter given a NULL
 *   handle or NULL text does nothing. Predicates answer 1 for yes and 0 for no. 0 also stands
 *   for "failed" wherever a function can fail.
 * - Exceptions. No C++ exception crosses this interface: every entry point catches them and
 *   answers 0 (NULL, or nothing for a void function).
 * - Threads. A handle is plain data: use one handle from one thread at a time.
 *
 * Units: times are seconds since 1970 in the television's local clock, truncated to the minute
 * when set; durations are seconds; margin setters take minutes and getters answer seconds.
 */
#ifndef REMIND_INFO_C_H
#define REMIND_INFO_C_H

#include <stddef.h>
#include <stdint.h>

#include "ReminderExport.h"
#include "ReminderTypes.h"

#ifdef __cplusplus
class TCProgramData;
class TCServiceData;
extern "C" {
#else
/* The middleware's programme and channel objects; C code only passes their addresses on. */
typedef struct TCProgramData TCProgramData;
typedef struct TCServiceData TCServiceData;
#endif

typedef struct remind_info_type_s remind_info_type_s;

/* --- Life cycle --- */

/* A new record with every field at its default (no UID, reserve type 5); NULL without memory. */
REMINDER_EXPORT remind_info_type_s* reminder_info_add(void);
/* Destroys the record; NULL is ignored. */
REMINDER_EXPORT void reminder_info_del(remind_info_type_s* handle);
/* Releases a list handed back by a reminder_* list function: its `count` handles, then the
 * array. NULL is ignored. */
REMINDER_EXPORT void reminder_info_list_free(remind_info_type_s** list, int count);
/* Every field back to its default. */
REMINDER_EXPORT void reminder_info_initialise(remind_info_type_s* handle);

/* --- Fields --- */

REMINDER_EXPORT unsigned int reminder_info_uid(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_uid(remind_info_type_s* handle, unsigned int uid);
REMINDER_EXPORT unsigned long long reminder_info_service_id(const remind_info_type_s* handle);
REMINDER_EXPORT unsigned short reminder_info_channel_type(const remind_info_type_s* handle);
REMINDER_EXPORT unsigned short reminder_info_major(const remind_info_type_s* handle);
REMINDER_EXPORT unsigned short reminder_info_minor(const remind_info_type_s* handle);
REMINDER_EXPORT unsigned short reminder_info_ptc(const remind_info_type_s* handle);
REMINDER_EXPORT unsigned short reminder_info_program_number(const remind_info_type_s* handle);
REMINDER_EXPORT unsigned short reminder_info_transport_stream_id(const remind_info_type_s* handle);
REMINDER_EXPORT float reminder_info_frequency(const remind_info_type_s* handle);
REMINDER_EXPORT unsigned short reminder_info_time_margin(const remind_info_type_s* handle);
/* Stores the margin and widens the duration by twice it; repeated calls accumulate. */
REMINDER_EXPORT void reminder_info_set_time_margin(remind_info_type_s* handle,
                                                   unsigned short margin);
REMINDER_EXPORT unsigned short reminder_info_device(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_device(remind_info_type_s* handle, unsigned short device);
REMINDER_EXPORT unsigned short reminder_info_event_id(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_event_id(remind_info_type_s* handle,
                                                unsigned short event_id);
REMINDER_EXPORT unsigned short reminder_info_err_no(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_err_no(remind_info_type_s* handle, unsigned short err_no);
REMINDER_EXPORT unsigned short reminder_info_series_id(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_series_id(remind_info_type_s* handle,
                                                 unsigned short series_id);
REMINDER_EXPORT unsigned short reminder_info_expired_date(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_expired_date(remind_info_type_s* handle,
                                                    unsigned short date);
REMINDER_EXPORT unsigned int reminder_info_booking_order(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_booking_order(remind_info_type_s* handle,
                                                     unsigned int order);
REMINDER_EXPORT unsigned int reminder_info_rct_expiry_time(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_rct_expiry_time(remind_info_type_s* handle,
                                                       unsigned int time);
REMINDER_EXPORT unsigned int reminder_info_added_time(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_added_time(remind_info_type_s* handle, unsigned int time);
REMINDER_EXPORT unsigned int reminder_info_activation_time(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_activation_time(remind_info_type_s* handle,
                                                       unsigned int time);
REMINDER_EXPORT unsigned int reminder_info_record_list_expiry_time(
    const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_record_list_expiry_time(remind_info_type_s* handle,
                                                               unsigned int time);
REMINDER_EXPORT unsigned int reminder_info_published_duration(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_published_duration(remind_info_type_s* handle,
                                                          unsigned int duration);
REMINDER_EXPORT unsigned char reminder_info_content_version(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_content_version(remind_info_type_s* handle,
                                                       unsigned char version);
REMINDER_EXPORT unsigned char reminder_info_genre(const remind_info_type_s* handle);
/* The programme's own length, without margins. */
REMINDER_EXPORT unsigned int reminder_info_original_duration(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_duration(remind_info_type_s* handle, unsigned int duration);
REMINDER_EXPORT short reminder_info_episode_number(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_episode_number(remind_info_type_s* handle, short number);
REMINDER_EXPORT short reminder_info_last_episode_number(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_last_episode_number(remind_info_type_s* handle,
                                                           short number);
REMINDER_EXPORT unsigned char reminder_info_repeat_label(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_repeat_label(remind_info_type_s* handle,
                                                    unsigned char label);
REMINDER_EXPORT int reminder_info_source(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_source(remind_info_type_s* handle, int source);
REMINDER_EXPORT int reminder_info_creation_method(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_creation_method(remind_info_type_s* handle, int method);
REMINDER_EXPORT EReserveType reminder_info_reserve_type(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_reserve_type(remind_info_type_s* handle, EReserveType type);
REMINDER_EXPORT EReminderRepeatType reminder_info_repeat_type(const remind_info_type_s* handle);
/* Weekday mask of REMINDER_REPEAT_MANUAL: bit 0 Sunday to bit 6 Saturday. */
REMINDER_EXPORT unsigned char reminder_info_manual_repeat(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_repeat(remind_info_type_s* handle, EReminderRepeatType type,
                                              unsigned char manual_repeat);
/* Margins: set in minutes, read in seconds. */
REMINDER_EXPORT unsigned int reminder_info_get_start_margin_time(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_start_margin_time(remind_info_type_s* handle,
                                                         unsigned int minutes);
REMINDER_EXPORT unsigned int reminder_info_get_end_margin_time(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_end_margin_time(remind_info_type_s* handle,
                                                       unsigned int minutes);

/* Flags: getters answer 1 or 0; setters store whether `value` is non-zero. */
REMINDER_EXPORT int reminder_info_is_hd(const remind_info_type_s* handle);
REMINDER_EXPORT int reminder_info_is_a_remote_channel(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_remote_channel(remind_info_type_s* handle, intptr_t value);
REMINDER_EXPORT int reminder_info_alarmed(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_alarmed(remind_info_type_s* handle, intptr_t value);
REMINDER_EXPORT int reminder_info_recording_space_alarmed(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_recording_space_alarmed(remind_info_type_s* handle,
                                                               intptr_t value);
REMINDER_EXPORT int reminder_info_currently_recording(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_currently_recording(remind_info_type_s* handle,
                                                           intptr_t value);
REMINDER_EXPORT int reminder_info_unresolved_conflict(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_unresolved_conflict(remind_info_type_s* handle,
                                                           intptr_t value);
REMINDER_EXPORT int reminder_info_is_recommended(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_recommended(remind_info_type_s* handle, intptr_t value);
REMINDER_EXPORT int reminder_info_is_a_record_list_booking(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_record_list_booking(remind_info_type_s* handle,
                                                           intptr_t value);

/* Text (UTF-8): getters return a copy to free(); setters ignore NULL, "" clears. */
REMINDER_EXPORT char* reminder_info_get_title(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_title(remind_info_type_s* handle, const char* title);
REMINDER_EXPORT char* reminder_info_synopsis(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_synopsis(remind_info_type_s* handle, const char* synopsis);
REMINDER_EXPORT char* reminder_info_guidance(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_guidance(remind_info_type_s* handle, const char* guidance);
REMINDER_EXPORT char* reminder_info_group_crid(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_group_crid(remind_info_type_s* handle, const char* crid);
REMINDER_EXPORT char* reminder_info_private_data(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_private_data(remind_info_type_s* handle, const char* data);
/* CRIDs: the plain getters answer in lower case, as bookings are matched; the _preserved_case
 * getters answer them as stored. */
REMINDER_EXPORT char* reminder_info_program_crid(const remind_info_type_s* handle);
REMINDER_EXPORT char* reminder_info_program_crid_preserved_case(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_program_crid(remind_info_type_s* handle, const char* crid);
REMINDER_EXPORT char* reminder_info_series_crid(const remind_info_type_s* handle);
REMINDER_EXPORT char* reminder_info_series_crid_preserved_case(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_series_crid(remind_info_type_s* handle, const char* crid);
/* The channel's name as the television knows it now ("" when it does not). */
REMINDER_EXPORT char* reminder_info_get_channel_name(const remind_info_type_s* handle);
REMINDER_EXPORT void reminder_info_set_channel_name(remind_info_type_s* handle, const char* name);

/* --- Times and derived answers --- */

/* The start with the start margin taken off (the padded start). */
REMINDER_EXPORT unsigned int reminder_info_start_time(const remind_info_type_s* handle);
/* The same value as reminder_info_start_time (kept for existing clients). */
REMINDER_EXPORT unsigned int reminder_info_expiry_time(const remind_info_type_s* handle);
/* The programme's own start, without margin. */
REMINDER_EXPORT unsigned int reminder_info_original_start_time(const remind_info_type_s* handle);
/* Seconds from now to the padded start; wraps around (a large value) once it has passed. */
REMINDER_EXPORT unsigned int reminder_info_start_left_time(const remind_info_type_s* handle);
/* Both set the start (local time, cut to the minute) and the UTC start that follows. */
REMINDER_EXPORT void reminder_info_set_start_time(remind_info_type_s* handle, unsigned long time);
REMINDER_EXPORT void reminder_info_set_expiryt_time(remind_info_type_s* handle, unsigned long time);
/* Start margin + programme length + end margin. */
REMINDER_EXPORT unsigned int reminder_info_duration(const remind_info_type_s* handle);
REMINDER_EXPORT int reminder_info_is_a_timer_viewing(const remind_info_type_s* handle); /* type 0 */
REMINDER_EXPORT int reminder_info_is_event_recording(const remind_info_type_s* handle); /* type 2 */
REMINDER_EXPORT int reminder_info_failed(const remind_info_type_s* handle);             /* type 4 */
REMINDER_EXPORT int reminder_info_is_an_invalid(const remind_info_type_s* handle); /* type 4 or 9 */
REMINDER_EXPORT int reminder_info_is_series_booking(const remind_info_type_s* handle); /* type 9 */
REMINDER_EXPORT int reminder_info_is_a_record_list_group_subscription(
    const remind_info_type_s* handle);
/* Type 1, 2, 7 or 11, and not a record-list booking. */
REMINDER_EXPORT int reminder_info_is_a_recording(const remind_info_type_s* handle);
/* A record-list booking of any type but 2. */
REMINDER_EXPORT int reminder_info_is_metadata_from_dsm(const remind_info_type_s* handle);
/* Seconds a recording may run over: 7200 for type 2, else 0. */
REMINDER_EXPORT unsigned int reminder_info_max_over_run_allowed(const remind_info_type_s* handle);
REMINDER_EXPORT int reminder_info_has_guidance(const remind_info_type_s* handle);

/* --- Comparisons (1 when they hold; 0 also when a handle or object is NULL) --- */

/* Every field but the component list; CRIDs and private data ignoring case. */
REMINDER_EXPORT int reminder_info_is_fully_equal(const remind_info_type_s* a,
                                                 const remind_info_type_s* b);
/* List order: kind, channel type, time, then channel numbers. */
REMINDER_EXPORT int reminder_info_is_less(const remind_info_type_s* a, const remind_info_type_s* b);
REMINDER_EXPORT int reminder_info_compare_service_and_time(const remind_info_type_s* a,
                                                           const remind_info_type_s* b);
REMINDER_EXPORT int reminder_info_compare_service_time_and_repeat(const remind_info_type_s* a,
                                                                  const remind_info_type_s* b);
REMINDER_EXPORT int reminder_info_compare_service(const remind_info_type_s* a,
                                                  const remind_info_type_s* b);
REMINDER_EXPORT int reminder_info_compare_service_tcprogram(const remind_info_type_s* handle,
                                                            const TCProgramData* program);
REMINDER_EXPORT int reminder_info_compare_service_tcchannel(const remind_info_type_s* handle,
                                                            const TCServiceData* service);
/* Whether both denote the same broadcast. */
REMINDER_EXPORT int reminder_info_compare_event(const remind_info_type_s* a,
                                                const remind_info_type_s* b);
REMINDER_EXPORT int reminder_info_compare_event_tcprogram(const remind_info_type_s* handle,
                                                          const TCProgramData* program);
REMINDER_EXPORT int reminder_info_compare_crid(const remind_info_type_s* a,
                                               const remind_info_type_s* b);
/* Whether the two compete for the same time. */
REMINDER_EXPORT int reminder_info_is_conflict(const remind_info_type_s* a,
                                              const remind_info_type_s* b);
REMINDER_EXPORT int reminder_info_is_conflict_tcprogram(const remind_info_type_s* handle,
                                                        const TCProgramData* program);
REMINDER_EXPORT int reminder_info_is_part_of_a_series(const remind_info_type_s* handle);
REMINDER_EXPORT int reminder_info_is_split_event(const remind_info_type_s* handle);

/* --- Filling and copying --- */

REMINDER_EXPORT void reminder_info_copy_details_into_tcchannel(const remind_info_type_s* handle,
                                                               TCServiceData* service);
/* Only the attributes by which the channel can be found again after a rescan. */
REMINDER_EXPORT void reminder_info_copy_unique_key_into(const remind_info_type_s* handle,
                                                        TCServiceData* service);
/* Kept for existing clients; does nothing. */
REMINDER_EXPORT void reminder_info_copy_details_into_tcprogram(const remind_info_type_s* handle,
                                                               unsigned long long* program_id,
                                                               void* data);
/* A recording (a viewing reminder) of the guide programme. */
REMINDER_EXPORT void reminder_info_set_recording(remind_info_type_s* handle,
                                                 const TCProgramData* program);
REMINDER_EXPORT void reminder_info_set_timer_viewing(remind_info_type_s* handle,
                                                     const TCProgramData* program);
REMINDER_EXPORT void reminder_info_set_from_tcprogram(remind_info_type_s* handle,
                                                      const TCProgramData* program,
                                                      EReserveType type);
/* A manual booking on the channel with these numbers; the service is looked up on the
 * television and left unset when it has no such channel. */
REMINDER_EXPORT void reminder_info_set(remind_info_type_s* handle, unsigned short major,
                                       unsigned short minor, unsigned short ptc,
                                       unsigned short channel_type, unsigned short program_number);
REMINDER_EXPORT void reminder_info_seriel_set(remind_info_type_s* handle, unsigned short series_id,
                                              unsigned short expired_date, char repeat_label,
                                              short episode_number, short last_episode_number);
/* Logs the record's one-line text, after `prefix` when it is not NULL. */
REMINDER_EXPORT void reminder_info_print(const remind_info_type_s* handle, const char* prefix);
/* The record's one-line text, to free(). */
REMINDER_EXPORT char* reminder_info_to_string(const remind_info_type_s* handle);

/* --- Text conversion --- */

/* Converts `in_size` bytes of UTF-16 (high byte first) into UTF-8 at `out`, at most `out_size`
 * bytes. The output is not terminated: pass a zeroed buffer. On an invalid or incomplete
 * sequence, or when `out` fills up, what was converted so far stays in `out`. Answers 0, or -1
 * when no converter could be opened or `in` or `out` is NULL. */
REMINDER_EXPORT int reminder_uni2utf8(char* out, size_t out_size, const char* in, size_t in_size);

#ifdef __cplusplus
}
#endif

#endif
