// `reminderctl overlaps` and `reminderctl find`: the questions an application asks the list
// before it books or marks a programme.
#include <cstdio>
#include <string>
#include <vector>

#include "Commands.h"
#include "RemindInfo.h"
#include "ReminderAPI.h"

namespace {

void RunOverlaps(const SBookingArgs& args, bool json) {
    const CRemindInfo item = BookingFromArgs(args);
    std::vector<CRemindInfo> overlapping;
    // Asked as is: the stored neighbours' margins are left as they are.
    CReminderAPI::GetInstance()->GetOverlappingRemindItems(item, overlapping, false);
    if (json) {
        PrintBookings(overlapping, true);
        return;
    }
    if (overlapping.empty()) {
        std::printf("No booking overlaps it.\n");
        return;
    }
    std::printf("%zu booking(s) overlap it:\n", overlapping.size());
    PrintBookings(overlapping, false);
}

void RunFind(const std::string& crid) {
    CReminderAPI* api = CReminderAPI::GetInstance();
    CRemindInfo programme;
    if (api->IsProgramScheduled(crid, &programme)) {
        std::printf("Programme booked: yes, UID %u \"%s\"\n", programme.m_nUid,
                    programme.m_sTitle.c_str());
    } else {
        std::printf("Programme booked: no\n");
    }
    std::vector<CRemindInfo> bookings;
    if (!api->GetRemindItemsForCrid(crid, bookings)) {
        std::printf("No booking carries this CRID as its programme or series CRID.\n");
        return;
    }
    std::printf("%zu booking(s) carry this CRID:\n", bookings.size());
    PrintBookings(bookings, false);
}

}  // namespace

void AddQueryCommands(CLI::App& app) {
    // Owned by the app, which outlives every callback.
    static SBookingArgs booking;
    static bool json = false;
    CLI::App* overlaps = app.add_subcommand(
        "overlaps", "The bookings that overlap a booking, given as to add, before making it");
    AddBookingOptions(overlaps, booking);
    overlaps->add_flag("--json", json, "As a JSON array of records");
    overlaps->callback([] { RunOverlaps(booking, json); });

    static std::string crid;
    CLI::App* find = app.add_subcommand(
        "find", "Whether the programme of a CRID is booked, and the bookings of the CRID");
    find->add_option("--crid", crid, "Programme or series CRID; letter case does not matter")
        ->required();
    find->callback([] { RunFind(crid); });
}
