// The clock, the next start of repeating items and the recording margins.
#include <gtest/gtest.h>

#include <ctime>
#include <string>
#include <tuple>
#include <utility>

#include "ReminderAPIUtil.h"
#include "ReminderLog.h"
#include "TestSupport.h"

namespace {

constexpr unsigned long kDay = 86400;
constexpr unsigned long kWeek = 7 * kDay;

unsigned long At(int year, int month, int day, int hour, int minute, int second = 0) {
    struct tm tm = {};
    tm.tm_year = year - 1900, tm.tm_mon = month - 1, tm.tm_mday = day;
    tm.tm_hour = hour, tm.tm_min = minute, tm.tm_sec = second;
    return static_cast<unsigned long>(timegm(&tm));
}

using U = CReminderAPIUtil;
using reminder::kLogSystem;

void LoadTv(const std::string& json) {
    ASSERT_TRUE(tvsim::LoadProfile(json)) << json;
}

void UseClock(unsigned long utc, long long offset = 0) {
    LoadTv(R"({"now": )" + std::to_string(utc) + R"(, "utc_offset": )" + std::to_string(offset) +
           "}");
}

unsigned long StartAt(unsigned long now, unsigned long item, EReminderRepeatType type,
                      unsigned char mask = 0, bool skipToday = false) {
    UseClock(now);
    return U::GetStartTime(item, type, mask, skipToday);
}

// An item booked long ago for 20:00:00; its own date must never matter.
const unsigned long kItem = At(2014, 3, 10, 20, 0);

}  // namespace

TEST(ReminderCalendar, ClockMonthLengthsDatesAndSecondsAgreeWithTheCalendar) {
    // The television's clock is local time; west of Greenwich the offset is negative and the
    // subtraction wraps in 32 bits.
    const unsigned long utc = At(2015, 1, 7, 19, 0);
    UseClock(utc, 3600);
    EXPECT_EQ(U::GetCurrentTime(), utc + 3600);
    EXPECT_EQ(U::GetUTCTime(utc + 3600), utc);
    UseClock(utc, -3600);
    EXPECT_EQ(U::GetUTCTime(0xFFFFFFFFUL), 3599UL);

    // Full Gregorian leap rule, and the 1970..2099 range.
    const int lastDays[][3] = {
        {2100, 2, -1}, {2000, 2, 29}, {2015, 2, 28}, {2015, 13, -1}, {2015, 4, 30}};
    for (const auto& c : lastDays) EXPECT_EQ(U::m_LastDay(c[0], c[1]), c[2]) << c[0] << "-" << c[1];
    EXPECT_TRUE(testsupport::LoggedOn(kLogSystem, "Invalid value : year[2100], month[2]"));
    // Dates are checked in full-year, 1-based-month form.
    struct tm date = {};
    date.tm_year = 2016, date.tm_mon = 2, date.tm_mday = 29;
    EXPECT_TRUE(U::m_IsValidDate(&date));
    date.tm_year = 2015;
    EXPECT_FALSE(U::m_IsValidDate(&date));
    for (const unsigned long t :
         {At(1970, 1, 1, 0, 0), At(2016, 2, 29, 23, 59, 59), At(2099, 12, 31, 23, 59, 59)}) {
        const time_t tt = static_cast<time_t>(t);
        gmtime_r(&tt, &date);
        EXPECT_EQ(U::m_DateToBinary(&date), t);
    }
}

TEST(ReminderRepeat, NextStartOfOnceEverydayAndChosenDays) {
    const unsigned long wed = At(2015, 1, 7, 20, 0);
    const unsigned long noon = At(2015, 1, 7, 12, 0);
    const auto once = REMINDER_REPEAT_NONE, daily = REMINDER_REPEAT_EVERYDAY;
    const auto manual = REMINDER_REPEAT_MANUAL;
    const unsigned char mon = 0x02, tue = 0x04, onlyWed = 0x08, wedFri = 0x28;  // Sunday is 0x01
    using Row = std::tuple<const char*, unsigned long, unsigned long, EReminderRepeatType,
                           unsigned char, bool, unsigned long>;  // now, item, ..., skip today
    const Row cases[] = {
        // A one-off item gives today's date at its time, seconds included.
        {"once", noon, At(2014, 3, 10, 20, 0, 30), once, 0, false, At(2015, 1, 7, 20, 0, 30)},
        // Every day: today until the time has passed (or is skipped), then tomorrow.
        {"daily, at the time", wed, kItem, daily, 0, false, wed},
        {"daily, a second late", wed + 1, kItem, daily, 0, false, wed + kDay},
        {"daily, skipping today", noon, kItem, daily, 0, true, wed + kDay},
        // Chosen days: today while the time is ahead, else the next chosen day.
        {"Wednesday, ahead", noon, kItem, manual, onlyWed, false, wed},
        {"Wednesday, passed", At(2015, 1, 7, 21, 0), kItem, manual, onlyWed, false, wed + kWeek},
        {"Wednesday, skipped", noon, kItem, manual, onlyWed, true, wed + kWeek},
        // Within the item's own minute but before its second: this minute counts as gone.
        {"own minute", At(2015, 1, 7, 20, 0, 10), At(2014, 3, 10, 20, 0, 30), manual, wedFri, false,
         At(2015, 1, 9, 20, 0, 30)},
        {"next week", noon, kItem, manual, mon, false, wed + 5 * kDay},
        {"next year", At(2015, 12, 30, 21, 0), kItem, manual, tue, false, At(2016, 1, 5, 20, 0)},
        {"no day chosen", noon, kItem, manual, 0, false, 0},
    };
    for (const auto& [name, now, item, type, mask, skipToday, expected] : cases)
        EXPECT_EQ(StartAt(now, item, type, mask, skipToday), expected) << name;
}

TEST(ReminderRepeat, WeekdayRulesOnEveryDayOfTheWeek) {
    // Days to add, by today's weekday (Sunday first), before the time and once it has passed.
    const int monFriBefore[7] = {1, 0, 0, 0, 0, 0, 2};
    const int monFriPassed[7] = {1, 1, 1, 1, 1, 3, 2};
    const int weekendBefore[7] = {0, 5, 4, 3, 2, 1, 0};
    const int weekendSkipped[7] = {6, 5, 4, 3, 2, 1, 1};
    for (int weekday = 0; weekday < 7; ++weekday) {
        SCOPED_TRACE(weekday);
        const int day = 4 + weekday;  // 2015-01-04 is a Sunday
        const unsigned long today = At(2015, 1, day, 20, 0), noon = At(2015, 1, day, 12, 0);
        const auto monFri = REMINDER_REPEAT_MON_FRI, weekend = REMINDER_REPEAT_WEEKEND;
        EXPECT_EQ(StartAt(noon, kItem, monFri), today + kDay * monFriBefore[weekday]);
        EXPECT_EQ(StartAt(noon + 10 * 3600, kItem, monFri), today + kDay * monFriPassed[weekday]);
        EXPECT_EQ(StartAt(noon, kItem, weekend), today + kDay * weekendBefore[weekday]);
        EXPECT_EQ(StartAt(noon, kItem, weekend, 0, true), today + kDay * weekendSkipped[weekday]);
    }
}

TEST(ReminderMargins, SetWritesAndGetReadsThePerCountryMinutes) {
    const std::tuple<int, int, int> cases[] = {{37, 2, 5}, {8, 0, 0}};
    for (const auto& [country, start, end] : cases) {
        SCOPED_TRACE(country);
        LoadTv("{}");
        ASSERT_TRUE(U::SetStartEndMarginTime(country));
        unsigned long startSeconds = 7, endSeconds = 7;
        EXPECT_TRUE(U::GetStartEndMarginTime(startSeconds, endSeconds));
        EXPECT_EQ(startSeconds, start * 60UL);
        EXPECT_EQ(endSeconds, end * 60UL);
    }
    // A failing end write is reported after the start was written.
    LoadTv(R"({"failures": ["vconf_set_int:db/schedule-manager/endmargin"]})");
    EXPECT_FALSE(U::SetStartEndMarginTime(37));
    EXPECT_EQ(tvsim::VconfWrites().size(), 1u);
    EXPECT_TRUE(testsupport::LoggedOn(kLogSystem, "Fail to set start margin time to vconf."));
    // The end read failing leaves the start already written.
    unsigned long start = 7, end = 7;
    LoadTv(R"({"vconf": {"db/schedule-manager/startmargin": 1}})");
    EXPECT_FALSE(U::GetStartEndMarginTime(start, end));
    EXPECT_EQ(start, 60UL);
    EXPECT_EQ(end, 7UL);
    EXPECT_TRUE(testsupport::LoggedOn(kLogSystem, "Fail to get start margin time from vconf."));
    // Back-to-back trimming by country: 1 anywhere, 2 on the same service only; every country
    // that trims has margins.
    const std::pair<int, int> trimming[] = {{4, 1}, {30, 1}, {37, 2}, {0, 0}, {5, 0}, {38, 0}};
    for (const auto& [country, type] : trimming) {
        tvsim::SetSystemSetting(154, country);
        EXPECT_EQ(U::FlagSupportMarginTime(), type != 0) << country;
        EXPECT_EQ(U::GetBackToBackRecordingType(), type) << country;
    }
}
