// Sub-commands of reminderctl that live in their own sources, and what reminderctl.cpp shares
// with them.
#ifndef REMINDERCTL_COMMANDS_H
#define REMINDERCTL_COMMANDS_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "RemindInfo.h"

#include "TVServiceAPI.h"

// `watch [--count N] [--timeout S]`: prints each change event as it arrives.
void AddWatchCommand(CLI::App& app);
// `expire`: the two housekeeping passes at --now, printing what moved, failed or went.
void AddExpireCommand(CLI::App& app);
// `recorder ready|next|fail|delay|done|current`: a recording's life as the recorder drives it.
void AddRecorderCommand(CLI::App& app);
// "error N", followed by the user text of the failure where the library has one.
std::string FailureReason(const CRemindInfo& item);

// `overlaps BOOKING [--json]`: the stored bookings that overlap a booking not yet made.
// `find --crid CRID`: whether the programme of a CRID is booked, and the bookings of the CRID.
void AddQueryCommands(CLI::App& app);

// --- Shared by the commands that describe a booking (defined in reminderctl.cpp) ---

struct SManualOptions {
    std::string channel;
    std::string start;
    unsigned int duration = 0;
    std::string repeat = "once";
    std::string as = "recording";
};

// The booking arguments of `add`: a guide programme (--service, --event, --as) or a manual time
// (--manual, --channel, --start, --duration, --repeat, --as).
struct SBookingArgs {
    std::string command;
    unsigned long long serviceId = 0;
    unsigned int eventId = 0;
    std::string as;
    bool manual = false;
    SManualOptions manualOptions;
    CLI::Option* serviceOpt = nullptr;
    CLI::Option* eventOpt = nullptr;
    CLI::Option* manualOpt = nullptr;
    CLI::Option* channelOpt = nullptr;
    CLI::Option* startOpt = nullptr;
    CLI::Option* durationOpt = nullptr;
};

void AddBookingOptions(CLI::App* command, SBookingArgs& args);
// The record the arguments describe, as `add` would book it; exits with a message when they do
// not describe one.
CRemindInfo BookingFromArgs(const SBookingArgs& args);
// A table of bookings, or a JSON array of their records.
void PrintBookings(const std::vector<CRemindInfo>& items, bool json);

// `tune UID [state options]`: accepts a reminder and prints what was launched.
// `monitor [--count N] [--timeout S]`: prints each change of a followed programme.
void AddTuneCommands(CLI::App& app);
// The programme subscriber's callback of every reminderctl process; `monitor` prints what it
// forwards, other commands ignore it.
void ForwardProgramChange(EProgramChangeType type, TCProgramData* program, void* data);
// `conflicts [--json]`: every scheduled booking that has a tuner conflict, with what.
void AddConflictsCommand(CLI::App& app);
// `timeline [--from TIME] [--hours N] [--svg FILE]`: the schedule drawn on a time axis.
void AddTimelineCommand(CLI::App& app);

// `rescan --tv PROFILE [--channel-type N]`: the television rescanned, its bookings following
// their channels. `refresh [--tv PROFILE]`: the bookings following an updated guide. Both
// print what changed booking by booking.
void AddRefreshCommands(CLI::App& app);

// `add --check [--json]`: the conflicts a booking would have and the other showings that would
// have none; it is not stored.
void CheckBooking(const CRemindInfo& item, bool json);

// A time given on the command line (ISO 8601 or UTC seconds), on the television's local clock;
// exits with a message when it cannot be read.
unsigned long ParseTelevisionTime(const std::string& text, const char* what);

// A scheduled booking and the stored bookings it conflicts with (empty: none).
struct SBookingConflicts {
    CRemindInfo booking;
    std::vector<CRemindInfo> conflicts;
};
// Every scheduled booking in start order, each asked for its conflicts.
std::vector<SBookingConflicts> ScheduleWithConflicts();

std::string BookingTitle(const CRemindInfo& item);
const char* BookingKind(const CRemindInfo& item);
// A recording that takes a recordable tuner (record-list bookings do not).
bool IsRecordingBooking(const CRemindInfo& item);

#endif
