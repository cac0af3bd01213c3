// Helpers shared by the commands of reminderctl: failing with a message, times on the
// television's clock, channels, the store's status and tables sized to their content.
#ifndef REMINDERCTL_COMMON_H
#define REMINDERCTL_COMMON_H

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "RemindInfo.h"
#include "TCServiceData.h"
#include "TVServiceAPI.h"

namespace reminderctl {

// Exit codes: 0 done, 1 refused or failed (with a message on standard error), 2 bad command line
// (CLI11's own code for it).
constexpr int kExitFailed = 1;

// A failure already explained to the user; main turns it into the exit code.
[[noreturn]] void Fail(const std::string& message);

// --- Times ---
// Local times are seconds of the television's clock, read with UTC rules so that no time zone
// of this machine leaks in.

// "YYYY-MM-DD HH:MM" of a local time.
std::string FormatLocal(unsigned long local);
// "+01:00" of an offset in seconds.
std::string FormatOffset(long seconds);
// The television's offset from UTC at a local time, in seconds.
long OffsetAtLocal(unsigned long local);
// "YYYY-MM-DD HH:MM +01:00": a local time with the offset that makes it unambiguous.
std::string FormatLocalWithOffset(unsigned long local);

struct SParsedTime {
    unsigned long seconds;
    bool isUtc;  // false: a wall-clock time of the television without offset
};

// The forms ParseTime accepts, for error messages.
extern const char* const kTimeForms;
// UTC seconds, or ISO 8601 "YYYY-MM-DD[T ]HH:MM[:SS]" followed by "Z", "+HH:MM", "+HHMM" or
// nothing (then the television's local clock is meant).
std::optional<SParsedTime> ParseTime(const std::string& text);
// The same, failing with the accepted forms; `what` names the value ("--now", "start time").
SParsedTime ParseTimeOrFail(const std::string& text, const std::string& what);
unsigned long ToLocal(const SParsedTime& time);
unsigned long ToUtc(const SParsedTime& time);

// --- The television ---

std::vector<TCServiceData> Channels();
long long Attribute(const TCServiceData& channel, int key, long long fallback = -1);
std::string ChannelName(unsigned long long serviceId);
// "6.1" of a channel of the list.
std::string ChannelNumber(const TCServiceData& channel);
IServiceGuide* Guide();

// A channel as people write it: MAJOR or MAJOR.MINOR, as the guide prints them.
struct SChannelRef {
    unsigned int major = 0;
    std::optional<unsigned int> minor;
    std::string text;
};
SChannelRef ParseChannelOrFail(const std::string& text);
bool Matches(const SChannelRef& ref, const TCServiceData& channel);
// The one channel meant; fails when there is none or a bare MAJOR is ambiguous.
TCServiceData FindChannelOrFail(const SChannelRef& ref);

// --- Bookings ---

const char* KindName(const CRemindInfo& item);
std::string RepeatName(const CRemindInfo& item);
std::string ChannelText(const CRemindInfo& item);
std::string TitleText(const CRemindInfo& item);

// --- The store ---

// The database file the library uses in this run.
const std::string& DatabasePath();
void SetDatabasePath(const std::string& path);
// Fails with what to do when the calling thread's last store operation did not succeed: a
// busy or unreadable database is an error, never an empty answer.
void CheckStore();

// --- Output ---

// Rows of text printed with each column as wide as its widest cell (the last one unpadded).
class CTable {
public:
    explicit CTable(std::vector<std::string> header);
    void Add(std::vector<std::string> row);
    bool Empty() const { return m_rows.size() <= 1; }
    void Print() const;

private:
    std::vector<std::vector<std::string>> m_rows;
};

// Number of characters as a terminal shows them (UTF-8 sequences count once).
size_t DisplayWidth(const std::string& text);

}  // namespace reminderctl

#endif
