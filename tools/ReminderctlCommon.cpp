#include "ReminderctlCommon.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>

#include "ReminderAPI.h"
#include "ReminderAPIUtil.h"

namespace reminderctl {

void Fail(const std::string& message) {
    std::cerr << "reminderctl: " << message << "\n";
    throw CLI::RuntimeError(kExitFailed);
}

// --- Times ---

std::string FormatLocal(unsigned long local) {
    const time_t t = static_cast<time_t>(local);
    struct tm tm {};
    gmtime_r(&t, &tm);
    char buffer[32];
    std::strftime(buffer, sizeof(buffer), "%Y-%m-%d %H:%M", &tm);
    return buffer;
}

std::string FormatOffset(long seconds) {
    const long magnitude = std::labs(seconds);
    char buffer[48];
    std::snprintf(buffer, sizeof(buffer), "%c%02ld:%02ld", seconds < 0 ? '-' : '+',
                  magnitude / 3600, magnitude / 60 % 60);
    return buffer;
}

long OffsetAtLocal(unsigned long local) {
    return static_cast<long>(local) - static_cast<long>(CReminderAPIUtil::GetUTCTime(local));
}

std::string FormatLocalWithOffset(unsigned long local) {
    return FormatLocal(local) + " " + FormatOffset(OffsetAtLocal(local));
}

namespace {
bool IsDigit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}
}  // namespace

const char* const kTimeForms =
    "YYYY-MM-DDTHH:MM[:SS] followed by Z, +HH:MM or nothing (the television's clock), "
    "or UTC seconds";

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

SParsedTime ParseTimeOrFail(const std::string& text, const std::string& what) {
    const auto parsed = ParseTime(text);
    if (!parsed) Fail("Cannot read " + what + " '" + text + "': give " + kTimeForms + ".");
    return *parsed;
}

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

long long Attribute(const TCServiceData& channel, int key, long long fallback) {
    long long value = fallback;
    channel.FindAttribute(key, value);
    return value;
}

std::string ChannelName(unsigned long long serviceId) {
    std::vector<unsigned short> name;
    if (!TCServiceDataUtility::GetServiceName(serviceId, name, true) || name.empty()) return "";
    return CReminderAPIUtil::UnicodeToUTF8(static_cast<unsigned int>(name.size()), name.data());
}

std::string ChannelNumber(const TCServiceData& channel) {
    return std::to_string(Attribute(channel, SERVICE_ATTR_MAJOR)) + "." +
           std::to_string(Attribute(channel, SERVICE_ATTR_MINOR));
}

IServiceGuide* Guide() {
    IServiceGuide* guide = nullptr;
    if (!TVServiceAPI::CreateServiceGuide(1, 0, &guide) || guide == nullptr) {
        Fail("The television has no programme guide.");
    }
    return guide;
}

SChannelRef ParseChannelOrFail(const std::string& text) {
    SChannelRef ref;
    ref.text = text;
    const size_t dot = text.find('.');
    const std::string major = text.substr(0, dot);
    const std::string minor = dot == std::string::npos ? "" : text.substr(dot + 1);
    const auto isNumber = [](const std::string& s) {
        return !s.empty() && s.size() <= 5 && std::all_of(s.begin(), s.end(), IsDigit);
    };
    if (!isNumber(major) || (dot != std::string::npos && !isNumber(minor))) {
        Fail("Cannot read channel '" + text +
             "': give MAJOR or MAJOR.MINOR as the guide prints them, e.g. 6 or 6.1.");
    }
    ref.major = static_cast<unsigned int>(std::stoul(major));
    if (dot != std::string::npos) ref.minor = static_cast<unsigned int>(std::stoul(minor));
    return ref;
}

bool Matches(const SChannelRef& ref, const TCServiceData& channel) {
    return Attribute(channel, SERVICE_ATTR_MAJOR) == ref.major &&
           (!ref.minor || Attribute(channel, SERVICE_ATTR_MINOR) == *ref.minor);
}

TCServiceData FindChannelOrFail(const SChannelRef& ref) {
    std::vector<TCServiceData> found;
    for (const TCServiceData& channel : Channels()) {
        if (Matches(ref, channel)) found.push_back(channel);
    }
    if (found.empty()) {
        Fail("The television has no channel " + ref.text + " (reminderctl guide lists them).");
    }
    if (found.size() > 1) {
        std::string numbers;
        for (const TCServiceData& channel : found) {
            numbers += (numbers.empty() ? "" : ", ") + ChannelNumber(channel);
        }
        Fail("Channel " + ref.text + " is ambiguous: give one of " + numbers + ".");
    }
    return found.front();
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

// --- The store ---

namespace {
std::string g_databasePath;

// What a person can do about an SQLite result code (primary code, the low byte).
std::string StoreAdvice(int code) {
    switch (code & 0xFF) {
        case 5:  // SQLITE_BUSY
        case 6:  // SQLITE_LOCKED
            return "it is busy: another process holds it. Try again when that process is done.";
        case 8:  // SQLITE_READONLY
            return "it is read-only. Check the file's permissions.";
        case 10:  // SQLITE_IOERR
        case 13:  // SQLITE_FULL
            return "the disk failed or is full. Free some space and try again.";
        case 11:  // SQLITE_CORRUPT
        case 26:  // SQLITE_NOTADB
            return "it is not a booking database or is damaged. Check --db, or move the file "
                   "away to start an empty list.";
        case 14:  // SQLITE_CANTOPEN
            return "it cannot be opened. Check the path and its permissions.";
        default:
            return "the store failed.";
    }
}
}  // namespace

const std::string& DatabasePath() {
    return g_databasePath;
}
void SetDatabasePath(const std::string& path) {
    g_databasePath = path;
}

void CheckStore() {
    const int code = CReminderAPI::LastStoreError();
    if (code == 0) return;
    Fail("Cannot use the booking database " + g_databasePath + ": " + StoreAdvice(code) +
         " (SQLite result " + std::to_string(code) + ")");
}

// --- Output ---

size_t DisplayWidth(const std::string& text) {
    // Continuation bytes of UTF-8 take no column of their own.
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    }));
}

CTable::CTable(std::vector<std::string> header) {
    m_rows.push_back(std::move(header));
}

void CTable::Add(std::vector<std::string> row) {
    m_rows.push_back(std::move(row));
}

void CTable::Print() const {
    std::vector<size_t> widths;
    for (const auto& row : m_rows) {
        if (widths.size() < row.size()) widths.resize(row.size(), 0);
        for (size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], DisplayWidth(row[i]));
        }
    }
    for (const auto& row : m_rows) {
        std::string line;
        for (size_t i = 0; i < row.size(); ++i) {
            line += row[i];
            if (i + 1 < row.size()) line += std::string(widths[i] - DisplayWidth(row[i]) + 2, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        std::printf("%s\n", line.c_str());
    }
}

}  // namespace reminderctl
