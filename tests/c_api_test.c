/*
 * The C interfaces as a C program sees them: the record's derived answers at their edges, text
 * ownership, a booking from creation to deletion, lists and their release, and the helpers.
 *
 * Runs on the sample television (TVSIM_PROFILE) with its own database file (REMINDER_DB_PATH),
 * both set by the test's environment.
 */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ReminderTypes.h"
#include "remind_info.h"
#include "reminder_api.h"

/* The sample television's clock in its local time (UTC + 1 h); whole minutes. */
#define LOCAL_NOW 1795460400u

static int failures;

#define CHECK(cond)                                                                  \
    do {                                                                             \
        if (!(cond)) {                                                               \
            fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
            ++failures;                                                              \
        }                                                                            \
    } while (0)

/* Whether the returned copy `text` reads `expected`; releases it. */
static int text_is(char* text, const char* expected) {
    const int same = text != NULL && strcmp(text, expected) == 0;
    if (!same) fprintf(stderr, "  got \"%s\", expected \"%s\"\n", text ? text : "(null)", expected);
    free(text);
    return same;
}

/* --- The record --- */

static void test_null_handles(void) {
    reminder_info_del(NULL);
    reminder_info_list_free(NULL, 3);
    CHECK(reminder_info_uid(NULL) == 0);
    CHECK(reminder_info_get_title(NULL) == NULL);
    CHECK(reminder_info_to_string(NULL) == NULL);
    CHECK(reminder_info_is_a_timer_viewing(NULL) == 0);
    CHECK(reminder_info_is_fully_equal(NULL, NULL) == 0);
    reminder_info_set_title(NULL, "x");
    reminder_info_set_start_margin_time(NULL, 5);
}

static void test_kinds(void) {
    /* reserve type, record-list booking, then the answers of each derived predicate */
    static const struct {
        int type, list;
        int viewing, event, failed, invalid, series, group, recording, dsm;
        unsigned overrun;
    } rows[] = {
        {0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0},    {1, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0},
        {2, 0, 0, 1, 0, 0, 0, 0, 1, 0, 7200}, {2, 1, 0, 1, 0, 0, 0, 0, 0, 0, 7200},
        {3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},    {4, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0},
        {5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},    {7, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0},
        {7, 1, 0, 0, 0, 0, 0, 0, 0, 1, 0},    {9, 0, 0, 0, 0, 1, 1, 0, 0, 0, 0},
        {10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},   {11, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0},
        {12, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0},   {12, 1, 0, 0, 0, 0, 0, 1, 0, 1, 0},
    };
    remind_info_type_s* h = reminder_info_add();
    size_t i;
    for (i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
        reminder_info_set_reserve_type(h, (EReserveType)rows[i].type);
        reminder_info_set_record_list_booking(h, rows[i].list);
        if (reminder_info_is_a_timer_viewing(h) != rows[i].viewing ||
            reminder_info_is_event_recording(h) != rows[i].event ||
            reminder_info_failed(h) != rows[i].failed ||
            reminder_info_is_an_invalid(h) != rows[i].invalid ||
            reminder_info_is_series_booking(h) != rows[i].series ||
            reminder_info_is_a_record_list_group_subscription(h) != rows[i].group ||
            reminder_info_is_a_recording(h) != rows[i].recording ||
            reminder_info_is_metadata_from_dsm(h) != rows[i].dsm ||
            reminder_info_max_over_run_allowed(h) != rows[i].overrun) {
            fprintf(stderr, "kinds: reserve type %d, record list %d\n", rows[i].type, rows[i].list);
            ++failures;
        }
    }
    reminder_info_del(h);
}

static void test_times_and_margins(void) {
    remind_info_type_s* h = reminder_info_add();
    reminder_info_set_start_time(h, LOCAL_NOW + 3600 + 30); /* cut to the minute */
    reminder_info_set_start_margin_time(h, 5);
    reminder_info_set_end_margin_time(h, 2);
    reminder_info_set_duration(h, 1800);
    CHECK(reminder_info_original_start_time(h) == LOCAL_NOW + 3600);
    CHECK(reminder_info_get_start_margin_time(h) == 300);
    CHECK(reminder_info_get_end_margin_time(h) == 120);
    CHECK(reminder_info_start_time(h) == LOCAL_NOW + 3300);
    CHECK(reminder_info_expiry_time(h) == reminder_info_start_time(h));
    CHECK(reminder_info_duration(h) == 300 + 1800 + 120);
    CHECK(reminder_info_start_left_time(h) == 3300);

    /* A padded start that has passed wraps around instead of going negative. */
    reminder_info_set_expiryt_time(h, LOCAL_NOW - 120);
    CHECK(reminder_info_original_start_time(h) == LOCAL_NOW - 120);
    CHECK(reminder_info_start_left_time(h) == (unsigned)(0u - 420u));
    reminder_info_set_start_time(h, 60);
    CHECK(reminder_info_start_time(h) == (unsigned)(60u - 300u));
    CHECK(reminder_info_expiry_time(h) == reminder_info_start_time(h));
    reminder_info_set_record_list_expiry_time(h, 12345);
    CHECK(reminder_info_expiry_time(h) == (unsigned)(60u - 300u));

    /* The time margin widens the duration by twice itself, every time it is set. */
    reminder_info_set_time_margin(h, 10);
    reminder_info_set_time_margin(h, 10);
    CHECK(reminder_info_time_margin(h) == 10);
    CHECK(reminder_info_original_duration(h) == 1800 + 40);
    reminder_info_del(h);
}

static void test_fields(void) {
    static const struct {
        int (*get)(const remind_info_type_s*);
        void (*set)(remind_info_type_s*, intptr_t);
    } flags[] = {
        {reminder_info_is_a_remote_channel, reminder_info_set_remote_channel},
        {reminder_info_alarmed, reminder_info_set_alarmed},
        {reminder_info_recording_space_alarmed, reminder_info_set_recording_space_alarmed},
        {reminder_info_currently_recording, reminder_info_set_currently_recording},
        {reminder_info_unresolved_conflict, reminder_info_set_unresolved_conflict},
        {reminder_info_is_recommended, reminder_info_set_recommended},
        {reminder_info_is_a_record_list_booking, reminder_info_set_record_list_booking},
    };
    static const struct {
        unsigned short (*get)(const remind_info_type_s*);
        void (*set)(remind_info_type_s*, unsigned short);
    } shorts[] = {
        {reminder_info_device, reminder_info_set_device},
        {reminder_info_event_id, reminder_info_set_event_id},
        {reminder_info_err_no, reminder_info_set_err_no},
        {reminder_info_series_id, reminder_info_set_series_id},
        {reminder_info_expired_date, reminder_info_set_expired_date},
    };
    static const struct {
        unsigned int (*get)(const remind_info_type_s*);
        void (*set)(remind_info_type_s*, unsigned int);
    } ints[] = {
        {reminder_info_uid, reminder_info_set_uid},
        {reminder_info_booking_order, reminder_info_set_booking_order},
        {reminder_info_rct_expiry_time, reminder_info_set_rct_expiry_time},
        {reminder_info_added_time, reminder_info_set_added_time},
        {reminder_info_activation_time, reminder_info_set_activation_time},
        {reminder_info_record_list_expiry_time, reminder_info_set_record_list_expiry_time},
        {reminder_info_published_duration, reminder_info_set_published_duration},
    };
    remind_info_type_s* h = reminder_info_add();
    size_t i;

    /* Each setter writes its own member: distinct values, all read back afterwards. */
    for (i = 0; i < sizeof shorts / sizeof shorts[0]; ++i)
        shorts[i].set(h, (unsigned short)(100 + i));
    for (i = 0; i < sizeof ints / sizeof ints[0]; ++i) ints[i].set(h, 70000u + (unsigned)i);
    for (i = 0; i < sizeof shorts / sizeof shorts[0]; ++i) CHECK(shorts[i].get(h) == 100 + i);
    for (i = 0; i < sizeof ints / sizeof ints[0]; ++i) CHECK(ints[i].get(h) == 70000u + i);

    /* Flags take any pointer-sized value: one whose low byte is zero is still true. */
    for (i = 0; i < sizeof flags / sizeof flags[0]; ++i) {
        flags[i].set(h, 256);
        CHECK(flags[i].get(h) == 1);
        flags[i].set(h, 0);
        CHECK(flags[i].get(h) == 0);
    }

    reminder_info_set_repeat(h, REMINDER_REPEAT_MANUAL, 0x41);
    CHECK(reminder_info_repeat_type(h) == REMINDER_REPEAT_MANUAL);
    CHECK(reminder_info_manual_repeat(h) == 0x41);
    reminder_info_seriel_set(h, 7, 8, 'R', -3, 12);
    CHECK(reminder_info_series_id(h) == 7 && reminder_info_expired_date(h) == 8);
    CHECK(reminder_info_repeat_label(h) == 'R');
    CHECK(reminder_info_episode_number(h) == -3 && reminder_info_last_episode_number(h) == 12);

    reminder_info_initialise(h);
    CHECK(reminder_info_uid(h) == REMINDER_INVALID_UID);
    CHECK(reminder_info_reserve_type(h) == REMINDER_RESERVE_NONE);
    reminder_info_del(h);
}

static void test_text(void) {
    remind_info_type_s* h = reminder_info_add();
    char* copy;

    reminder_info_set_title(h, "Talkrunde");
    reminder_info_set_title(h, NULL); /* ignored */
    CHECK(text_is(reminder_info_get_title(h), "Talkrunde"));
    /* A getter hands out a copy: changing it leaves the record alone. */
    copy = reminder_info_get_title(h);
    copy[0] = 'X';
    free(copy);
    CHECK(text_is(reminder_info_get_title(h), "Talkrunde"));
    reminder_info_set_title(h, "");
    CHECK(text_is(reminder_info_get_title(h), ""));

    CHECK(reminder_info_has_guidance(h) == 0);
    reminder_info_set_guidance(h, "Ab 16");
    CHECK(reminder_info_has_guidance(h) == 1);
    CHECK(text_is(reminder_info_guidance(h), "Ab 16"));

    reminder_info_set_program_crid(h, "crid://Broadcaster.example/Nature/BLUE");
    CHECK(text_is(reminder_info_program_crid(h), "crid://broadcaster.example/nature/blue"));
    CHECK(text_is(reminder_info_program_crid_preserved_case(h),
                  "crid://Broadcaster.example/Nature/BLUE"));
    reminder_info_set_series_crid(h, "crid://X/Series");
    CHECK(text_is(reminder_info_series_crid(h), "crid://x/series"));
    CHECK(text_is(reminder_info_series_crid_preserved_case(h), "crid://X/Series"));

    /* The channel's name is asked of the television: the service of these numbers. */
    reminder_info_set(h, 6, 1, 27, REMINDER_CHANNEL_TYPE_DTV, 302);
    CHECK(reminder_info_service_id(h) == 1006);
    CHECK(text_is(reminder_info_get_channel_name(h), "Radio \xC5\x81\xC3\xB3\x64\xC5\xBA"));

    copy = reminder_info_to_string(h);
    CHECK(copy != NULL && strlen(copy) > 0);
    free(copy);
    reminder_info_print(h, NULL);
    reminder_info_print(h, "c test");
    reminder_info_del(h);
}

static void test_comparisons(void) {
    remind_info_type_s* a = reminder_info_add();
    remind_info_type_s* b = reminder_info_add();
    remind_info_type_s* both[2];
    size_t i;
    both[0] = a;
    both[1] = b;
    for (i = 0; i < 2; ++i) {
        reminder_info_set(both[i], 2, 0, 21, REMINDER_CHANNEL_TYPE_DTV, 102);
        reminder_info_set_start_time(both[i], LOCAL_NOW + 1800);
        reminder_info_set_duration(both[i], 3600);
        reminder_info_set_event_id(both[i], 102);
    }
    reminder_info_set_program_crid(a, "crid://A/b");
    reminder_info_set_program_crid(b, "CRID://a/B");
    CHECK(reminder_info_is_fully_equal(a, b) == 1);
    CHECK(reminder_info_is_less(a, b) == 0 && reminder_info_is_less(b, a) == 0);
    CHECK(reminder_info_compare_crid(a, b) == 1);
    CHECK(reminder_info_compare_service_and_time(a, b) == 1);
    CHECK(reminder_info_compare_event(a, b) == 1);
    CHECK(reminder_info_is_conflict(a, b) == 0); /* the same broadcast */
    reminder_info_set_event_id(b, 103);
    reminder_info_set_start_time(b, LOCAL_NOW + 3600);
    CHECK(reminder_info_is_conflict(a, b) == 1); /* another one within a's time */
    CHECK(reminder_info_compare_service(a, NULL) == 0);

    reminder_info_set_start_time(b, LOCAL_NOW + 7200);
    CHECK(reminder_info_is_fully_equal(a, b) == 0);
    CHECK(reminder_info_is_less(a, b) == 1 && reminder_info_is_less(b, a) == 0);
    CHECK(reminder_info_compare_service_and_time(a, b) == 0);
    CHECK(reminder_info_compare_service(a, b) == 1);
    CHECK(reminder_info_compare_service_tcprogram(a, NULL) == 0);
    reminder_info_del(a);
    reminder_info_del(b);
}

static void test_uni2utf8(void) {
    static const char text[] = {0x00, 0x41, 0x00, (char)0xE9}; /* "Aé", high byte first */
    static const char broken[] = {0x00, 'o', 0x00, 'k', (char)0xDC, 0x00, 0x00, 'x'};
    char out[16];

    memset(out, 0, sizeof out);
    CHECK(reminder_uni2utf8(out, sizeof out, text, sizeof text) == 0);
    CHECK(strcmp(out, "A\xC3\xA9") == 0);
    /* A lone surrogate stops the conversion; what came before stays. */
    memset(out, 0, sizeof out);
    reminder_uni2utf8(out, sizeof out, broken, sizeof broken);
    CHECK(strcmp(out, "ok") == 0);
    /* No room for the second character: the first stays, nothing is written past the end. */
    memset(out, 0, sizeof out);
    reminder_uni2utf8(out, 2, text, sizeof text);
    CHECK(strcmp(out, "A") == 0);
    CHECK(reminder_uni2utf8(NULL, sizeof out, text, sizeof text) == -1);
    CHECK(reminder_uni2utf8(out, sizeof out, NULL, 2) == -1);
}

/* --- The scheduler --- */

/* A viewing reminder of a programme of the sample guide, on the channel of these numbers. */
static remind_info_type_s* viewing(unsigned short major, unsigned short ptc,
                                   unsigned short program_number, unsigned short event_id,
                                   unsigned int start_offset, unsigned int duration,
                                   const char* title) {
    remind_info_type_s* h = reminder_info_add();
    reminder_info_set(h, major, 0, ptc, REMINDER_CHANNEL_TYPE_DTV, program_number);
    reminder_info_set_reserve_type(h, REMINDER_RESERVE_VIEWING);
    reminder_info_set_event_id(h, event_id);
    reminder_info_set_start_time(h, LOCAL_NOW + start_offset);
    reminder_info_set_duration(h, duration);
    reminder_info_set_title(h, title);
    return h;
}

static void test_booking_life(void) {
    remind_info_type_s* talk = viewing(2, 21, 102, 102, 1800, 3600, "Talkrunde");
    remind_info_type_s* quiz = viewing(3, 24, 201, 103, 2700, 5400, "Concurso");
    remind_info_type_s* found = reminder_info_add();
    remind_info_type_s** list = NULL;
    remind_info_type_s** untouched = (remind_info_type_s**)&untouched;
    int count = -1;
    unsigned long talk_uid, quiz_uid;

    CHECK(reminder_init() == 1);
    CHECK(reminder_get_remind_item_cnt() == 0);
    /* Booked out of time order: the list comes back by start time. */
    CHECK(reminder_add_remind_item(quiz, 0, 0) == 1);
    CHECK(reminder_add_remind_item(talk, 0, 0) == 1);
    CHECK(reminder_last_store_error() == 0);
    {
        /* A call that succeeded leaves no refusal text; viewings take no tuner. */
        char* reason = reminder_last_refusal();
        CHECK(reason != NULL && reason[0] == '\0');
        free(reason);
        CHECK(reminder_exist_conflicts_with_exclusions(talk, NULL, 0, 0) == 0);
    }
    CHECK(reminder_get_remind_item_cnt() == 2);

    CHECK(reminder_get_remind_item_by_type(&count, &list, REM_EXTRACT_ALL_BOOKINGS) == 1);
    CHECK(count == 2);
    if (count != 2 || list == NULL) {
        reminder_info_list_free(list, count);
        reminder_info_del(talk);
        reminder_info_del(quiz);
        reminder_info_del(found);
        return;
    }
    CHECK(text_is(reminder_info_get_title(list[0]), "Talkrunde"));
    CHECK(text_is(reminder_info_get_title(list[1]), "Concurso"));
    CHECK(reminder_info_service_id(list[0]) == 1002 && reminder_info_service_id(list[1]) == 1003);
    talk_uid = reminder_info_uid(list[0]);
    quiz_uid = reminder_info_uid(list[1]);
    CHECK(talk_uid != REMINDER_INVALID_UID && quiz_uid != REMINDER_INVALID_UID);
    CHECK(talk_uid != quiz_uid);

    /* The handles of a list are copies: changing one changes nothing stored until updated. */
    reminder_info_set_title(list[0], "Talkrunde spezial");
    CHECK(reminder_get_remind_item_by_uid(talk_uid, found) == 1);
    CHECK(text_is(reminder_info_get_title(found), "Talkrunde"));
    CHECK(reminder_update_remind_item_by_uid(talk_uid, list[0], 1, 0, 0) == 1);
    CHECK(reminder_get_remind_item_by_uid(talk_uid, found) == 1);
    CHECK(text_is(reminder_info_get_title(found), "Talkrunde spezial"));
    reminder_info_list_free(list, count);

    /* A record of the same service and time finds the stored booking. */
    CHECK(reminder_find_remind_item(quiz, found) == 1);
    CHECK(reminder_info_uid(found) == quiz_uid);
    CHECK(reminder_flag_reminder_list_is_full() == 0);

    /* Nothing of that kind: an answer of 1, a count of 0 and the array pointer left alone. */
    list = untouched;
    count = -1;
    CHECK(reminder_get_remind_item_by_type(&count, &list, REM_EXTRACT_FAILED) == 1);
    CHECK(count == 0 && list == untouched);

    CHECK(reminder_delete_remind_item_by_uid(quiz_uid, 0) == 1);
    CHECK(reminder_get_remind_item_by_uid(quiz_uid, found) == 0);
    CHECK(reminder_user_delete_remind_item_by_uid(quiz_uid) == 0);
    CHECK(reminder_delete_remind_item_alone_by_uid(talk_uid) == 1);
    CHECK(reminder_get_remind_item_cnt() == 0);
    CHECK(reminder_last_store_error() == 0);

    /* Missing arguments fail without touching anything. */
    CHECK(reminder_add_remind_item(NULL, 0, 0) == 0);
    CHECK(reminder_get_remind_item_by_uid(talk_uid, NULL) == 0);
    CHECK(reminder_get_remind_item_by_type(NULL, &list, REM_EXTRACT_ALL_BOOKINGS) == 0);

    reminder_info_del(talk);
    reminder_info_del(quiz);
    reminder_info_del(found);
}

/* Every list function over an empty store: a count of 0 and the caller's pointer left alone. */
static void test_empty_lists(void) {
    remind_info_type_s* item = viewing(2, 21, 102, 102, 1800, 3600, "Talkrunde");
    remind_info_type_s* same = NULL;
    remind_info_type_s** untouched = (remind_info_type_s**)&untouched;
    remind_info_type_s** lists[REMINDER_ALTERNATIVE_KINDS];
    int counts[REMINDER_ALTERNATIVE_KINDS];
    int kind;
    remind_info_type_s** list;
    int count;

#define CHECK_EMPTY(call)                       \
    do {                                        \
        list = untouched;                       \
        count = -1;                             \
        (void)(call);                           \
        CHECK(count == 0 && list == untouched); \
    } while (0)
    CHECK_EMPTY(reminder_get_remind_item_for_mheg(&count, &list));
    CHECK_EMPTY(reminder_get_remind_items_for_crid("crid://nobody/none", &count, &list));
    CHECK_EMPTY(reminder_get_overlapping_remind_items(item, &count, &list));
    CHECK_EMPTY(reminder_get_current_recording_items(&count, &list));
    CHECK_EMPTY(reminder_get_start_time_is_same_items(item, &count, &list));
    CHECK_EMPTY(reminder_get_start_time_is_same_viewing_items(item, &count, &list));
#undef CHECK_EMPTY

    count = -1;
    CHECK(reminder_exist_conflicts(item, &count) == 0);
    CHECK(count == 0);
    for (kind = 0; kind < REMINDER_ALTERNATIVE_KINDS; ++kind) {
        lists[kind] = untouched;
        counts[kind] = -1;
    }
    CHECK(reminder_exist_alternatives(item, NULL, 0, counts, lists) == 0);
    for (kind = 0; kind < REMINDER_ALTERNATIVE_KINDS; ++kind) {
        CHECK(counts[kind] == 0 && lists[kind] == untouched);
    }

    /* The out handle of the same-time check is made for the caller when it passes none. */
    reminder_exist_same_time_remind_item(item, &same);
    CHECK(same != NULL);
    reminder_info_del(same);
    reminder_info_del(item);
}

/* Books `h` (released here) and answers the UID it was stored under. */
static unsigned long book(remind_info_type_s* h) {
    remind_info_type_s* stored = reminder_info_add();
    unsigned long uid = REMINDER_INVALID_UID;
    CHECK(reminder_add_remind_item(h, 0, 0) == 1);
    if (reminder_find_remind_item(h, stored) == 1) uid = reminder_info_uid(stored);
    CHECK(uid != REMINDER_INVALID_UID);
    reminder_info_del(stored);
    reminder_info_del(h);
    return uid;
}

static remind_info_type_s* recording(unsigned short major, unsigned short ptc,
                                     unsigned short program_number, unsigned short event_id,
                                     unsigned int start_offset, unsigned int duration,
                                     EReserveType type, const char* title) {
    remind_info_type_s* h =
        viewing(major, ptc, program_number, event_id, start_offset, duration, title);
    reminder_info_set_reserve_type(h, type);
    return h;
}

/* Whether the list holds exactly the items of these UIDs, in this order; releases it. */
static int list_is(remind_info_type_s** list, int count, const unsigned long* uids, int n) {
    int same = count == n, i;
    for (i = 0; same && i < n; ++i) same = reminder_info_uid(list[i]) == uids[i];
    if (!same) {
        fprintf(stderr, "  got %d item(s):", count);
        for (i = 0; i < count; ++i) fprintf(stderr, " %u", reminder_info_uid(list[i]));
        fprintf(stderr, "\n");
    }
    reminder_info_list_free(list, count);
    return same;
}

/* The list and CRID queries over a store holding items, then the deletions. */
static void test_filled_lists(void) {
    static const char morel_crid[] = "crid://broadcaster.example/Detective/S01E01";
    static const char series_crid[] = "crid://broadcaster.example/Series/DETECTIVE";
    remind_info_type_s* h;
    remind_info_type_s* out = reminder_info_add();
    remind_info_type_s* probe;
    remind_info_type_s** list = NULL;
    int count = 0;
    unsigned long film, blue, morel, news, all[4];

    /* Three items start together (listed in UID order among themselves), a fourth later. */
    film = book(recording(2, 21, 102, 900, 7200, 3600, REMINDER_RESERVE_RECORDING, "Film"));
    h = viewing(3, 24, 201, 105, 7200, 1200, "Planeta Azul");
    reminder_info_set_program_crid(h, "crid://Broadcaster.example/Nature/BLUE");
    blue = book(h);
    h = viewing(1, 21, 101, 103, 7200, 3600, "Inspecteur Morel");
    reminder_info_set_program_crid(h, morel_crid);
    reminder_info_set_series_crid(h, series_crid);
    morel = book(h);
    news = book(recording(5, 27, 301, 901, 9000, 1800, REMINDER_RESERVE_RECORDING, "Nyheder"));
    /* The list holds four; the episode of a series counts through its series. */
    CHECK(reminder_get_reminder_list_size() == 4 && reminder_get_remind_item_cnt() == 3);

    /* CRIDs match ignoring case, by programme or series. */
    CHECK(reminder_get_remind_items_for_crid("CRID://BROADCASTER.EXAMPLE/detective/s01e01", &count,
                                             &list) == 1);
    CHECK(list_is(list, count, &morel, 1));
    CHECK(reminder_get_remind_items_for_crid("crid://broadcaster.example/series/detective", &count,
                                             &list) == 1);
    CHECK(list_is(list, count, &morel, 1));
    /* An instance suffix names the same programme. */
    CHECK(reminder_is_program_scheduled("crid://BROADCASTER.example/Detective/S01E01#2", out) == 1);
    CHECK(reminder_info_uid(out) == morel);
    CHECK(reminder_is_program_scheduled("crid://broadcaster.example/nature/blue", NULL) == 1);
    CHECK(reminder_is_program_scheduled("crid://broadcaster.example/Detective/S01E02", out) == 0);

    /* Same start: every kind, or only the viewings; the stored record leaves itself out. */
    CHECK(reminder_get_remind_item_by_uid(morel, out) == 1);
    CHECK(reminder_get_start_time_is_same_items(out, &count, &list) == 1);
    all[0] = film;
    all[1] = blue;
    CHECK(list_is(list, count, all, 2));
    CHECK(reminder_get_start_time_is_same_viewing_items(out, &count, &list) == 1);
    CHECK(list_is(list, count, &blue, 1));
    CHECK(reminder_get_remind_item_by_uid(film, out) == 1);
    CHECK(reminder_get_start_time_is_same_viewing_items(out, &count, &list) == 1);
    all[0] = blue;
    all[1] = morel;
    CHECK(list_is(list, count, all, 2));

    /* A recording overlaps the recordings it meets, by start order; a viewing reminder is an
     * instant at its start. */
    probe = recording(6, 27, 302, 902, 9600, 600, REMINDER_RESERVE_RECORDING, "Radio");
    CHECK(reminder_get_overlapping_remind_items(probe, &count, &list) == 1);
    reminder_info_del(probe);
    all[0] = film;
    all[1] = news;
    CHECK(list_is(list, count, all, 2));

    /* A CRID given as a C string, in another case; a second time finds nothing. */
    CHECK(reminder_delete_matching_remind_items(REM_DELETE_BY_PROGRAM_CRID,
                                                "CRID://broadcaster.example/DETECTIVE/S01E01",
                                                REMINDER_CHANNEL_TYPE_ALL, 0) == 1);
    CHECK(reminder_delete_matching_remind_items(REM_DELETE_BY_PROGRAM_CRID, morel_crid,
                                                REMINDER_CHANNEL_TYPE_ALL, 0) == 0);
    CHECK(reminder_get_remind_item_by_uid(morel, out) == 0);
    CHECK(reminder_get_reminder_list_size() == 3);

    all[0] = news;
    all[1] = film;
    CHECK(reminder_delete_remind_items(2, all) == 1);
    CHECK(reminder_get_remind_item_by_type(&count, &list, REM_EXTRACT_ALL_BOOKINGS) == 1);
    CHECK(list_is(list, count, &blue, 1));
    CHECK(reminder_delete_all_remind_item() == 1);
    CHECK(reminder_get_remind_item_cnt() == 0);
    CHECK(reminder_delete_all_remind_item() == 0);
    reminder_info_del(out);
}

/* A recording from ready to under way, series and group lookups, and tuner conflicts: the
 * sample television records on one tuner. */
static void test_recording_and_conflicts(void) {
    remind_info_type_s* out = reminder_info_add();
    remind_info_type_s* probe;
    remind_info_type_s** list = NULL;
    int count = -1;
    unsigned long ready, plain;

    ready =
        book(recording(5, 27, 301, 901, 600, 1800, REMINDER_RESERVE_RECORDING_READY, "Nyheder"));
    /* Taking the ready item starts it; it counts as being recorded once the recorder says so. */
    CHECK(reminder_get_record_ready_remind_item(out) == 1);
    CHECK(reminder_info_uid(out) == ready);
    CHECK(reminder_info_reserve_type(out) == REMINDER_RESERVE_RECORDING_IN_PROGRESS);
    CHECK(reminder_get_record_ready_remind_item(out) == 0); /* none is waiting any more */
    CHECK(reminder_get_current_recording_items(&count, &list) == 0);
    CHECK(count == 0);
    CHECK(reminder_get_remind_item_by_uid(ready, out) == 1);
    reminder_info_set_currently_recording(out, 1);
    CHECK(reminder_update_remind_item_by_uid(ready, out, 0, 0, 0) == 1);
    CHECK(reminder_get_current_recording_items(&count, &list) == 1);
    CHECK(count == 1 &&
          reminder_info_reserve_type(list[0]) == REMINDER_RESERVE_RECORDING_IN_PROGRESS);
    CHECK(list_is(list, count, &ready, 1));

    /* A recording that meets a stored one needs the only recording tuner. */
    plain = book(recording(1, 21, 101, 950, 4000, 1800, REMINDER_RESERVE_RECORDING, "Krimi"));
    probe = recording(3, 24, 201, 951, 4200, 600, REMINDER_RESERVE_RECORDING, "Concurso");
    count = -1;
    CHECK(reminder_exist_conflicts(probe, &count) == 1);
    CHECK(count == 1);
    CHECK(reminder_exist_conflicts_with_exclusions(probe, NULL, 0, 0) == 1);
    CHECK(reminder_get_remind_item_by_uid(plain, out) == 1);
    CHECK(reminder_exist_conflicts_with_exclusions(probe, &out, 1, 0) == 0);
    reminder_info_del(probe);

    /* Series and group bookings are found by their CRIDs, ignoring case. */
    probe = viewing(1, 21, 101, 103, 3600, 3600, "Inspecteur Morel");
    reminder_info_set_reserve_type(probe, REMINDER_RESERVE_GROUP);
    reminder_info_set_group_crid(probe, "crid://broadcaster.example/Group/CRIME");
    book(probe);
    CHECK(reminder_find_group_booking("CRID://Broadcaster.Example/group/crime", out) == 1);
    CHECK(text_is(reminder_info_get_title(out), "Inspecteur Morel"));
    CHECK(reminder_find_group_booking("crid://broadcaster.example/Group/OTHER", out) == 0);
    CHECK(reminder_find_series_booking("crid://broadcaster.example/Series/DETECTIVE", out) == 0);
    /* A series booking brings the episodes of the guide and counts once; its CRID, in any case,
     * finds its base entry and deletes them all. */
    count = reminder_get_reminder_list_size();
    probe = viewing(1, 21, 101, 103, 3600, 3600, "Inspecteur Morel");
    reminder_info_set_reserve_type(probe, REMINDER_RESERVE_SERIES);
    reminder_info_set_series_crid(probe, "crid://broadcaster.example/Series/DETECTIVE");
    CHECK(reminder_add_remind_item(probe, 0, 0) == 1);
    reminder_info_del(probe);
    /* The base entry and the guide's three episodes; none of the items before is a series. */
    CHECK(reminder_get_reminder_list_size() == count + 4);
    CHECK(reminder_get_remind_item_cnt() == count + 1);
    CHECK(reminder_find_series_booking("CRID://broadcaster.example/series/detective", out) == 1);
    CHECK(reminder_info_reserve_type(out) == REMINDER_RESERVE_SERIES);
    CHECK(reminder_delete_matching_remind_items(REM_DELETE_BY_SERIES_CRID,
                                                "crid://Broadcaster.example/Series/Detective",
                                                REMINDER_CHANNEL_TYPE_ALL, 0) == 1);
    CHECK(reminder_get_reminder_list_size() == count);

    CHECK(reminder_delete_all_remind_item() == 1);
    CHECK(reminder_get_remind_item_cnt() == 0);
    reminder_info_del(out);
}

static void test_helpers(void) {
    const int kept[] = {
        reminder_add_record_list_booking(NULL),
        reminder_save_remind_list_to_file(),
        reminder_check_exist_remind_item_should_be_started_recording(),
        reminder_check_exist_remind_item_should_be_stopped_recording(),
        reminder_check_exist_remind_item_should_be_stopped_recording_with_window_id(3),
        reminder_init_record_item(),
        reminder_trans_recording_to_fail(1, 2),
        reminder_is_series_episode_recorded(NULL),
        reminder_is_group_program_recorded(NULL),
        reminder_series_event_added(NULL),
        reminder_series_event_deleted(NULL),
        reminder_get_next_booking_order_value(),
        reminder_get_eit_monitoring_status(),
        reminder_turn_on_eit_monitoring(),
        reminder_turn_off_eit_monitoring(),
        reminder_add_next_episode(NULL),
    };
    const int kept_true[] = {
        reminder_set_episode_as_recorded(NULL),     reminder_set_group_episode_as_recorded(NULL),
        reminder_set_eit_monitoring_status(1),      reminder_monitor_series_program(NULL),
        reminder_search_and_add_next_episode(NULL),
    };
    size_t i;
    int a = 5, b = 0;
    char* text = NULL;

    for (i = 0; i < sizeof kept / sizeof kept[0]; ++i) CHECK(kept[i] == 0);
    for (i = 0; i < sizeof kept_true / sizeof kept_true[0]; ++i) CHECK(kept_true[i] != 0);
    CHECK(reminder_check_time(0, &a, &b) == 0);
    CHECK(a == 1 && b == 0);
    CHECK(reminder_check_time(0, NULL, NULL) == 0);

    CHECK(reminder_get_country() == 37);
    CHECK(reminder_get_max_item_cnt() == 30);

    CHECK(text_is(reminder_lower_case("AbC \xC3\x9C"), "abc \xC3\x9C"));
    CHECK(reminder_lower_case(NULL) == NULL);
    CHECK(reminder_compare_str_ignoring_case("Abc", "aBC") == 0);
    CHECK(reminder_compare_str_ignoring_case("ab", "abc") < 0);
    CHECK(reminder_compare_str_ignoring_case(NULL, "") == 0);
    CHECK(reminder_program_to_string(NULL) == NULL);

    /* The error text comes back allocated, empty, when there is no message for the code. */
    CHECK(reminder_get_text_for_timer_recording_error_by_time_change(1000, &text) == 1);
    CHECK(text != NULL && strlen(text) > 0);
    free(text);
    text = NULL;
    CHECK(reminder_get_text_for_timer_recording_error_by_time_change(1, &text) == 0);
    CHECK(text_is(text, ""));
}

int main(void) {
    const char* db = getenv("REMINDER_DB_PATH");
    if (db == NULL || getenv("TVSIM_PROFILE") == NULL) {
        fprintf(stderr, "REMINDER_DB_PATH and TVSIM_PROFILE must be set\n");
        return 2;
    }
    remove(db); /* a fresh store on every run */

    test_null_handles();
    test_kinds();
    test_times_and_margins();
    test_fields();
    test_text();
    test_comparisons();
    test_uni2utf8();
    test_booking_life();
    test_empty_lists();
    test_filled_lists();
    test_recording_and_conflicts();
    test_helpers();
    remove(db);

    if (failures != 0) {
        fprintf(stderr, "%d check(s) failed\n", failures);
        return 1;
    }
    printf("C interfaces: all checks passed\n");
    return 0;
}
