// CReminderAPIUtil: the clock, repeat schedule, margins, device probes and channel lookup.
// Programme monitoring lives in ReminderAPIUtilMonitor.cpp, channel tuning in
// ReminderAPIUtilTune.cpp.
#include "ReminderAPIUtil.h"

#include <iconv.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <list>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "CTimeUtil.h"
#include "ReminderAPI.h"
#include "ReminderLog.h"
#include "TVServiceAPI.h"
#include "aul.h"
#include "avoc.h"
#include "device/power.h"
#include "svc_pvr.h"
#include "system_info.h"
#include "system_settings.h"
#include "vconf.h"

namespace {

constexpr uint32_t kOneDay = 86400;
constexpr uint32_t kOneWeek = 604800;

constexpr int kFirstYear = 1970;
constexpr int kLastYear = 2099;

constexpr const char* kStartMarginKey = "db/schedule-manager/startmargin";
constexpr const char* kEndMarginKey = "db/schedule-manager/endmargin";

constexpr int kCountry30 = 30;
constexpr int kCountry37 = 37;

constexpr int kMaxItemCount = 30;
constexpr long long kNoMajor = 65535;

// The middleware's profile and index for every interface the library creates.
constexpr int kServiceProfile = 1;
constexpr int kServiceIndex = 0;

// Seconds are unsigned 32-bit everywhere, even where `unsigned long` is wider.
uint32_t Seconds(unsigned long t) {
    return static_cast<uint32_t>(t);
}

bool IsMarginCountry(int country) {
    switch (country) {
        case 4:
        case 8:
        case 10:
        case 14:
        case 21:
        case 26:
        case 27:
        case 28:
        case 30:
        case 37:
            return true;
        default:
            return false;
    }
}

bool IsLeapYear(int year) {
    if (year % 400 == 0) return true;
    if (year % 4 != 0) return false;
    return year % 100 != 0;
}

// The date checks want a full year and a 1-based month.
void ToCalendarForm(struct tm& tm) {
    tm.tm_year += 1900;
    tm.tm_mon += 1;
}

bool HasWeekday(unsigned char mask, int weekday) {
    return (mask & (1u << weekday)) != 0;
}

// Minutes before the time of day of the item: the occurrence of this very minute counts as gone.
bool IsBeforeTimeOfDay(const struct tm& now, const struct tm& item) {
    if (now.tm_hour < item.tm_hour) return true;
    return now.tm_hour == item.tm_hour && now.tm_min < item.tm_min;
}

bool ReadVconfInt(const char* key, int& value) {
    return vconf_get_int(key, &value) == VCONF_OK;
}

struct IconvCloser {
    void operator()(void* cd) const { iconv_close(static_cast<iconv_t>(cd)); }
};
using IconvHandle = std::unique_ptr<void, IconvCloser>;

}  // namespace

// --- Clock and repeat schedule ---

unsigned long CReminderAPIUtil::GetCurrentTime() {
    const uint32_t now = Seconds(CTimeUtil::GetCurrentTime());
    struct tm tm = {};
    ConvertTime(now, tm);
    char text[50] = {};
    std::strftime(text, sizeof(text), "%F %T", &tm);
    REMINDER_LOG("Current time : [%lu](seconds), [%s](format)", static_cast<unsigned long>(now),
                 text);
    return now;
}

unsigned long CReminderAPIUtil::ConvertTime(struct tm& tm) {
    REMINDER_ENTRY();
    return Seconds(CTimeUtil::Unsigned_timegm(&tm));
}

void CReminderAPIUtil::ConvertTime(unsigned long t, struct tm& tm) {
    REMINDER_ENTRY();
    CTimeUtil::Unsigned_gmtime_r(Seconds(t), &tm);
}

unsigned long CReminderAPIUtil::GetLocalTime(unsigned long utc) {
    return Seconds(CTimeUtil::ConvertToLocalTime(Seconds(utc)));
}

unsigned long CReminderAPIUtil::GetUTCTime(unsigned long local) {
    // The middleware only offers utc -> local; its offset is what it adds to zero.
    const uint32_t offset = Seconds(CTimeUtil::ConvertToLocalTime(0));
    return Seconds(local) - offset;
}

int CReminderAPIUtil::m_GetTimeInfo(unsigned long t) {
    struct tm tm = {};
    ConvertTime(t, tm);
    return tm.tm_sec + 60 * tm.tm_min + 3600 * tm.tm_hour;
}

unsigned long CReminderAPIUtil::m_DateToBinary(struct tm* tm) {
    static const uint32_t kDaysBeforeMonth[12] = {0,   31,  59,  90,  120, 151,
                                                  181, 212, 243, 273, 304, 334};
    if (tm == nullptr || tm->tm_mon < 0 || tm->tm_mon > 11) return 0;
    // Plain divisible-by-4 leap rule: exact over 1970..2099.
    uint32_t days = static_cast<uint32_t>(tm->tm_mday - 1) + kDaysBeforeMonth[tm->tm_mon] +
                    365u * static_cast<uint32_t>(tm->tm_year - 70) +
                    static_cast<uint32_t>((tm->tm_year - 69) / 4);
    if (tm->tm_mon >= 2 && tm->tm_year % 4 == 0) ++days;
    return static_cast<uint32_t>(tm->tm_sec) + 60u * static_cast<uint32_t>(tm->tm_min) +
           3600u * (24u * days + static_cast<uint32_t>(tm->tm_hour));
}

int CReminderAPIUtil::m_LastDay(int year, int month) {
    if (year < kFirstYear || year > kLastYear || month < 1 || month > 12) {
        REMINDER_ERR("Invalid value : year[%d], month[%d]", year, month);
        return -1;
    }
    switch (month) {
        case 2:
            return IsLeapYear(year) ? 29 : 28;
        case 4:
        case 6:
        case 9:
        case 11:
            return 30;
        default:
            return 31;
    }
}

bool CReminderAPIUtil::m_IsValidDate(struct tm* tm) {
    if (tm->tm_year < kFirstYear || tm->tm_year > kLastYear) {
        REMINDER_ERR("Invalid nYear[%d]", tm->tm_year);
        return false;
    }
    if (tm->tm_mon < 1 || tm->tm_mon > 12) {
        REMINDER_ERR("Invalid nMonth[%d]", tm->tm_mon);
        return false;
    }
    if (tm->tm_mday < 1 || tm->tm_mday > m_LastDay(tm->tm_year, tm->tm_mon)) {
        REMINDER_ERR("Invalid range of day[%d]", tm->tm_mday);
        return false;
    }
    return true;
}

unsigned long CReminderAPIUtil::m_CalculateManualScheduleOffset(struct tm* datatime,
                                                                struct tm* time, int week,
                                                                unsigned char inputDay) {
    if (datatime == nullptr || time == nullptr || week < 0 || week > 6) {
        REMINDER_ERR("datatime or time is NULL or Invalid range of week[%d]", week);
        return 0;
    }
    if (!m_IsValidDate(datatime) || !m_IsValidDate(time)) {
        REMINDER_ERR("IsValidDate returns false");
        return 0;
    }
    if (week != datatime->tm_wday) {
        REMINDER_ERR("week and GetWeekday(*datatime) is mismatch");
        return 0;
    }
    if (inputDay == 0) {
        REMINDER_ERR("inputDay is 0");
        return 0;
    }
    if (HasWeekday(inputDay, week) && IsBeforeTimeOfDay(*datatime, *time)) return 0;

    for (int day = week + 1; day <= 6; ++day) {
        if (HasWeekday(inputDay, day)) return std::min(kOneDay * (day - week), kOneWeek);
    }
    if (week == 0) return kOneWeek;
    for (int day = 0; day < week; ++day) {
        if (HasWeekday(inputDay, day)) return std::min(kOneDay * (7 - week + day), kOneWeek);
    }
    return kOneWeek;
}

unsigned long CReminderAPIUtil::GetStartTime(unsigned long start, EReminderRepeatType type,
                                             unsigned char weekdays, bool skipToday) {
    REMINDER_ENTRY();
    struct tm itemTm = {};
    ConvertTime(start, itemTm);
    const uint32_t now = Seconds(GetCurrentTime());
    struct tm nowTm = {};
    nowTm.tm_wday = -1;  // stays -1 when the clock cannot be broken down
    ConvertTime(now, nowTm);

    struct tm todayTm = itemTm;
    todayTm.tm_mday = nowTm.tm_mday;
    todayTm.tm_mon = nowTm.tm_mon;
    todayTm.tm_year = nowTm.tm_year;
    todayTm.tm_wday = nowTm.tm_wday;
    const uint32_t today = Seconds(ConvertTime(todayTm));
    // The conversion may normalise the fields it was given; keep the weekday it was built with.
    todayTm.tm_wday = nowTm.tm_wday;
    ToCalendarForm(nowTm);
    ToCalendarForm(todayTm);
    const int weekday = nowTm.tm_wday;
    if (weekday == -1) {
        REMINDER_ERR("Error - System Time is invalid !!!!");
        return 0;
    }

    const bool passed = skipToday || now > today;
    switch (type) {
        case REMINDER_REPEAT_EVERYDAY:
            return passed ? today + kOneDay : today;
        case REMINDER_REPEAT_MON_FRI:
            if (weekday == 0) return today + kOneDay;
            if (weekday == 6) return today + 2 * kOneDay;
            if (weekday == 5) return passed ? today + 3 * kOneDay : today;
            return passed ? today + kOneDay : today;
        case REMINDER_REPEAT_WEEKEND:
            if (weekday == 0) return passed ? today + 6 * kOneDay : today;
            if (weekday == 6) return passed ? today + kOneDay : today;
            return today + kOneDay * static_cast<uint32_t>(6 - weekday);
        case REMINDER_REPEAT_MANUAL: {
            if (weekdays == 0) return 0;
            // Once today's occurrence is gone, comparing the item's time with itself makes
            // today never match, so the next chosen day is found.
            struct tm* reference = passed ? &todayTm : &nowTm;
            return today +
                   Seconds(m_CalculateManualScheduleOffset(reference, &todayTm, weekday, weekdays));
        }
        default:
            return today;
    }
}

unsigned long CReminderAPIUtil::GetTimeMargin() {
    REMINDER_ENTRY();
    return 0;
}

bool CReminderAPIUtil::GetStartEndMarginTime(unsigned long& start, unsigned long& end) {
    REMINDER_ENTRY();
    int minutes = 0;
    if (!ReadVconfInt(kStartMarginKey, minutes)) {
        REMINDER_ERR("Fail to get start margin time from vconf.");
        return false;
    }
    start = Seconds(static_cast<unsigned long>(minutes) * 60);
    if (!ReadVconfInt(kEndMarginKey, minutes)) {
        REMINDER_ERR("Fail to get start margin time from vconf.");
        return false;
    }
    end = Seconds(static_cast<unsigned long>(minutes) * 60);
    return true;
}

bool CReminderAPIUtil::SetStartEndMarginTime(int country) {
    REMINDER_ENTRY();
    const int startMinutes = country == kCountry37 ? 2 : country == kCountry30 ? 1 : 0;
    const int endMinutes = (country == kCountry37 || country == kCountry30) ? 5 : 0;
    if (vconf_set_int(kStartMarginKey, startMinutes) != VCONF_OK) {
        REMINDER_ERR("Fail to set start margin time to vconf.");
        return false;
    }
    if (vconf_set_int(kEndMarginKey, endMinutes) != VCONF_OK) {
        REMINDER_ERR("Fail to set start margin time to vconf.");
        return false;
    }
    return true;
}

bool CReminderAPIUtil::FlagSupportMarginTime() {
    return IsMarginCountry(GetCountry());
}

int CReminderAPIUtil::GetBackToBackRecordingType() {
    const int country = GetCountry();
    int type = 0;
    if (country == kCountry37) {
        type = 2;
    } else if (IsMarginCountry(country)) {
        type = 1;
    }
    REMINDER_LOG("BackToBackRecordingType : [%d]", type);
    return type;
}

// --- Device and application state ---

int CReminderAPIUtil::GetCountry() {
    REMINDER_ENTRY();
    int country = 0;
    if (system_settings_get_value_int(SYSTEM_SETTINGS_KEY_COUNTRY, &country) !=
        SYSTEM_SETTINGS_ERROR_NONE) {
        REMINDER_ERR("Failed to get Country.");
        return 0;
    }
    REMINDER_LOG("Get country : [%d]", country);
    return country;
}

bool CReminderAPIUtil::FlagAppRunning(const std::string& appId) {
    if (aul_app_is_running(appId.c_str()) == 0) return false;
    REMINDER_ERR("[%s] is running.", appId.c_str());
    return true;
}

bool CReminderAPIUtil::FlagMBRRunning() {
    constexpr int kMBRRunning = 2;
    int state = 0;
    if (!ReadVconfInt("db/mbr/MBRState", state)) {
        REMINDER_ERR("Fail to get MBR status from vconf.");
        return false;
    }
    if (state != kMBRRunning) return false;
    REMINDER_LOG("MBR is running.");
    return true;
}

bool CReminderAPIUtil::FlagTTSAvailable() {
    int enabled = 0;
    if (vconf_get_bool("db/setting/accessibility/tts", &enabled) != VCONF_OK) {
        REMINDER_ERR("Fail to get ttx status from vconf.");
        return false;
    }
    return enabled != 0;
}

bool CReminderAPIUtil::FlagTandemRunning() {
    int state = 0;
    if (!ReadVconfInt("memory/tandem/state", state)) {
        REMINDER_ERR("Fail to get Tandem status from vconf.");
        return false;
    }
    return state > 0;
}

bool CReminderAPIUtil::FlagPCModeRunning() {
    REMINDER_ENTRY();
    int mode = 0;
    if (avoc_get_pc_mode(0, &mode) != 0) {
        REMINDER_LOG("avoc_get_pc_mode get failed.");
        return false;
    }
    REMINDER_LOG("nPcMode = %d", mode);
    if (mode < 1) return false;
    REMINDER_ERR("pc mode return true");
    return true;
}

bool CReminderAPIUtil::FlagSelfTestRunning() {
    int running = 0;
    if (!ReadVconfInt("db/menu/support/running_self_test_app", running) || running < 1) {
        return false;
    }
    REMINDER_ERR("Self Test is running.");
    return true;
}

bool CReminderAPIUtil::FlagZiggoVODRunning() {
    int running = 0;
    if (!ReadVconfInt("memory/org.tizen.ug-mheg/running-ziggo-vod", running) || running < 1) {
        return false;
    }
    REMINDER_ERR("Ziggo VOD is running.");
    return true;
}

int CReminderAPIUtil::GetAntennaMode(EChannelType channelType) {
    REMINDER_ENTRY();
    switch (channelType) {
        case REMINDER_CHANNEL_TYPE_ATV:
        case REMINDER_CHANNEL_TYPE_DTV:
            return 0;
        case REMINDER_CHANNEL_TYPE_CATV:
        case REMINDER_CHANNEL_TYPE_CDTV:
            return 1;
        case REMINDER_CHANNEL_TYPE_SDTV:
            return 2;
        default:
            return -1;
    }
}

bool CReminderAPIUtil::FlagSupportCRID() {
    REMINDER_ENTRY();
    bool supported = false;
    ISOSpecApp* spec = nullptr;
    if (!TVServiceAPI::CreateSOSpecApp(kServiceProfile, kServiceIndex, &spec) || spec == nullptr) {
        REMINDER_ERR("TVServiceAPI::CreateSOSpecApp failed");
    } else {
        int value = 0;
        if (spec->GetValue(SOSPEC_TAG_CRID, value) == 1) {
            REMINDER_LOG("SOSPEC_TAG_CRID : [%s]", value != 0 ? "TRUE" : "FALSE");
        }
        supported = value != 0;
    }
    REMINDER_LOG("bSupportCRID : [%d]", supported);
    return supported;
}

bool CReminderAPIUtil::FlagSupportRecordingSpec() {
    REMINDER_ENTRY();
    int supported = 0;
    if (system_info_get_value_int(SYSTEM_INFO_KEY_PVR_SUPPORTED, &supported) !=
        SYSTEM_INFO_ERROR_NONE) {
        REMINDER_ERR("Get PVR Support failed");
        return false;
    }
    REMINDER_LOG("PVR Support : [%d]", supported);
    return supported != 0;
}

bool CReminderAPIUtil::FlagRecording(unsigned long long serviceId) {
    REMINDER_ENTRY();
    int status = 0;
    const int result = svc_pvr_is_recording(serviceId, &status);
    if (result != 0) {
        REMINDER_ERR("Call svc_pvr_is_recording() failed, nRet : [%d]", result);
        return false;
    }
    REMINDER_LOG("ServiceId : [%llu], Recording status : [%d]", serviceId, status);
    return status == 1;
}

bool CReminderAPIUtil::FlagRecordingSpaceAvailable(unsigned long duration, bool flag) {
    REMINDER_ENTRY();
    unsigned long remainingTime = 0;
    // A failed query never blocks a recording: space is assumed.
    if (svc_pvr_get_remaining_time(flag ? 0 : 1, &remainingTime) != 0) {
        REMINDER_LOG("Recording space checking failed.");
        return true;
    }
    if (remainingTime >= duration) {
        REMINDER_LOG("Enough capacity for recording: remainingTime [%lu], duration [%lu].",
                     remainingTime, duration);
        return true;
    }
    REMINDER_LOG(
        "Not enough capacity to complete scheduled record: remainingTime [%lu], duration [%lu].",
        remainingTime, duration);
    return false;
}

bool CReminderAPIUtil::FlagSupportRecordingSpaceChecking() {
    REMINDER_ENTRY();
    constexpr int kSpaceCheckingSubMode = 12;
    IServiceNavigation* navigation = nullptr;
    if (!TVServiceAPI::CreateServiceNavigation(kServiceProfile, kServiceIndex, &navigation) ||
        navigation == nullptr) {
        REMINDER_LOG("Create Service Navigation failed.");
        return false;
    }
    TSTvMode mode;
    return navigation->GetTvMode(mode) == 1 && mode.nSubMode == kSpaceCheckingSubMode;
}

int CReminderAPIUtil::GetCurrentSource() {
    ISourceControl* control = nullptr;
    if (!TVServiceAPI::CreateSourceControl(kServiceProfile, kServiceIndex, &control) ||
        control == nullptr) {
        return -1;
    }
    int source = -1;
    control->GetCurrentSource(source);
    REMINDER_LOG("Current source: [%d]", source);
    return source;
}

int CReminderAPIUtil::GetMaxItemCnt() {
    return kMaxItemCount;
}

void CReminderAPIUtil::m_SwitchPowerStateFromPictureOffToNormal() {
    const int state = device_power_get_state();
    if (state < 0) REMINDER_ERR("device_power_get_state is failed : %d", state);
    REMINDER_ERR("device_power_get_state return %d", state);
    if (state != POWER_STATE_PICTUREOFF) return;
    const int result = device_power_set_state(POWER_STATE_NORMAL);
    REMINDER_ERR("POWER_STATE_PICTUREOFF, set to POWER_STATE_NORMAL, %d", result);
}

bool CReminderAPIUtil::FlagAppExist(const std::string& appId) {
    const std::string command = "ls /usr/apps/ | grep " + appId;
    const int status = std::system(command.c_str());
    REMINDER_LOG("[%s] : [%d]", appId.c_str(), status);
    return status == 0;
}

std::string CReminderAPIUtil::UnicodeToUTF8(unsigned int length, unsigned short* text) {
    REMINDER_ENTRY();
    // Big-endian bytes whatever the host's byte order, to match the converter's source form.
    std::vector<char> input(2 * static_cast<size_t>(length));
    for (unsigned int i = 0; i < length && text != nullptr; ++i) {
        input[2 * i] = static_cast<char>((text[i] >> 8) & 0xFF);
        input[2 * i + 1] = static_cast<char>(text[i] & 0xFF);
    }
    const iconv_t cd = iconv_open("UTF-8", "UTF-16BE");
    if (cd == reinterpret_cast<iconv_t>(-1)) {
        REMINDER_ERR("Iconv open failed");
        return std::string();
    }
    const IconvHandle converter(cd);
    // Room for a terminating zero even when every unit takes the most bytes.
    std::vector<char> output(4 * static_cast<size_t>(length) + 1, '\0');
    char* in = input.data();
    size_t inLeft = input.size();
    char* out = output.data();
    size_t outLeft = output.size() - 1;
    if (iconv(cd, &in, &inLeft, &out, &outLeft) == static_cast<size_t>(-1)) {
        REMINDER_ERR("Iconv excute failed : [%d]", errno);
    }
    return std::string(output.data());
}

std::string CReminderAPIUtil::LowerCase(const std::string& text) {
    std::string lower(text);
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lower;
}

int CReminderAPIUtil::CompareStrIgnoringCase(const std::string& a, const std::string& b) {
    const std::string lowerA = LowerCase(a);
    const std::string lowerB = LowerCase(b);
    const size_t common = std::min(lowerA.size(), lowerB.size());
    for (size_t i = 0; i < common; ++i) {
        const int byteA = static_cast<unsigned char>(lowerA[i]);
        const int byteB = static_cast<unsigned char>(lowerB[i]);
        if (byteA != byteB) return byteA - byteB;
    }
    return static_cast<int>(lowerA.size()) - static_cast<int>(lowerB.size());
}

bool CReminderAPIUtil::GetTextForTimerRecordingErrorByTimeChange(unsigned short error,
                                                                 std::string& text) {
    return CReminderAPI::GetInstance()->GetTextForTimerRecordingErrorByTimeChange(error, text);
}

// --- Channels and guide ---

bool CReminderAPIUtil::FindChannel(const TCCriteriaHelper& criteria, TCServiceData& service) {
    IService* services = nullptr;
    if (!TVServiceAPI::CreateService(kServiceProfile, kServiceIndex, &services) ||
        services == nullptr) {
        REMINDER_ERR("TVServiceAPI::CreateService failed");
        return false;
    }
    if (services->FindService(criteria, service) != 1) {
        REMINDER_ERR("FindService failed");
        return false;
    }
    return true;
}

bool CReminderAPIUtil::FindChannel(const CRemindInfo& item, TCServiceData& service) {
    TCCriteriaHelper criteria;
    for (const int key : {SERVICE_ATTR_SERVICE_ID, SERVICE_ATTR_MAJOR, SERVICE_ATTR_MINOR,
                          SERVICE_ATTR_CHANNEL_TYPE, SERVICE_ATTR_PTC, SERVICE_ATTR_PROGRAM_NUMBER,
                          SERVICE_ATTR_TRANSPORT_STREAM_ID, SERVICE_ATTR_FREQUENCY}) {
        criteria.Fetch(key);
    }
    criteria.Where(SERVICE_ATTR_SERVICE_ID, static_cast<long long>(item.m_nServiceId));
    return FindChannel(criteria, service);
}

std::string CReminderAPIUtil::ProgramToString(const TCProgramData& program) {
    TCCriteriaHelper criteria;
    criteria.Fetch(SERVICE_ATTR_MAJOR);
    criteria.Where(SERVICE_ATTR_SERVICE_ID, static_cast<long long>(program.ServiceId()));
    TCServiceData service;
    if (!FindChannel(criteria, service)) {
        REMINDER_ERR("Find Service Failed.");
        return std::string();
    }
    std::string programCrid;
    program.GetProgramCRID(programCrid);
    std::list<std::string> seriesCrids;
    program.GetCRIDs(seriesCrids, CRID_TYPE_SERIES);
    long long major = kNoMajor;
    service.FindAttribute(SERVICE_ATTR_MAJOR, major);

    std::ostringstream text;
    text << "program [EventId=" << program.EventId() << ", ProgramCrid='" << programCrid
         << "', SeriesCrid=";
    for (auto it = seriesCrids.begin(); it != seriesCrids.end(); ++it) {
        if (it != seriesCrids.begin()) text << ", ";
        text << "'" << *it << "'";
    }
    text << " StartTime=" << program.StartTime() << ", Major=" << major << "]";
    return text.str();
}
