/* The C interfaces as a C program sees them: the record's derived answers at their edges, text
 * ownership, a booking from creation to deletion, lists and their release, and the helpers. Runs
 * on the sample television (TVSIM_PROFILE) with its own database file (REMINDER_DB_PATH). */
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ReminderTypes.h"
#include "remind_info.h"
#include "reminder_api.h"

/* The sample television's clock in its local time (UTC + 1 h); whole minutes. */
#define LOCAL_NOW 1795460400u
#define COUNT(array) (sizeof(array) / sizeof((array)[0]))

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

/* A booking of a programme of the sample guide, on the channel of these numbers. */
static remind_info_type_s* booking(EReserveType type, unsigned short major, unsigned short ptc,
                                   unsigned short program_number, unsigned short event_id,
                                   unsigned int start_offset, unsigned int duration,
                                   const char* title) {
    remind_info_type_s* h = reminder_info_add();
    reminder_info_set(h, major, 0, ptc, REMINDER_CHANNEL_TYPE_DTV, program_number);
    reminder_info_set_reserve_type(h, type);
    reminder_info_set_event_id(h, event_id);
    reminder_info_set_start_time(h, LOCAL_NOW + start_offset);
    reminder_info_set_duration(h, duration);
    reminder_info_set_title(h, title);
    return h;
}

#define VIEWING REMINDER_RESERVE_VIEWING
#define RECORDING REMINDER_RESERVE_RECORDING

static void test_null_handles(void) {
    reminder_info_del(NULL);
    reminder_info_list_free(NULL, 3);
    reminder_info_set_title(NULL, "x");
    reminder_info_set_start_margin_time(NULL, 5);
    CHECK(reminder_info_uid(NULL) == 0 && reminder_info_get_title(NULL) == NULL);
    CHECK(reminder_info_to_string(NULL) == NULL && reminder_info_is_a_timer_viewing(NULL) == 0);
    CHECK(reminder_info_is_fully_equal(NULL, NULL) == 0);
}

static void test_kinds(void) {
    /* Reserve type, record-list booking, then the answers of viewing, event recording, failed,
     * invalid, series, record-list group, recording and DSM metadata, and the overrun. */
    static const struct {
        int type, list;
        const char* answers;
    } rows[] = {
        {0, 0, "10000000 0"},    {1, 0, "00000010 0"},  {2, 0, "01000010 7200"},
        {2, 1, "01000000 7200"}, {3, 0, "00000000 0"},  {4, 0, "00110000 0"},
        {7, 0, "00000010 0"},    {7, 1, "00000001 0"},  {9, 0, "00011000 0"},
        {12, 0, "00000100 0"},   {12, 1, "00000101 0"},
    };
    remind_info_type_s* h = reminder_info_add();
    size_t i;
    for (i = 0; i < COUNT(rows); ++i) {
        char got[96];
        reminder_info_set_reserve_type(h, (EReserveType)rows[i].type);
        reminder_info_set_record_list_booking(h, rows[i].list);
        snprintf(got, sizeof got, "%d%d%d%d%d%d%d%d %u", reminder_info_is_a_timer_viewing(h),
                 reminder_info_is_event_recording(h), reminder_info_failed(h),
                 reminder_info_is_an_invalid(h), reminder_info_is_series_booking(h),
                 reminder_info_is_a_record_list_group_subscription(h),
                 reminder_info_is_a_recording(h), reminder_info_is_metadata_from_dsm(h),
                 reminder_info_max_over_run_allowed(h));
        CHECK(strcmp(got, rows[i].answers) == 0);
        if (strcmp(got, rows[i].answers) != 0) fprintf(stderr, "  row %u: %s\n", (unsigned)i, got);
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
    CHECK(reminder_info_get_start_margin_time(h) == 300 &&
          reminder_info_get_end_margin_time(h) == 120);
    CHECK(reminder_info_start_time(h) == LOCAL_NOW + 3300 &&
          reminder_info_expiry_time(h) == LOCAL_NOW + 3300);
    CHECK(reminder_info_duration(h) == 300 + 1800 + 120 &&
          reminder_info_start_left_time(h) == 3300);

    /* A padded start that has passed wraps around instead of going negative. */
    reminder_info_set_expiryt_time(h, LOCAL_NOW - 120);
    CHECK(reminder_info_original_start_time(h) == LOCAL_NOW - 120);
    CHECK(reminder_info_start_left_time(h) == (unsigned)(0u - 420u));
    reminder_info_set_start_time(h, 60);
    reminder_info_set_record_list_expiry_time(h, 12345);
    CHECK(reminder_info_start_time(h) == (unsigned)(60u - 300u));
    CHECK(reminder_info_expiry_time(h) == reminder_info_start_time(h));

    /* The time margin widens the duration by twice itself, every time it is set. */
    reminder_info_set_time_margin(h, 10);
    reminder_info_set_time_margin(h, 10);
    CHECK(reminder_info_time_margin(h) == 10 && reminder_info_original_duration(h) == 1800 + 40);
    reminder_info_del(h);
}

static void test_fields_and_text(void) {
    remind_info_type_s* h = reminder_info_add();
    char* copy;

    /* Values of each width come back whole; a flag given a pointer-sized value whose low byte is
     * zero is still true. */
    reminder_info_set_event_id(h, 65535);
    reminder_info_set_activation_time(h, 0xFFFFFFFFu);
    CHECK(reminder_info_event_id(h) == 65535 && reminder_info_activation_time(h) == 0xFFFFFFFFu);
    reminder_info_set_alarmed(h, 256);
    reminder_info_set_currently_recording(h, 1);
    CHECK(reminder_info_alarmed(h) == 1 && reminder_info_currently_recording(h) == 1);
    reminder_info_set_alarmed(h, 0);
    CHECK(reminder_info_alarmed(h) == 0 && reminder_info_currently_recording(h) == 1);
    reminder_info_set_repeat(h, REMINDER_REPEAT_MANUAL, 0x41);
    CHECK(reminder_info_repeat_type(h) == REMINDER_REPEAT_MANUAL &&
          reminder_info_manual_repeat(h) == 0x41);
    reminder_info_seriel_set(h, 7, 8, 'R', -3, 12);
    CHECK(reminder_info_series_id(h) == 7 && reminder_info_expired_date(h) == 8 &&
          reminder_info_repeat_label(h) == 'R');
    CHECK(reminder_info_episode_number(h) == -3 && reminder_info_last_episode_number(h) == 12);
    reminder_info_initialise(h);
    CHECK(reminder_info_uid(h) == REMINDER_INVALID_UID &&
          reminder_info_reserve_type(h) == REMINDER_RESERVE_NONE);

    reminder_info_set_title(h, "Talkrunde");
    reminder_info_set_title(h, NULL); /* ignored */
    /* A getter hands out a copy: changing it leaves the record alone. */
    copy = reminder_info_get_title(h);
    if (copy != NULL) copy[0] = 'X';
    free(copy);
    CHECK(text_is(reminder_info_get_title(h), "Talkrunde"));
    reminder_info_set_title(h, "");
    CHECK(text_is(reminder_info_get_title(h), ""));

    CHECK(reminder_info_has_guidance(h) == 0);
    reminder_info_set_guidance(h, "Ab 16");
    CHECK(reminder_info_has_guidance(h) == 1 && text_is(reminder_info_guidance(h), "Ab 16"));

    reminder_info_set_program_crid(h, "crid://Broadcaster.example/Nature/BLUE");
    CHECK(text_is(reminder_info_program_crid(h), "crid://broadcaster.example/nature/blue"));
    CHECK(text_is(reminder_info_program_crid_preserved_case(h),
                  "crid://Broadcaster.example/Nature/BLUE"));

    /* The channel's name is asked of the television: the service of these numbers. */
    reminder_info_set(h, 6, 1, 27, REMINDER_CHANNEL_TYPE_DTV, 302);
    CHECK(reminder_info_service_id(h) == 1006);
    CHECK(text_is(reminder_info_get_channel_name(h), "Radio \xC5\x81\xC3\xB3\x64\xC5\xBA"));

    copy = reminder_info_to_string(h);
    CHECK(copy != NULL && strlen(copy) > 0);
    free(copy);
    reminder_info_print(h, NULL);
    reminder_info_del(h);
}

/* The comparisons answer through the record's own: the same broadcast, then a later one. */
static void test_comparisons(void) {
    remind_info_type_s* a = booking(RECORDING, 2, 21, 102, 102, 1800, 3600, "Talkrunde");
    remind_info_type_s* b = booking(RECORDING, 2, 21, 102, 102, 1800, 3600, "Talkrunde");
    reminder_info_set_program_crid(a, "crid://A/b");
    reminder_info_set_program_crid(b, "CRID://a/B");
    CHECK(reminder_info_is_fully_equal(a, b) == 1 && reminder_info_compare_crid(a, b) == 1);
    CHECK(reminder_info_is_less(a, b) == 0 && reminder_info_is_conflict(a, b) == 0);
    reminder_info_set_event_id(b, 103); /* another broadcast within a's time */
    reminder_info_set_start_time(b, LOCAL_NOW + 3600);
    CHECK(reminder_info_is_conflict(a, b) == 1 && reminder_info_is_fully_equal(a, b) == 0);
    CHECK(reminder_info_is_less(a, b) == 1 && reminder_info_is_less(b, a) == 0);
    CHECK(reminder_info_compare_service(a, b) == 1 && reminder_info_compare_service(a, NULL) == 0);
    reminder_info_del(a);
    reminder_info_del(b);
}

static void test_uni2utf8(void) {
    static const char text[] = {0x00, 0x41, 0x00, (char)0xE9}; /* "Aé", high byte first */
    static const char broken[] = {0x00, 'o', 0x00, 'k', (char)0xDC, 0x00, 0x00, 'x'};
    char out[16] = {0}, stopped[16] = {0}, short_of_room[16] = {0};

    CHECK(reminder_uni2utf8(out, sizeof out, text, sizeof text) == 0);
    CHECK(strcmp(out, "A\xC3\xA9") == 0);
    /* A lone surrogate stops the conversion; what came before stays. */
    reminder_uni2utf8(stopped, sizeof stopped, broken, sizeof broken);
    CHECK(strcmp(stopped, "ok") == 0);
    /* No room for the second character: the first stays, nothing is written past the end. */
    reminder_uni2utf8(short_of_room, 2, text, sizeof text);
    CHECK(strcmp(short_of_room, "A") == 0);
    CHECK(reminder_uni2utf8(NULL, sizeof out, text, sizeof text) == -1);
    CHECK(reminder_uni2utf8(out, sizeof out, NULL, 2) == -1);
}

/* --- The scheduler --- */

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

/* Whether the list holds exactly the `n` items of the UIDs that follow (unsigned long), in this
 * order; releases it. */
static int list_is(remind_info_type_s** list, int count, int n, ...) {
    va_list uids;
    int same = count == n, i;
    va_start(uids, n);
    for (i = 0; i < n; ++i) {
        const unsigned long uid = va_arg(uids, unsigned long);
        same = same && reminder_info_uid(list[i]) == uid;
    }
    va_end(uids);
    if (!same) fprintf(stderr, "  got %d item(s)\n", count);
    reminder_info_list_free(list, count);
    return same;
}

static void test_booking_life(void) {
    remind_info_type_s* talk = booking(VIEWING, 2, 21, 102, 102, 1800, 3600, "Talkrunde");
    remind_info_type_s* quiz = booking(VIEWING, 3, 24, 201, 103, 2700, 5400, "Concurso");
    remind_info_type_s* found = reminder_info_add();
    remind_info_type_s** list = NULL;
    int count = -1;
    unsigned long talk_uid = 0, quiz_uid = 0;
    char* reason;

    CHECK(reminder_init() == 1 && reminder_get_remind_item_cnt() == 0);
    /* Booked out of time order: the list comes back by start time. */
    CHECK(reminder_add_remind_item(quiz, 0, 0) == 1);
    CHECK(reminder_add_remind_item(talk, 0, 0) == 1 && reminder_last_store_error() == 0);
    /* A call that succeeded leaves no refusal text. */
    reason = reminder_last_refusal();
    CHECK(reason != NULL && reason[0] == '\0');
    free(reason);
    CHECK(reminder_get_remind_item_by_type(&count, &list, REM_EXTRACT_ALL_BOOKINGS) == 1 &&
          count == 2 && list != NULL);
    if (count == 2 && list != NULL) {
        CHECK(text_is(reminder_info_get_title(list[0]), "Talkrunde"));
        CHECK(text_is(reminder_info_get_title(list[1]), "Concurso"));
        talk_uid = reminder_info_uid(list[0]);
        quiz_uid = reminder_info_uid(list[1]);
        CHECK(talk_uid != REMINDER_INVALID_UID && talk_uid != quiz_uid);
        /* The handles of a list are copies: changing one changes nothing stored until updated. */
        reminder_info_set_title(list[0], "Talkrunde spezial");
        CHECK(reminder_get_remind_item_by_uid(talk_uid, found) == 1);
        CHECK(text_is(reminder_info_get_title(found), "Talkrunde"));
        CHECK(reminder_update_remind_item_by_uid(talk_uid, list[0], 1, 0, 0) == 1);
        CHECK(reminder_get_remind_item_by_uid(talk_uid, found) == 1);
        CHECK(text_is(reminder_info_get_title(found), "Talkrunde spezial"));
    }
    reminder_info_list_free(list, count);

    /* A record of the same service and time finds the stored booking. */
    CHECK(reminder_find_remind_item(quiz, found) == 1 && reminder_info_uid(found) == quiz_uid);
    CHECK(reminder_flag_reminder_list_is_full() == 0);
    CHECK(reminder_delete_remind_item_by_uid(quiz_uid, 0) == 1);
    CHECK(reminder_get_remind_item_by_uid(quiz_uid, found) == 0);
    CHECK(reminder_user_delete_remind_item_by_uid(quiz_uid) == 0);
    CHECK(reminder_delete_remind_item_alone_by_uid(talk_uid) == 1);
    CHECK(reminder_get_remind_item_cnt() == 0 && reminder_last_store_error() == 0);
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
    remind_info_type_s* item = booking(VIEWING, 2, 21, 102, 102, 1800, 3600, "Talkrunde");
    remind_info_type_s* same = NULL;
    remind_info_type_s** untouched = (remind_info_type_s**)&untouched;
    remind_info_type_s** lists[REMINDER_ALTERNATIVE_KINDS] = {untouched, untouched};
    int counts[REMINDER_ALTERNATIVE_KINDS] = {-1, -1};
    remind_info_type_s** list;
    int count, kind;

    list = untouched, count = -1; /* nothing of the kind is still an answer of 1 */
    CHECK(reminder_get_remind_item_by_type(&count, &list, REM_EXTRACT_FAILED) == 1);
    CHECK(count == 0 && list == untouched);
#define CHECK_EMPTY(call)                           \
    do {                                            \
        list = untouched, count = -1, (void)(call); \
        CHECK(count == 0 && list == untouched);     \
    } while (0)
    CHECK_EMPTY(reminder_get_remind_item_for_mheg(&count, &list));
    CHECK_EMPTY(reminder_get_remind_items_for_crid("crid://nobody/none", &count, &list));
    CHECK_EMPTY(reminder_get_overlapping_remind_items(item, &count, &list));
    CHECK_EMPTY(reminder_get_current_recording_items(&count, &list));
    CHECK_EMPTY(reminder_get_start_time_is_same_items(item, &count, &list));
    CHECK_EMPTY(reminder_get_start_time_is_same_viewing_items(item, &count, &list));
#undef CHECK_EMPTY
    count = -1;
    CHECK(reminder_exist_conflicts(item, &count) == 0 && count == 0);
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

/* The list and CRID queries over a store holding items, then the deletions. */
static void test_filled_lists(void) {
    remind_info_type_s* h;
    remind_info_type_s* out = reminder_info_add();
    remind_info_type_s** list = NULL;
    int count = 0;
    unsigned long film, blue, morel, news, pair[2];

    /* Three items start together (listed in UID order among themselves), a fourth later. */
    film = book(booking(RECORDING, 2, 21, 102, 900, 7200, 3600, "Film"));
    h = booking(VIEWING, 3, 24, 201, 105, 7200, 1200, "Planeta Azul");
    reminder_info_set_program_crid(h, "crid://Broadcaster.example/Nature/BLUE");
    blue = book(h);
    h = booking(VIEWING, 1, 21, 101, 103, 7200, 3600, "Inspecteur Morel");
    reminder_info_set_program_crid(h, "crid://broadcaster.example/Detective/S01E01");
    reminder_info_set_series_crid(h, "crid://broadcaster.example/Series/DETECTIVE");
    morel = book(h);
    news = book(booking(RECORDING, 5, 27, 301, 901, 9000, 1800, "Nyheder"));
    /* The list holds four; the episode of a series counts through its series. */
    CHECK(reminder_get_reminder_list_size() == 4 && reminder_get_remind_item_cnt() == 3);

    /* CRIDs given as C strings, in another case; an instance suffix names the same programme. */
    CHECK(reminder_get_remind_items_for_crid("CRID://BROADCASTER.EXAMPLE/detective/s01e01", &count,
                                             &list) == 1 &&
          list_is(list, count, 1, morel));
    CHECK(reminder_is_program_scheduled("crid://BROADCASTER.example/Detective/S01E01#2", out) == 1);
    CHECK(reminder_info_uid(out) == morel);
    CHECK(reminder_is_program_scheduled("crid://broadcaster.example/nature/blue", NULL) == 1);

    /* Same start: every kind, or only the viewings; the stored record leaves itself out. */
    CHECK(reminder_get_remind_item_by_uid(morel, out) == 1);
    CHECK(reminder_get_start_time_is_same_items(out, &count, &list) == 1 &&
          list_is(list, count, 2, film, blue));
    CHECK(reminder_get_start_time_is_same_viewing_items(out, &count, &list) == 1 &&
          list_is(list, count, 1, blue));
    /* A recording overlaps the recordings it meets, by start order. */
    h = booking(RECORDING, 6, 27, 302, 902, 9600, 600, "Radio");
    CHECK(reminder_get_overlapping_remind_items(h, &count, &list) == 1 &&
          list_is(list, count, 2, film, news));
    reminder_info_del(h);

    CHECK(reminder_delete_matching_remind_items(REM_DELETE_BY_PROGRAM_CRID,
                                                "CRID://broadcaster.example/DETECTIVE/S01E01",
                                                REMINDER_CHANNEL_TYPE_ALL, 0) == 1);
    CHECK(reminder_get_remind_item_by_uid(morel, out) == 0);
    pair[0] = news;
    pair[1] = film;
    CHECK(reminder_delete_remind_items(2, pair) == 1);
    CHECK(reminder_get_remind_item_by_type(&count, &list, REM_EXTRACT_ALL_BOOKINGS) == 1 &&
          list_is(list, count, 1, blue));
    CHECK(reminder_delete_all_remind_item() == 1 && reminder_get_remind_item_cnt() == 0);
    CHECK(reminder_delete_all_remind_item() == 0);
    reminder_info_del(out);
}

/* A recording from ready to under way, tuner conflicts (the sample television records on one
 * tuner) and a group lookup. */
static void test_recording_and_conflicts(void) {
    remind_info_type_s* out = reminder_info_add();
    remind_info_type_s* probe;
    remind_info_type_s** list = NULL;
    int count = -1;
    unsigned long ready, plain;

    ready = book(booking(REMINDER_RESERVE_RECORDING_READY, 5, 27, 301, 901, 600, 1800, "Nyheder"));
    /* Taking the ready item starts it; it counts as being recorded once the recorder says so. */
    CHECK(reminder_get_record_ready_remind_item(out) == 1 && reminder_info_uid(out) == ready);
    CHECK(reminder_info_reserve_type(out) == REMINDER_RESERVE_RECORDING_IN_PROGRESS);
    CHECK(reminder_get_current_recording_items(&count, &list) == 0 && count == 0);
    CHECK(reminder_get_remind_item_by_uid(ready, out) == 1);
    reminder_info_set_currently_recording(out, 1);
    CHECK(reminder_update_remind_item_by_uid(ready, out, 0, 0, 0) == 1);
    CHECK(reminder_get_current_recording_items(&count, &list) == 1 &&
          list_is(list, count, 1, ready));

    /* A recording that meets a stored one needs the only recording tuner, unless that one is
     * excluded. */
    plain = book(booking(RECORDING, 1, 21, 101, 950, 4000, 1800, "Krimi"));
    probe = booking(RECORDING, 3, 24, 201, 951, 4200, 600, "Concurso");
    CHECK(reminder_exist_conflicts(probe, &count) == 1 && count == 1);
    CHECK(reminder_exist_conflicts_with_exclusions(probe, NULL, 0, 0) == 1);
    CHECK(reminder_get_remind_item_by_uid(plain, out) == 1);
    CHECK(reminder_exist_conflicts_with_exclusions(probe, &out, 1, 0) == 0);
    reminder_info_del(probe);

    /* A group booking is found by its CRID. */
    probe = booking(REMINDER_RESERVE_GROUP, 1, 21, 101, 103, 3600, 3600, "Inspecteur Morel");
    reminder_info_set_group_crid(probe, "crid://broadcaster.example/Group/CRIME");
    book(probe);
    CHECK(reminder_find_group_booking("CRID://Broadcaster.Example/group/crime", out) == 1 &&
          reminder_info_reserve_type(out) == REMINDER_RESERVE_GROUP);
    CHECK(reminder_delete_all_remind_item() == 1 && reminder_get_remind_item_cnt() == 0);
    reminder_info_del(out);
}

static void test_helpers(void) {
    int a = 5, b = 0;
    char* text = NULL;
    /* The compatibility functions and their fixed answers. */
    CHECK(!reminder_add_record_list_booking(NULL) && !reminder_save_remind_list_to_file() &&
          !reminder_check_exist_remind_item_should_be_started_recording() &&
          !reminder_check_exist_remind_item_should_be_stopped_recording() &&
          !reminder_check_exist_remind_item_should_be_stopped_recording_with_window_id(3) &&
          !reminder_init_record_item() && !reminder_trans_recording_to_fail(1, 2) &&
          !reminder_is_series_episode_recorded(NULL) && !reminder_is_group_program_recorded(NULL) &&
          !reminder_series_event_added(NULL) && !reminder_series_event_deleted(NULL) &&
          !reminder_get_next_booking_order_value() && !reminder_get_eit_monitoring_status() &&
          !reminder_turn_on_eit_monitoring() && !reminder_turn_off_eit_monitoring() &&
          !reminder_add_next_episode(NULL) && !reminder_check_time(0, NULL, NULL) &&
          !reminder_compare_str_ignoring_case(NULL, ""));
    CHECK(reminder_set_episode_as_recorded(NULL) && reminder_set_group_episode_as_recorded(NULL) &&
          reminder_set_eit_monitoring_status(1) && reminder_monitor_series_program(NULL) &&
          reminder_search_and_add_next_episode(NULL));

    CHECK(reminder_check_time(0, &a, &b) == 0 && a == 1 && b == 0);
    CHECK(reminder_get_country() == 37 && reminder_get_max_item_cnt() == 30);

    CHECK(text_is(reminder_lower_case("AbC \xC3\x9C"), "abc \xC3\x9C"));
    CHECK(reminder_lower_case(NULL) == NULL && reminder_program_to_string(NULL) == NULL);
    CHECK(reminder_compare_str_ignoring_case("Abc", "aBC") == 0);
    CHECK(reminder_compare_str_ignoring_case("ab", "abc") < 0);

    /* The error text comes back allocated, empty, when there is no message for the code. */
    CHECK(reminder_get_text_for_timer_recording_error_by_time_change(1000, &text) == 1 &&
          text != NULL && strlen(text) > 0);
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

    test_null_handles(), test_kinds(), test_times_and_margins(), test_fields_and_text();
    test_comparisons(), test_uni2utf8(), test_booking_life(), test_empty_lists();
    test_filled_lists(), test_recording_and_conflicts(), test_helpers();
    remove(db);

    if (failures != 0) {
        fprintf(stderr, "%d check(s) failed\n", failures);
        return 1;
    }
    printf("C interfaces: all checks passed\n");
    return 0;
}
