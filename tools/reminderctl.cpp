// reminderctl: books, lists and removes bookings on the simulated television through the
// library's facade, the way a guide application would.
#include <json/json.h>
#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "Commands.h"
#include "RemindInfo.h"
#include "ReminderAPI.h"
#include "ReminderAPIUtil.h"
#include "TCServiceData.h"
#include "TVServiceAPI.h"
#include "tvsim/tvsim.h"

namespace {

constexpr int kExitRefused = 1;

// A failure already explained to the user; main turns it into the exit code.
[[noreturn]] void Fail(const std::string& message) {
    std::cerr << message << "\n";
    throw CLI::RuntimeError(kExitRefused);
}

// --- Times ---

// "YYYY-MM-DD HH:MM" of a time in the television's local clock (kept as seconds, read with UTC
// rules so no time zone of this machine leaks in).
std::string FormatLocal(unsigned long local) {
    const time_t t = static_cast<time_t>(local);
    struct tm tm {};
    gmtime_r(&t, &tm);
    char buffer[32];
    std::strftime(buffer, sizeof(buffer), "%Y-%m-%d %H:%M", &tm);
    return buffer;
}

struct SParsedTime {
    unsigned long seconds;
    bool isUtc;  // false: a wall-clock time of the television without offset
};

bool IsDigit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

// UTC seconds, or ISO 8601 "YYYY-MM-DD[T ]HH:MM[:SS]" followed by "Z", "+HH:MM", "+HHMM" or
// nothing (then the television's local clock is meant).
std::optional<SParsedTime> ParseTime(const std::string& text) {
    if (!text.empty() && std::all_of(text.begin(), text.end(), IsDigit)) {
        // Times are 32-bit seconds; strtoull saturates a longer number, which is refused too.
        const unsigned long long seconds = std::strtoull(text.c_str(), nullptr, 10);
        if (seconds > UINT32_MAX) return std::nullopt;
        return SParsedTime{static_cast<unsigned long>(seconds), true};
    }
    struct tm tm {};
    int consumed = 0;
    char separator = 0;
    if (std::sscanf(text.c_str(), "%4d-%2d-%2d%c%2d:%2d%n", &tm.tm_year, &tm.tm_mon, &tm.tm_mday,
                    &separator, &tm.tm_hour, &tm.tm_min, &consumed) != 6 ||
        (separator != 'T' && separator != ' ')) {
        return std::nullopt;
    }
    std::string rest = text.substr(static_cast<size_t>(consumed));
    if (rest.size() >= 3 && rest[0] == ':' && IsDigit(rest[1]) && IsDigit(rest[2])) {
        tm.tm_sec = std::stoi(rest.substr(1, 2));
        rest = rest.substr(3);
    }
    tm.tm_year -= 1900;
    tm.tm_mon -= 1;
    const time_t wall = timegm(&tm);
    if (wall < 0) return std::nullopt;
    if (rest.empty()) return SParsedTime{static_cast<unsigned long>(wall), false};
    if (rest == "Z") return SParsedTime{static_cast<unsigned long>(wall), true};
    int hours = 0;
    int minutes = 0;
    const char sign = rest[0];
    if ((sign != '+' && sign != '-') ||
        (std::sscanf(rest.c_str() + 1, "%2d:%2d", &hours, &minutes) != 2 &&
         std::sscanf(rest.c_str() + 1, "%2d%2d", &hours, &minutes) != 2)) {
        return std::nullopt;
    }
    const long offset = (hours * 3600L + minutes * 60L) * (sign == '+' ? 1 : -1);
    return SParsedTime{static_cast<unsigned long>(wall - offset), true};
}

SParsedTime ParseTimeOrFail(const std::string& text, const char* what) {
    const auto parsed = ParseTime(text);
    if (!parsed) Fail(std::string("Cannot read ") + what + " '" + text + "'.");
    return *parsed;
}

// A time given on the command line, in the television's local clock and in UTC.
unsigned long ToLocal(const SParsedTime& time) {
    return time.isUtc ? CReminderAPIUtil::GetLocalTime(time.seconds) : time.seconds;
}

unsigned long ToUtc(const SParsedTime& time) {
    return time.isUtc ? time.seconds : CReminderAPIUtil::GetUTCTime(time.seconds);
}

// --- The television ---

std::vector<TCServiceData> Channels() {
    IService* service = nullptr;
    std::vector<TCServiceData> channels;
    if (TVServiceAPI::CreateService(1, 0, &service) && service != nullptr) {
        service->FindServices(TCCriteriaHelper(), channels);
    }
    return channels;
}

long long Attribute(const TCServiceData& channel, int key, long long fallback = -1) {
    long long value = fallback;
    channel.FindAttribute(key, value);
    return value;
}

std::string ChannelName(unsigned long long serviceId) {
    std::vector<unsigned short> name;
    if (!TCServiceDataUtility::GetServiceName(serviceId, name, true) || name.empty()) return "";
    return CReminderAPIUtil::UnicodeToUTF8(static_cast<unsigned int>(name.size()), name.data());
}

IServiceGuide* Guide() {
    IServiceGuide* guide = nullptr;
    if (!TVServiceAPI::CreateServiceGuide(1, 0, &guide) || guide == nullptr) {
        Fail("The television has no programme guide.");
    }
    return guide;
}

// --- Bookings ---

const char* KindName(const CRemindInfo& item) {
    switch (static_cast<int>(item.m_nReserveType)) {
        case REMINDER_RESERVE_VIEWING:
            return "viewing";
        case REMINDER_RESERVE_RECORDING:
        case REMINDER_RESERVE_RECORDING_MONITORED:
        case REMINDER_RESERVE_RECORDING_CRID:
            return "recording";
        case REMINDER_RESERVE_RECORDING_IN_PROGRESS:
            return "recording now";
        case REMINDER_RESERVE_RECORDING_FAILED:
            return "failed";
        case REMINDER_RESERVE_RECORDING_READY:
            return "ready";
        case REMINDER_RESERVE_SERIES:
            return "series";
        case REMINDER_RESERVE_GROUP:
            return "group";
        default:
            return "other";
    }
}

std::string RepeatName(const CRemindInfo& item) {
    switch (item.m_nRepeatType) {
        case REMINDER_REPEAT_NONE:
            return "once";
        case REMINDER_REPEAT_EVERYDAY:
            return "daily";
        case REMINDER_REPEAT_MON_FRI:
            return "mon-fri";
        case REMINDER_REPEAT_WEEKEND:
            return "weekend";
        case REMINDER_REPEAT_MANUAL: {
            // Monday first, as people read a week.
            std::string days = "days:";
            const char letters[] = "MTWTFSS";
            for (int i = 0; i < 7; ++i) {
                days += (item.m_cManualRepeat & (1u << ((i + 1) % 7))) ? letters[i] : '-';
            }
            return days;
        }
        default:
            return "?";
    }
}

std::string ChannelText(const CRemindInfo& item) {
    return std::to_string(item.m_nMajor) + "." + std::to_string(item.m_nMinor);
}

std::string TitleText(const CRemindInfo& item) {
    if (!item.m_sTitle.empty()) return item.m_sTitle;
    return item.m_nManual != 0 ? "(manual)" : "(untitled)";
}

void PrintBookingHeader() {
    std::printf("%-6s %-16s %5s %-7s %-13s %-8s %s\n", "UID", "START", "MIN", "CHANNEL", "KIND",
                "REPEAT", "TITLE");
}

void PrintBookingRow(const CRemindInfo& item) {
    std::printf("%-6u %-16s %5u %-7s %-13s %-8s %s\n", item.m_nUid,
                FormatLocal(item.m_nEventTime).c_str(), item.m_nDuration / 60,
                ChannelText(item).c_str(), KindName(item), RepeatName(item).c_str(),
                TitleText(item).c_str());
}

std::vector<CRemindInfo> AllBookings() {
    std::vector<CRemindInfo> items;
    int count = 0;
    CReminderAPI::GetInstance()->GetRemindItemsByType(count, items, REM_EXTRACT_ALL_BOOKINGS,
                                                      REM_ORDER_BY_START_TIME);
    return items;
}

// SQLite hands a freed UID out again, so a row is told apart by more than its UID.
using RowKey = std::tuple<uint32_t, unsigned long long, uint32_t, int, uint32_t>;

RowKey KeyOf(const CRemindInfo& item) {
    return {item.m_nUid, item.m_nServiceId, item.m_nEventTime,
            static_cast<int>(item.m_nReserveType), item.m_nAddedTime};
}

std::set<RowKey> KeysOf(const std::vector<CRemindInfo>& items) {
    std::set<RowKey> keys;
    for (const CRemindInfo& item : items) keys.insert(KeyOf(item));
    return keys;
}

// The reason the library logged for the refusal just made: its last refusal line.
std::string LoggedRefusal() {
    static const char* const kRefusals[] = {"Failed, ", "TV does not support PVR",
                                            "Expired program", "Already scheduled"};
    const auto logs = tvsim::Logs();
    for (auto it = logs.rbegin(); it != logs.rend(); ++it) {
        const auto mark = it->text.find("> ");
        const std::string message =
            mark == std::string::npos ? it->text : it->text.substr(mark + 2);
        for (const char* refusal : kRefusals) {
            if (message.rfind(refusal, 0) == 0) return message;
        }
    }
    return "";
}

// `add --check [--json]`: report the booking's conflicts instead of storing it.
bool g_addCheck = false;
bool g_addJson = false;

// Adds the booking and reports what changed in the list: the rows stored, the rows replaced.
void Book(CRemindInfo& item) {
    if (g_addCheck) return CheckBooking(item, g_addJson);
    CReminderAPI* api = CReminderAPI::GetInstance();
    const std::vector<CRemindInfo> before = AllBookings();
    const bool wasFull = api->FlagReminderListIsFull();
    tvsim::ClearLogs();
    if (!api->AddRemindItem(item, false, true)) {
        const std::string reason = LoggedRefusal();
        if (!reason.empty()) Fail("Refused: " + reason);
        if (wasFull) Fail("Refused: The list is full (30 bookings).");
        Fail("Refused: nothing to book (every part has begun or is booked already).");
    }
    const std::vector<CRemindInfo> after = AllBookings();
    const std::set<RowKey> oldKeys = KeysOf(before);
    const std::set<RowKey> newKeys = KeysOf(after);
    for (const CRemindInfo& gone : before) {
        if (newKeys.count(KeyOf(gone)) == 0) {
            std::printf("Replaced %s of \"%s\" (UID %u).\n", KindName(gone),
                        TitleText(gone).c_str(), gone.m_nUid);
        }
    }
    std::vector<CRemindInfo> added;
    std::copy_if(after.begin(), after.end(), std::back_inserter(added),
                 [&oldKeys](const CRemindInfo& e) { return oldKeys.count(KeyOf(e)) == 0; });
    std::printf("Booked %zu row(s):\n", added.size());
    PrintBookingHeader();
    for (const CRemindInfo& row : added) PrintBookingRow(row);
}

// --- Commands ---

void RunGuide(int channelFilter) {
    IServiceGuide* guide = Guide();
    for (const TCServiceData& channel : Channels()) {
        const long long major = Attribute(channel, SERVICE_ATTR_MAJOR);
        if (channelFilter >= 0 && major != channelFilter) continue;
        const auto serviceId =
            static_cast<unsigned long long>(Attribute(channel, SERVICE_ATTR_SERVICE_ID));
        std::printf("Channel %lld.%lld  %s  (service %llu)\n", major,
                    Attribute(channel, SERVICE_ATTR_MINOR), ChannelName(serviceId).c_str(),
                    serviceId);
        std::vector<TCProgramData> programmes;
        guide->GetProgramList(serviceId, programmes);
        for (const TCProgramData& p : programmes) {
            std::string title(static_cast<size_t>(p.TitleLength()), '\0');
            p.Title(&title[0], p.TitleLength());
            std::string crid;
            p.GetProgramCRID(crid);
            std::list<std::string> series;
            p.GetCRIDs(series, CRID_TYPE_SERIES);
            std::printf("  event %-5u %s %4lu min  %s", p.EventId(),
                        FormatLocal(CReminderAPIUtil::GetLocalTime(p.StartTime())).c_str(),
                        p.Duration() / 60, title.c_str());
            if (!series.empty()) std::printf("  [series %s]", series.front().c_str());
            TCProgramId id;
            p.GetProgramId(id);
            std::map<unsigned int, TCProgramData*> parts;
            if (guide->GetProgramsOfEvent(id, parts) == 1 && parts.size() > 1) {
                std::printf("  [split event, %zu parts]", parts.size());
            }
            std::printf("\n");
        }
    }
}

CRemindInfo GuideBooking(unsigned long long serviceId, unsigned int eventId,
                         const std::string& as) {
    TCProgramId id;
    id.m_serviceId = serviceId;
    id.m_eventId = eventId;
    TCProgramData programme;
    if (Guide()->GetProgram(id, programme) != 1) {
        Fail("No programme with event " + std::to_string(eventId) + " on service " +
             std::to_string(serviceId) + ".");
    }
    CRemindInfo item;
    if (as == "viewing") {
        item.SetTimerViewing(programme);
    } else if (as == "recording") {
        item.SetRecording(programme);
    } else {
        std::list<std::string> series;
        if (!programme.GetCRIDs(series, CRID_TYPE_SERIES) || series.empty()) {
            Fail("This programme belongs to no series.");
        }
        item.Set(programme, REMINDER_RESERVE_SERIES);
        item.m_sSeriesCrid = series.front();
    }
    if (item.m_nReserveType == REMINDER_RESERVE_NONE) {
        Fail("The television does not know service " + std::to_string(serviceId) + ".");
    }
    return item;
}

// "once", "daily", "mon-fri", "weekend" or "days:MTWTFSS" (Monday first; '-' leaves a day out).
bool ParseRepeat(const std::string& text, EReminderRepeatType& type, unsigned char& mask) {
    mask = 0;
    if (text == "once")
        type = REMINDER_REPEAT_NONE;
    else if (text == "daily")
        type = REMINDER_REPEAT_EVERYDAY;
    else if (text == "mon-fri")
        type = REMINDER_REPEAT_MON_FRI;
    else if (text == "weekend")
        type = REMINDER_REPEAT_WEEKEND;
    else if (text.rfind("days:", 0) == 0 && text.size() == 12) {
        type = REMINDER_REPEAT_MANUAL;
        for (int i = 0; i < 7; ++i) {
            if (text[5 + i] != '-') mask |= static_cast<unsigned char>(1u << ((i + 1) % 7));
        }
        return mask != 0;
    } else {
        return false;
    }
    return true;
}

CRemindInfo ManualBooking(const SManualOptions& options) {
    unsigned int major = 0;
    unsigned int minor = 0;
    const int fields = std::sscanf(options.channel.c_str(), "%u.%u", &major, &minor);
    if (fields < 1) Fail("Cannot read channel '" + options.channel + "'.");
    const TCServiceData* found = nullptr;
    const std::vector<TCServiceData> channels = Channels();
    for (const TCServiceData& channel : channels) {
        if (Attribute(channel, SERVICE_ATTR_MAJOR) == major &&
            (fields < 2 || Attribute(channel, SERVICE_ATTR_MINOR) == minor)) {
            found = &channel;
            break;
        }
    }
    if (found == nullptr) Fail("The television has no channel " + options.channel + ".");

    EReminderRepeatType repeat = REMINDER_REPEAT_NONE;
    unsigned char mask = 0;
    if (!ParseRepeat(options.repeat, repeat, mask))
        Fail("Cannot read repeat '" + options.repeat + "'.");
    const SParsedTime start = ParseTimeOrFail(options.start, "start time");

    CRemindInfo item;
    item.Set(static_cast<unsigned short>(Attribute(*found, SERVICE_ATTR_MAJOR)),
             static_cast<unsigned short>(Attribute(*found, SERVICE_ATTR_MINOR)),
             static_cast<unsigned short>(Attribute(*found, SERVICE_ATTR_PTC)),
             static_cast<unsigned short>(Attribute(*found, SERVICE_ATTR_CHANNEL_TYPE)),
             static_cast<unsigned short>(Attribute(*found, SERVICE_ATTR_PROGRAM_NUMBER)));
    item.m_nManual = 1;
    item.m_nReserveType =
        options.as == "viewing" ? REMINDER_RESERVE_VIEWING : REMINDER_RESERVE_RECORDING;
    item.m_nRepeatType = repeat;
    item.m_cManualRepeat = mask;
    item.SetStartTime(ToLocal(start));
    item.m_nDuration = options.duration * 60;
    item.m_nUTCDuration = options.duration * 60;
    item.m_sChannelName = ChannelName(item.m_nServiceId);
    return item;
}

void PrintJson(const std::vector<CRemindInfo>& items) {
    Json::Value array(Json::arrayValue);
    const std::unique_ptr<Json::CharReader> parser(Json::CharReaderBuilder().newCharReader());
    for (const CRemindInfo& item : items) {
        const std::string text = item.Serialize();
        Json::Value value;
        std::string errors;
        if (parser->parse(text.data(), text.data() + text.size(), &value, &errors)) {
            array.append(value);
        }
    }
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "  ";
    std::cout << Json::writeString(writer, array) << "\n";
}

// The kinds of `list --kind`, one per extract type of the library.
const std::map<std::string, EExtractType> kListKinds = {
    {"scheduled-and-failed", REM_EXTRACT_SCHEDULED_AND_FAILED},
    {"in-progress", REM_EXTRACT_RESERVE_TYPE_3},
    {"scheduled", REM_EXTRACT_SCHEDULED},
    {"failed", REM_EXTRACT_FAILED},
    {"all", REM_EXTRACT_ALL_BOOKINGS},
};

void RunList(const std::string& kind, const std::string& order, const std::string& at, bool json) {
    const EOrderByType orderBy = order == "title"     ? REM_ORDER_BY_TITLE
                                 : order == "channel" ? REM_ORDER_BY_CHANNEL_NUMBER
                                                      : REM_ORDER_BY_START_TIME;
    std::vector<CRemindInfo> items;
    if (at.empty()) {
        int count = 0;
        CReminderAPI::GetInstance()->GetRemindItemsByType(count, items, kListKinds.at(kind),
                                                          orderBy);
    } else {
        // Every booking whose padded start (its start less the start margin) is that minute.
        CRemindInfo probe;
        probe.SetStartTime(ToLocal(ParseTimeOrFail(at, "--at")));
        CReminderAPI::GetInstance()->GetStartTimeIsSameItems(probe, items, REM_SCHEDULED_ALL);
    }
    if (json) {
        PrintJson(items);
        return;
    }
    if (items.empty()) {
        std::printf("No bookings.\n");
        return;
    }
    PrintBookingHeader();
    for (const CRemindInfo& item : items) {
        PrintBookingRow(item);
        if (item.m_nReserveType == REMINDER_RESERVE_RECORDING_FAILED) {
            std::printf("       failed: %s\n", FailureReason(item).c_str());
        }
    }
    std::printf(
        "%zu row(s); %d of %d places taken (series episodes and failed recordings are free).\n",
        items.size(), CReminderAPI::GetInstance()->GetRemindItemCnt(),
        CReminderAPIUtil::GetMaxItemCnt());
}

void RunShow(unsigned long uid) {
    CRemindInfo item;
    if (!CReminderAPI::GetInstance()->GetRemindItemByUid(uid, item) || item.m_nUid != uid) {
        Fail("No booking with UID " + std::to_string(uid) + ".");
    }
    std::printf("UID:          %u\n", item.m_nUid);
    std::printf("Title:        %s\n", TitleText(item).c_str());
    std::printf("Kind:         %s (reserve type %d)\n", KindName(item),
                static_cast<int>(item.m_nReserveType));
    const std::string name =
        item.m_sChannelName.empty() ? ChannelName(item.m_nServiceId) : item.m_sChannelName;
    std::printf("Channel:      %s  %s (service %llu)\n", ChannelText(item).c_str(), name.c_str(),
                item.m_nServiceId);
    std::printf("Start:        %s\n", FormatLocal(item.m_nEventTime).c_str());
    std::printf("Duration:     %u min\n", item.m_nDuration / 60);
    std::printf("Margins:      %u min before, %u min after\n", item.m_nStartMarginTime / 60,
                item.m_nEndMarginTime / 60);
    std::printf("Repeat:       %s\n", RepeatName(item).c_str());
    if (item.m_nEventId != 0xFFFF) std::printf("Event:        %u\n", item.m_nEventId);
    if (!item.m_sProgramCrid.empty())
        std::printf("Program CRID: %s\n", item.m_sProgramCrid.c_str());
    if (!item.m_sSeriesCrid.empty()) std::printf("Series CRID:  %s\n", item.m_sSeriesCrid.c_str());
    if (!item.m_sSynopsis.empty()) std::printf("Synopsis:     %s\n", item.m_sSynopsis.c_str());
    std::printf("Added:        %s\n", FormatLocal(item.m_nAddedTime).c_str());
}

void RunDelete(unsigned long uid) {
    const size_t before = AllBookings().size();
    if (!CReminderAPI::GetInstance()->UserDeleteRemindItemByUid(uid)) {
        Fail("No booking with UID " + std::to_string(uid) + ".");
    }
    const size_t after = AllBookings().size();
    std::printf("Deleted %zu booking row(s).\n", before > after ? before - after : 0);
}

// --- Setup ---

std::string DefaultProfile() {
    for (const char* candidate : {REMINDER_SAMPLE_PROFILE, REMINDER_INSTALLED_PROFILE}) {
        std::error_code error;  // an unreadable candidate is simply not the one
        if (std::filesystem::exists(candidate, error)) return candidate;
    }
    return REMINDER_SAMPLE_PROFILE;
}

// Everything the library reads from its environment is settled here, before its first use.
void PrepareTelevision(const std::string& db, const std::string& profile, const std::string& now) {
    const std::filesystem::path dbPath(db);
    if (dbPath.has_parent_path()) {
        std::error_code error;
        std::filesystem::create_directories(dbPath.parent_path(), error);
        if (error) Fail("Cannot create " + dbPath.parent_path().string() + ": " + error.message());
    }
    setenv("REMINDER_DB_PATH", db.c_str(), 1);
    setenv("TVSIM_PROFILE", profile.c_str(), 1);
    std::string error;
    if (!tvsim::LoadProfileFile(profile, &error)) Fail("Cannot load the television: " + error);
    // The offset of a wall-clock time without one is the television's, known once it is loaded.
    if (!now.empty()) tvsim::SetCurrentTime(ToUtc(ParseTimeOrFail(now, "--now")));
    // Like a guide application, follow programmes: recordings then become event recordings,
    // which is what books a split event part by part.
    CReminderAPIUtil::CreateProgramSubscriber(ForwardProgramChange, nullptr);
}

}  // namespace

unsigned long ParseTelevisionTime(const std::string& text, const char* what) {
    return ToLocal(ParseTimeOrFail(text, what));
}

// --- Shared with the command groups of other sources ---

void AddBookingOptions(CLI::App* command, SBookingArgs& args) {
    args.command = command->get_name();
    args.serviceOpt =
        command->add_option("--service", args.serviceId, "Service id of the programme");
    args.eventOpt = command->add_option("--event", args.eventId, "Event id of the programme");
    command->add_option("--as", args.as, "viewing, recording or series")
        ->check(CLI::IsMember({"viewing", "recording", "series"}));
    args.manualOpt =
        command->add_flag("--manual", args.manual, "Book a channel for a time instead");
    args.channelOpt = command->add_option("--channel", args.manualOptions.channel, "MAJOR[.MINOR]");
    args.startOpt = command->add_option("--start", args.manualOptions.start, "Start time");
    args.durationOpt = command->add_option("--duration", args.manualOptions.duration, "Minutes");
    command
        ->add_option("--repeat", args.manualOptions.repeat,
                     "once, daily, mon-fri, weekend, days:MTWTFSS")
        ->capture_default_str();
    args.serviceOpt->needs(args.eventOpt)->excludes(args.manualOpt);
    args.eventOpt->needs(args.serviceOpt);
    args.channelOpt->needs(args.manualOpt);
}

CRemindInfo BookingFromArgs(const SBookingArgs& args) {
    const std::string& command = args.command;
    if (args.manual) {
        if (!*args.channelOpt || !*args.startOpt || !*args.durationOpt) {
            Fail(command + " --manual needs --channel, --start and --duration.");
        }
        if (args.as == "series") Fail("A manual booking is a viewing or a recording.");
        SManualOptions options = args.manualOptions;
        if (!args.as.empty()) options.as = args.as;
        return ManualBooking(options);
    }
    if (!*args.serviceOpt || args.as.empty()) {
        Fail(command + " needs --service, --event and --as (or --manual).");
    }
    return GuideBooking(args.serviceId, args.eventId, args.as);
}

void PrintBookings(const std::vector<CRemindInfo>& items, bool json) {
    if (json) {
        PrintJson(items);
        return;
    }
    PrintBookingHeader();
    for (const CRemindInfo& item : items) PrintBookingRow(item);
}

int main(int argc, char** argv) {
    CLI::App app{"Books, lists and removes bookings on the simulated television."};
    app.require_subcommand(1);

    std::string db = "./var/ReminderFile_v1.db";
    std::string profile = DefaultProfile();
    std::string now;
    app.add_option("--db", db, "Booking database file")->capture_default_str();
    app.add_option("--tv", profile, "Television profile (JSON)")->capture_default_str();
    app.add_option(
        "--now", now,
        "Current time: ISO 8601 (2024-03-01T20:00+01:00; without offset the television's "
        "clock) or UTC seconds");
    app.parse_complete_callback([&] { PrepareTelevision(db, profile, now); });

    CLI::App* guide = app.add_subcommand("guide", "Programmes of the guide, with their ids");
    int guideChannel = -1;
    guide->add_option("--channel", guideChannel, "Only this major channel number");
    guide->callback([&] { RunGuide(guideChannel); });

    CLI::App* add = app.add_subcommand("add", "Book a programme from the guide, or a manual time");
    SBookingArgs booking;
    AddBookingOptions(add, booking);
    auto* checkOpt = add->add_flag("--check", g_addCheck, "Report its conflicts; do not store it");
    add->add_flag("--json", g_addJson, "With --check: as JSON")->needs(checkOpt);
    add->callback([&] {
        CRemindInfo item = BookingFromArgs(booking);
        Book(item);
    });

    CLI::App* list = app.add_subcommand("list", "The bookings");
    std::string kind = "all";
    std::string order = "start";
    bool json = false;
    std::string at;
    auto* kindOpt = list->add_option("--kind", kind,
                                     "scheduled-and-failed, in-progress, scheduled, failed or all")
                        ->check(CLI::IsMember(
                            {"scheduled-and-failed", "in-progress", "scheduled", "failed", "all"}))
                        ->capture_default_str();
    list->add_option("--at", at, "Only the bookings that start at this time, of every kind")
        ->excludes(kindOpt);
    list->add_option("--order", order, "start, title or channel")
        ->check(CLI::IsMember({"start", "title", "channel"}))
        ->capture_default_str();
    list->add_flag("--json", json, "As a JSON array of records");
    list->callback([&] { RunList(kind, order, at, json); });

    CLI::App* show = app.add_subcommand("show", "One booking in detail");
    unsigned long showUid = 0;
    show->add_option("UID", showUid)->required();
    show->callback([&] { RunShow(showUid); });

    CLI::App* remove =
        app.add_subcommand("delete", "Remove a booking (all parts of a split event)");
    unsigned long deleteUid = 0;
    remove->add_option("UID", deleteUid)->required();
    remove->callback([&] { RunDelete(deleteUid); });

    AddWatchCommand(app);
    AddQueryCommands(app);
    AddExpireCommand(app);
    AddRecorderCommand(app);
    AddTuneCommands(app);
    AddConflictsCommand(app);
    AddTimelineCommand(app);
    AddRefreshCommands(app);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e);
    }
    return 0;
}
