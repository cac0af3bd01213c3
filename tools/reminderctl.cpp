// reminderctl: books, lists and removes bookings on the simulated television through the
// library's facade, the way a guide application would.
#include <json/json.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <clocale>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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
#include "ReminderctlCommon.h"
#include "TCServiceData.h"
#include "TVServiceAPI.h"
#include "tvsim/tvsim.h"

namespace {

using namespace reminderctl;

// --- Bookings ---

// --- Bookings ---

CTable BookingTable() {
    return CTable({"UID", "START", "MIN", "CHANNEL", "KIND", "REPEAT", "TITLE"});
}

void AddBookingRow(CTable& table, const CRemindInfo& item) {
    table.Add({std::to_string(item.m_nUid), FormatLocalWithOffset(item.m_nEventTime),
               std::to_string(item.m_nDuration / 60), ChannelText(item), KindName(item),
               RepeatName(item), TitleText(item)});
}

// Every booking, or a failure that says why the list could not be read.
std::vector<CRemindInfo> AllBookings() {
    std::vector<CRemindInfo> items;
    int count = 0;
    CReminderAPI::GetInstance()->GetRemindItemsByType(count, items, REM_EXTRACT_ALL_BOOKINGS,
                                                      REM_ORDER_BY_START_TIME);
    CheckStore();
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

// --- The database file ---

// $REMINDER_DB_PATH, else $XDG_STATE_HOME/reminder/ReminderFile_v1.db ($XDG_STATE_HOME
// defaulting to ~/.local/state): the same file from every directory.
std::string DefaultDatabase() {
    if (const char* env = std::getenv("REMINDER_DB_PATH"); env != nullptr && *env != '\0') {
        return env;
    }
    std::filesystem::path state;
    if (const char* xdg = std::getenv("XDG_STATE_HOME"); xdg != nullptr && xdg[0] == '/') {
        state = xdg;
    } else if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') {
        state = std::filesystem::path(home) / ".local" / "state";
    } else {
        return "";
    }
    return (state / "reminder" / "ReminderFile_v1.db").string();
}

bool g_databaseNamed = false;  // given by --db or $REMINDER_DB_PATH, not the default

// Read-only commands never create the file: without one there is nothing booked, and a named
// file that does not exist is most likely a mistyped path.
bool DatabaseExists() {
    std::error_code error;
    if (std::filesystem::exists(DatabasePath(), error)) return true;
    if (g_databaseNamed) {
        Fail("No booking database at " + DatabasePath() +
             " (a first booking creates it; check --db or REMINDER_DB_PATH).");
    }
    return false;
}

// Only commands that book create the file, and its directory.
void PrepareDatabaseForWriting() {
    const std::filesystem::path path(DatabasePath());
    if (!path.has_parent_path()) return;
    std::error_code error;
    std::filesystem::create_directories(path.parent_path(), error);
    if (error) Fail("Cannot create " + path.parent_path().string() + ": " + error.message());
}

// `add --check [--json]`: report the booking's conflicts instead of storing it.
bool g_addCheck = false;
bool g_addJson = false;

// Adds the booking and reports what changed in the list: the rows stored, the rows replaced.
void Book(CRemindInfo& item) {
    if (g_addCheck) return CheckBooking(item, g_addJson);
    PrepareDatabaseForWriting();
    CReminderAPI* api = CReminderAPI::GetInstance();
    const std::vector<CRemindInfo> before = AllBookings();
    const bool wasFull = api->FlagReminderListIsFull();
    if (!api->AddRemindItem(item, false, true)) {
        const std::string reason = CReminderAPI::LastRefusal();
        CheckStore();
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
    CTable table = BookingTable();
    size_t added = 0;
    for (const CRemindInfo& row : after) {
        if (oldKeys.count(KeyOf(row)) != 0) continue;
        AddBookingRow(table, row);
        ++added;
    }
    std::printf("Booked %zu row(s):\n", added);
    table.Print();
}

// --- Commands ---

std::string Title(const TCProgramData& p) {
    std::string title(static_cast<size_t>(p.TitleLength()), '\0');
    if (!title.empty()) p.Title(&title[0], p.TitleLength());
    return title;
}

struct SGuideOptions {
    std::string channel;
    std::string from;  // empty: the whole guide
    unsigned int hours = 0;
};

void RunGuide(const SGuideOptions& options) {
    std::optional<SChannelRef> only;
    if (!options.channel.empty()) only = ParseChannelOrFail(options.channel);
    // The window, in UTC like the guide.
    unsigned long windowStart = 0;
    unsigned long windowEnd = UINT32_MAX;
    if (!options.from.empty()) windowStart = ToUtc(ParseTimeOrFail(options.from, "--from"));
    if (options.hours > 0) windowEnd = windowStart + options.hours * 3600UL;
    if (options.hours > 0 && options.from.empty()) {
        windowStart = CReminderAPIUtil::GetUTCTime(CReminderAPIUtil::GetCurrentTime());
        windowEnd = windowStart + options.hours * 3600UL;
    }
    const unsigned long nowUtc = CReminderAPIUtil::GetUTCTime(CReminderAPIUtil::GetCurrentTime());

    IServiceGuide* guide = Guide();
    bool anyChannel = false;
    for (const TCServiceData& channel : Channels()) {
        if (only && !Matches(*only, channel)) continue;
        anyChannel = true;
        const auto serviceId =
            static_cast<unsigned long long>(Attribute(channel, SERVICE_ATTR_SERVICE_ID));
        std::printf("Channel %s  %s  (service %llu)\n", ChannelNumber(channel).c_str(),
                    ChannelName(serviceId).c_str(), serviceId);
        std::vector<TCProgramData> programmes;
        guide->GetProgramList(serviceId, programmes);
        CTable table({"  EVENT", "START", "MIN", "TITLE", ""});
        for (const TCProgramData& p : programmes) {
            const unsigned long end = p.StartTime() + p.Duration();
            if (end <= windowStart || p.StartTime() >= windowEnd) continue;
            std::string notes;
            if (end <= nowUtc) {
                notes += "[ended]";
            } else if (p.StartTime() <= nowUtc) {
                notes += "[on now]";
            }
            std::list<std::string> series;
            p.GetCRIDs(series, CRID_TYPE_SERIES);
            if (!series.empty())
                notes += (notes.empty() ? "" : " ") + ("[series " + series.front() + "]");
            TCProgramId id;
            p.GetProgramId(id);
            std::map<unsigned int, TCProgramData*> parts;
            if (guide->GetProgramsOfEvent(id, parts) == 1 && parts.size() > 1) {
                notes += (notes.empty() ? "" : " ") +
                         ("[split event, " + std::to_string(parts.size()) + " parts]");
            }
            table.Add({"  " + std::to_string(p.EventId()),
                       FormatLocalWithOffset(CReminderAPIUtil::GetLocalTime(p.StartTime())),
                       std::to_string(p.Duration() / 60), Title(p), notes});
        }
        if (table.Empty()) {
            std::printf("  (no programmes in this window)\n");
        } else {
            table.Print();
        }
    }
    if (only && !anyChannel) {
        Fail("The television has no channel " + only->text + " (reminderctl guide lists them).");
    }
}

CRemindInfo FromProgramme(const TCProgramData& programme, const std::string& as) {
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
        Fail("The television does not know service " + std::to_string(programme.ServiceId()) + ".");
    }
    return item;
}

// The library books a second viewing reminder of one event; a person never means that.
void RefuseSecondViewing(const CRemindInfo& item) {
    if (item.m_nReserveType != REMINDER_RESERVE_VIEWING) return;
    std::error_code error;
    if (!std::filesystem::exists(DatabasePath(), error)) return;
    CRemindInfo found;
    const bool exists = CReminderAPI::GetInstance()->FindRemindItem(item, found);
    CheckStore();
    if (exists && found.m_nReserveType == REMINDER_RESERVE_VIEWING) {
        Fail("Refused: \"" + TitleText(found) + "\" already has a viewing reminder (UID " +
             std::to_string(found.m_nUid) + ").");
    }
}

// The booking of a guide programme named by its ids, as `add` would make it.
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
    return FromProgramme(programme, as);
}

void RunAddFromGuide(unsigned long long serviceId, unsigned int eventId, const std::string& as) {
    CRemindInfo item = GuideBooking(serviceId, eventId, as);
    RefuseSecondViewing(item);
    Book(item);
}

// "HH:MM" is that time of the television's day (the next day once the programme then on air
// has ended); any other form is read as a full time.
unsigned long ParseAtOrFail(const std::string& text, const TCServiceData& channel,
                            TCProgramData& programme) {
    unsigned int hours = 0;
    unsigned int minutes = 0;
    int consumed = 0;
    const unsigned long nowLocal = CReminderAPIUtil::GetCurrentTime();
    std::vector<unsigned long> candidates;
    if (std::sscanf(text.c_str(), "%2u:%2u%n", &hours, &minutes, &consumed) == 2 &&
        static_cast<size_t>(consumed) == text.size() && hours < 24 && minutes < 60) {
        const unsigned long today = nowLocal - nowLocal % 86400 + hours * 3600UL + minutes * 60UL;
        candidates = {today, today + 86400};
    } else if (const auto parsed = ParseTime(text)) {
        candidates = {ToLocal(*parsed)};
    } else {
        Fail("Cannot read --at '" + text + "': give HH:MM (the television's clock) or " +
             kTimeForms + ".");
    }
    const auto serviceId =
        static_cast<unsigned long long>(Attribute(channel, SERVICE_ATTR_SERVICE_ID));
    std::vector<TCProgramData> programmes;
    Guide()->GetProgramList(serviceId, programmes);
    const unsigned long nowUtc = CReminderAPIUtil::GetUTCTime(nowLocal);
    for (const unsigned long local : candidates) {
        const unsigned long utc = CReminderAPIUtil::GetUTCTime(local);
        for (const TCProgramData& p : programmes) {
            const unsigned long end = p.StartTime() + p.Duration();
            if (p.StartTime() <= utc && utc < end && (end > nowUtc || candidates.size() == 1)) {
                programme = p;
                return local;
            }
        }
    }
    Fail("The guide of channel " + ChannelNumber(channel) + " has no programme at " + text +
         " (reminderctl guide --channel " + ChannelNumber(channel) + " lists them).");
}

void RunAddAt(const std::string& channelText, const std::string& at, const std::string& as) {
    const TCServiceData channel = FindChannelOrFail(ParseChannelOrFail(channelText));
    TCProgramData programme;
    ParseAtOrFail(at, channel, programme);
    CRemindInfo item = FromProgramme(programme, as);
    RefuseSecondViewing(item);
    Book(item);
}

const char* const kRepeatForms =
    "once, daily, mon-fri, weekend or days:MTWTFSS (Monday first; '-' leaves a day out, e.g. "
    "days:M-W-F--)";

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
    const TCServiceData found = FindChannelOrFail(ParseChannelOrFail(options.channel));

    EReminderRepeatType repeat = REMINDER_REPEAT_NONE;
    unsigned char mask = 0;
    if (!ParseRepeat(options.repeat, repeat, mask))
        Fail("Cannot read repeat '" + options.repeat + "': give " + kRepeatForms + ".");
    const SParsedTime start = ParseTimeOrFail(options.start, "start time");

    CRemindInfo item;
    item.Set(static_cast<unsigned short>(Attribute(found, SERVICE_ATTR_MAJOR)),
             static_cast<unsigned short>(Attribute(found, SERVICE_ATTR_MINOR)),
             static_cast<unsigned short>(Attribute(found, SERVICE_ATTR_PTC)),
             static_cast<unsigned short>(Attribute(found, SERVICE_ATTR_CHANNEL_TYPE)),
             static_cast<unsigned short>(Attribute(found, SERVICE_ATTR_PROGRAM_NUMBER)));
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

void RunAddManual(const SManualOptions& options) {
    CRemindInfo item = ManualBooking(options);
    Book(item);
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
    if (DatabaseExists()) {
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
        CheckStore();
    }
    if (json) {
        PrintJson(items);
        return;
    }
    if (items.empty()) {
        std::printf("No bookings.\n");
        return;
    }
    CTable table = BookingTable();
    for (const CRemindInfo& item : items) AddBookingRow(table, item);
    table.Print();
    for (const CRemindInfo& item : items) {
        if (item.m_nReserveType == REMINDER_RESERVE_RECORDING_FAILED) {
            std::printf("UID %u failed: %s\n", item.m_nUid, FailureReason(item).c_str());
        }
    }
    const int taken = CReminderAPI::GetInstance()->GetRemindItemCnt();
    CheckStore();
    std::printf(
        "%zu row(s); %d of %d places taken (series episodes and failed recordings are free).\n",
        items.size(), taken, CReminderAPIUtil::GetMaxItemCnt());
}

[[noreturn]] void NoSuchBooking(unsigned long uid) {
    Fail("No booking with UID " + std::to_string(uid) + " (reminderctl list shows them).");
}

void RunShow(unsigned long uid) {
    if (!DatabaseExists()) NoSuchBooking(uid);
    CRemindInfo item;
    const bool found = CReminderAPI::GetInstance()->GetRemindItemByUid(uid, item);
    CheckStore();
    if (!found || item.m_nUid != uid) NoSuchBooking(uid);
    std::printf("UID:          %u\n", item.m_nUid);
    std::printf("Title:        %s\n", TitleText(item).c_str());
    std::printf("Kind:         %s (reserve type %d)\n", KindName(item),
                static_cast<int>(item.m_nReserveType));
    const std::string name =
        item.m_sChannelName.empty() ? ChannelName(item.m_nServiceId) : item.m_sChannelName;
    std::printf("Channel:      %s  %s (service %llu)\n", ChannelText(item).c_str(), name.c_str(),
                item.m_nServiceId);
    std::printf("Start:        %s\n", FormatLocalWithOffset(item.m_nEventTime).c_str());
    std::printf("Duration:     %u min\n", item.m_nDuration / 60);
    std::printf("Margins:      %u min before, %u min after\n", item.m_nStartMarginTime / 60,
                item.m_nEndMarginTime / 60);
    std::printf("Repeat:       %s\n", RepeatName(item).c_str());
    if (item.m_nEventId != 0xFFFF) std::printf("Event:        %u\n", item.m_nEventId);
    if (!item.m_sProgramCrid.empty())
        std::printf("Program CRID: %s\n", item.m_sProgramCrid.c_str());
    if (!item.m_sSeriesCrid.empty()) std::printf("Series CRID:  %s\n", item.m_sSeriesCrid.c_str());
    if (!item.m_sSynopsis.empty()) std::printf("Synopsis:     %s\n", item.m_sSynopsis.c_str());
    std::printf("Added:        %s\n", FormatLocalWithOffset(item.m_nAddedTime).c_str());
}

void RunDelete(unsigned long uid) {
    if (!DatabaseExists()) NoSuchBooking(uid);
    const size_t before = AllBookings().size();
    if (!CReminderAPI::GetInstance()->UserDeleteRemindItemByUid(uid)) {
        CheckStore();
        NoSuchBooking(uid);
    }
    const size_t after = AllBookings().size();
    std::printf("Deleted %zu booking row(s).\n", before > after ? before - after : 0);
}

void RunNow() {
    const unsigned long local = CReminderAPIUtil::GetCurrentTime();
    const unsigned long utc = CReminderAPIUtil::GetUTCTime(local);
    const auto format = [](unsigned long seconds) {
        const time_t t = static_cast<time_t>(seconds);
        struct tm tm {};
        gmtime_r(&t, &tm);
        char text[32];
        std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &tm);
        return std::string(text);
    };
    std::printf("%s %s  (UTC %s, %lu seconds)\n", format(local).c_str(),
                FormatOffset(OffsetAtLocal(local)).c_str(), format(utc).c_str(), utc);
}

// --- Setup ---

std::string DefaultProfile() {
    for (const char* candidate : {REMINDER_SAMPLE_PROFILE, REMINDER_INSTALLED_PROFILE}) {
        std::error_code error;  // an unreadable candidate is simply not the one
        if (std::filesystem::exists(candidate, error)) return candidate;
    }
    return REMINDER_SAMPLE_PROFILE;
}

// Failure reasons in words rather than message ids: the catalogue of this build, else the
// installed one, and a message locale that translates (the C locale translates nothing).
void PrepareMessages() {
    const char* dir = std::getenv("REMINDER_LOCALE_DIR");
    if (dir == nullptr || *dir == '\0') {
        for (const char* candidate : {REMINDER_BUILD_LOCALE_DIR, REMINDER_INSTALLED_LOCALE_DIR}) {
            std::error_code error;
            if (std::filesystem::exists(candidate, error)) {
                setenv("REMINDER_LOCALE_DIR", candidate, 1);
                break;
            }
        }
    }
    const char* locale = std::setlocale(LC_MESSAGES, "");
    const bool plain = locale == nullptr || locale[0] == 'C' || std::strcmp(locale, "POSIX") == 0;
    if (plain && std::setlocale(LC_MESSAGES, "C.UTF-8") != nullptr) setenv("LANGUAGE", "en", 0);
}

// Everything the library reads from its environment is settled here, before its first use.
void PrepareTelevision(const std::string& db, const std::string& profile, const std::string& now) {
    if (db.empty()) {
        Fail("No database file: set --db, REMINDER_DB_PATH, XDG_STATE_HOME or HOME.");
    }
    SetDatabasePath(db);
    PrepareMessages();
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

// Output that could not be written is a failure, however far the command got.
int CheckOutput(int status) {
    errno = 0;
    std::cout.flush();
    const bool coutFailed = std::cout.fail();
    if (std::fflush(stdout) != 0 || std::ferror(stdout) || coutFailed) {
        const int error = errno;
        std::cerr << "reminderctl: cannot write the output"
                  << (error != 0 ? std::string(": ") + std::strerror(error) : std::string())
                  << "\n";
        return status != 0 ? status : kExitFailed;
    }
    return status;
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
    CTable table = BookingTable();
    for (const CRemindInfo& item : items) AddBookingRow(table, item);
    table.Print();
}

namespace {

int Run(int argc, char** argv) {
    CLI::App app{
        "Books, lists and removes bookings of the television's booking list (the simulated "
        "television on this machine).",
        "reminderctl"};
    app.require_subcommand(1);
    // The common options may also follow the command: reminderctl list --db FILE.
    app.fallthrough();
    app.set_version_flag("--version",
                         std::string("reminderctl (reminder-api) ") + REMINDER_API_VERSION_STRING);
    app.footer(
        "Times are the television's clock. The database is --db, else $REMINDER_DB_PATH, else "
        "$XDG_STATE_HOME/reminder/ReminderFile_v1.db (~/.local/state/... without "
        "XDG_STATE_HOME). Exit status: 0 done, 1 refused or failed, 2 bad command line.");

    std::string db = DefaultDatabase();
    std::string profile = DefaultProfile();
    std::string now;
    auto* dbOpt = app.add_option("--db", db, "Booking database file (default: see below)");
    app.add_option("--tv", profile, "Television profile (JSON; default: the sample television)");
    app.add_option(
        "--now", now,
        "Current time: ISO 8601 (2024-03-01T20:00+01:00; without offset the television's "
        "clock) or UTC seconds");
    app.parse_complete_callback([&] {
        const char* env = std::getenv("REMINDER_DB_PATH");
        g_databaseNamed = *dbOpt || (env != nullptr && *env != '\0');
        PrepareTelevision(db, profile, now);
    });

    CLI::App* guide = app.add_subcommand("guide", "Programmes of the guide, with their ids");
    SGuideOptions guideOptions;
    guide->add_option("--channel", guideOptions.channel, "Only this channel: MAJOR or MAJOR.MINOR");
    guide->add_option("--from", guideOptions.from, "Only programmes on air at or after TIME");
    guide->add_option("--hours", guideOptions.hours, "Only N hours (from --from, else from now)")
        ->check(CLI::PositiveNumber);
    guide->callback([&] { RunGuide(guideOptions); });

    CLI::App* nowCommand =
        app.add_subcommand("now", "The television's clock and its offset from UTC");
    nowCommand->callback([] { RunNow(); });

    CLI::App* add = app.add_subcommand(
        "add", "Book a programme (by channel and time, or by ids), or a manual time");
    unsigned long long serviceId = 0;
    unsigned int eventId = 0;
    std::string as;
    std::string at;
    bool manual = false;
    SManualOptions manualOptions;
    auto* serviceOpt = add->add_option("--service", serviceId, "Service id of the programme");
    auto* eventOpt = add->add_option("--event", eventId, "Event id of the programme");
    add->add_option("--as", as, "viewing, recording or series")
        ->check(CLI::IsMember({"viewing", "recording", "series"}));
    auto* manualOpt = add->add_flag("--manual", manual, "Book a channel for a time instead");
    auto* channelOpt = add->add_option("--channel", manualOptions.channel, "MAJOR or MAJOR.MINOR");
    auto* atOpt = add->add_option(
        "--at", at, "With --channel: the programme on air then (HH:MM of today, or a full time)");
    auto* startOpt = add->add_option("--start", manualOptions.start, "Start time (with --manual)");
    auto* durationOpt =
        add->add_option("--duration", manualOptions.duration, "Minutes (with --manual)");
    add->add_option("--repeat", manualOptions.repeat, "once, daily, mon-fri, weekend, days:MTWTFSS")
        ->capture_default_str();
    serviceOpt->needs(eventOpt)->excludes(manualOpt)->excludes(channelOpt);
    eventOpt->needs(serviceOpt);
    atOpt->needs(channelOpt)->excludes(manualOpt);
    auto* checkOpt = add->add_flag("--check", g_addCheck, "Report its conflicts; do not store it");
    add->add_flag("--json", g_addJson, "With --check: as JSON")->needs(checkOpt);
    add->callback([&] {
        if (manual) {
            if (!*channelOpt || !*startOpt || !*durationOpt) {
                Fail("add --manual needs --channel, --start and --duration.");
            }
            if (as == "series") Fail("A manual booking is a viewing or a recording.");
            if (!as.empty()) manualOptions.as = as;
            RunAddManual(manualOptions);
        } else if (*channelOpt) {
            if (!*atOpt || as.empty()) Fail("add --channel needs --at and --as (or --manual).");
            RunAddAt(manualOptions.channel, at, as);
        } else {
            if (!*serviceOpt || as.empty())
                Fail(
                    "add needs --channel and --at, or --service and --event, with --as "
                    "(or --manual).");
            RunAddFromGuide(serviceId, eventId, as);
        }
    });

    CLI::App* list = app.add_subcommand("list", "The bookings");
    std::string kind = "all";
    std::string order = "start";
    bool json = false;
    std::string listAt;
    auto* kindOpt = list->add_option("--kind", kind,
                                     "scheduled-and-failed, in-progress, scheduled, failed or all")
                        ->check(CLI::IsMember(
                            {"scheduled-and-failed", "in-progress", "scheduled", "failed", "all"}))
                        ->capture_default_str();
    list->add_option("--at", listAt, "Only the bookings that start at this time, of every kind")
        ->excludes(kindOpt);
    list->add_option("--order", order, "start, title or channel")
        ->check(CLI::IsMember({"start", "title", "channel"}))
        ->capture_default_str();
    list->add_flag("--json", json, "As a JSON array of records");
    list->callback([&] { RunList(kind, order, listAt, json); });

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

}  // namespace

int main(int argc, char** argv) {
    return CheckOutput(Run(argc, argv));
}
