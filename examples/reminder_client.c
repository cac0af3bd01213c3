/*
 * A C client of the booking scheduler: books a reminder for a programme of the sample guide,
 * lists the bookings, deletes the one it made and releases everything it received.
 *
 * Build against an installed copy:
 *   cc -std=c11 reminder_client.c $(pkg-config --cflags --libs reminder-api)
 * Run on the simulated television with a database file of its own:
 *   TVSIM_PROFILE=examples/tv-profile.json REMINDER_DB_PATH=/tmp/reminders.db ./a.out
 */
#include <stdio.h>
#include <stdlib.h>

#include "remind_info.h"
#include "reminder_api.h"

/* "Talkrunde" on Zürich Eins (channel 2, service 1002, event 102) in examples/tv-profile.json:
 * 10:30 to 11:30 UTC on the sample television's day, given here in its local time (UTC + 1 h). */
#define TALK_SHOW_LOCAL_START 1795462200UL
#define TALK_SHOW_DURATION 3600U

static void print_bookings(void) {
    remind_info_type_s** list = NULL;
    int count = 0;
    int i;
    if (!reminder_get_remind_item_by_type(&count, &list, REM_EXTRACT_ALL_BOOKINGS)) {
        fprintf(stderr, "Cannot read the bookings (store error %d).\n",
                reminder_last_store_error());
        return;
    }
    printf("%d booking(s):\n", count);
    for (i = 0; i < count; ++i) {
        char* title = reminder_info_get_title(list[i]);
        char* channel = reminder_info_get_channel_name(list[i]);
        printf("  UID %u  %-16s on %-16s starts in %u min\n", reminder_info_uid(list[i]),
               title ? title : "?", channel ? channel : "?",
               reminder_info_start_left_time(list[i]) / 60);
        free(title);
        free(channel);
    }
    reminder_info_list_free(list, count);
}

/* The UID of the stored booking of this service and start, or REMINDER_INVALID_UID. */
static unsigned long find_uid(const remind_info_type_s* booked) {
    remind_info_type_s** list = NULL;
    int count = 0;
    int i;
    unsigned long uid = REMINDER_INVALID_UID;
    reminder_get_remind_item_by_type(&count, &list, REM_EXTRACT_ALL_BOOKINGS);
    for (i = 0; i < count; ++i) {
        if (reminder_info_compare_service_and_time(list[i], booked))
            uid = reminder_info_uid(list[i]);
    }
    reminder_info_list_free(list, count);
    return uid;
}

int main(void) {
    remind_info_type_s* reminder;
    unsigned long uid;

    if (!reminder_init()) {
        fprintf(stderr, "No scheduler.\n");
        return 1;
    }

    /* A viewing reminder on the channel with these numbers (major, minor, PTC, type, number). */
    reminder = reminder_info_add();
    if (reminder == NULL) return 1;
    reminder_info_set(reminder, 2, 0, 21, REMINDER_CHANNEL_TYPE_DTV, 102);
    reminder_info_set_reserve_type(reminder, REMINDER_RESERVE_VIEWING);
    reminder_info_set_event_id(reminder, 102);
    reminder_info_set_start_time(reminder, TALK_SHOW_LOCAL_START);
    reminder_info_set_duration(reminder, TALK_SHOW_DURATION);
    reminder_info_set_title(reminder, "Talkrunde");

    if (!reminder_add_remind_item(reminder, 0, 1)) {
        fprintf(stderr, "Booking refused (store error %d).\n", reminder_last_store_error());
        reminder_info_del(reminder);
        return 1;
    }
    printf("Booked.\n");
    print_bookings();

    uid = find_uid(reminder);
    reminder_info_del(reminder);
    if (uid == REMINDER_INVALID_UID || !reminder_delete_remind_item_by_uid(uid, 1)) {
        fprintf(stderr, "Cannot delete the booking.\n");
        return 1;
    }
    printf("Deleted UID %lu.\n", uid);
    print_bookings();
    return 0;
}
