// The clock, the next start of repeating items and the recording margins.
#include <gtest/gtest.h>

#include <ctime>
#include <string>
#include <utility>

#include "ReminderAPIUtil.h"
#include "ReminderLog.h"
#include "TestSupport.h"
#include "tvsim/tvsim.h"

namespace {

constexpr unsigned long kDay = 86400;
constexpr unsigned long kWeek = 7 * kDay;

unsigned long At(int year, int month, int day, int hour, int minute, int second = 0) {
    struct tm tm = {};
    tm.tm_year = year - 1900;
    tm.tm_mon = month - 1;
    tm.tm_mday = day;
    tm.tm_hour = hour;
    tm.tm_min = minute;
    tm.tm_sec = second;
    return static_cast<unsigned long>(timegm(&tm));
}

void LoadTv(const std::string& json) {
    std::string error;
    ASSERT_TRUE(tvsim::LoadProfile(json, &error)) << error;
}

void UseClock(unsigned long utc, long long offset = 0) {
    LoadTv("{\"now\": " + std::to_string(utc) + ", \"utc_offset\": " + std::to_string(offset) +
           "}");
}

unsigned long StartAt(unsigned long now, unsigned long item, EReminderRepeatType type,
                      unsigned char mask = 0, bool skipToday = false) {
    UseClock(now);
    return CReminderAPIUtil::GetStartTime(item, type, mask, skipToday);
}

unsigned char Days(std::initializer_list<int> weekdays) {
    unsigned char mask = 0;
    for (const int day : weekdays) mask |= static_cast<unsigned char>(1u << day);
    return mask;
}

// An item booked long ago for 20:00:00; its own date must never matter.
const unsigned long kItem = At(2014, 3, 10, 20, 0);

}  // namespace

TEST(ReminderCalendar, MonthLengthAndDateChecks) {
    // Full Gregorian leap rule, and the 1970..2099 range.
    EXPECT_EQ(CReminderAPIUtil::m_LastDay(2100, 2), -1);
    EXPECT_EQ(CReminderAPIUtil::m_LastDay(2000, 2), 29);
    EXPECT_EQ(CReminderAPIUtil::m_LastDay(2015, 2), 28);
    EXPECT_EQ(CReminderAPIUtil::m_LastDay(2015, 13), -1);
    EXPECT_EQ(CReminderAPIUtil::m_LastDay(2015, 4), 30);
    EXPECT_TRUE(
        testsupport::LoggedOn(reminder::kLogSystem, "Invalid value : year[2100], month[2]"));

    // Dates are checked in full-year, 1-based-month form.
    struct tm date = {};
    date.tm_year = 2016;
    date.tm_mon = 2;
    date.tm_mday = 29;
    EXPECT_TRUE(CReminderAPIUtil::m_IsValidDate(&date));
    date.tm_year = 2015;
    EXPECT_FALSE(CReminderAPIUtil::m_IsValidDate(&date));
}

TEST(ReminderCalendar, DateToBinaryAgreesWithTheCalendar) {
    for (const unsigned long t :
         {At(1970, 1, 1, 0, 0), At(2016, 2, 29, 23, 59, 59), At(2099, 12, 31, 23, 59, 59)}) {
        struct tm tm = {};
        const time_t tt = static_cast<time_t>(t);
        gmtime_r(&tt, &tm);
        EXPECT_EQ(CReminderAPIUtil::m_DateToBinary(&tm), t);
    }
}

TEST(ReminderClock, CurrentTimeAndLocalOffset) {
    const unsigned long utc = At(2015, 1, 7, 19, 0);
    UseClock(utc, 3600);
    // The television's clock is local time.
    EXPECT_EQ(CReminderAPIUtil::GetCurrentTime(), utc + 3600);
    EXPECT_TRUE(
        testsupport::Logged("Current time : [1420660800](seconds), [2015-01-07 20:00:00](format)"));
    EXPECT_EQ(CReminderAPIUtil::GetUTCTime(utc + 3600), utc);

    // West of Greenwich the offset is negative; the subtraction wraps in 32 bits.
    UseClock(utc, -3600);
    EXPECT_EQ(CReminderAPIUtil::GetUTCTime(0xFFFFFFFFUL), 3599UL);
}

TEST(ReminderRepeat, OnceAndEverydayUseTodayAtTheItemsTime) {
    const unsigned long wednesday = At(2015, 1, 7, 20, 0);
    // A one-off item gives today's date at its time, seconds included.
    EXPECT_EQ(StartAt(At(2015, 1, 7, 12, 0), At(2014, 3, 10, 20, 0, 30), REMINDER_REPEAT_NONE),
              At(2015, 1, 7, 20, 0, 30));
    // Every day: today until the time has passed (or is skipped), then tomorrow.
    EXPECT_EQ(StartAt(At(2015, 1, 7, 20, 0), kItem, REMINDER_REPEAT_EVERYDAY), wednesday);
    EXPECT_EQ(StartAt(At(2015, 1, 7, 20, 0, 1), kItem, REMINDER_REPEAT_EVERYDAY), wednesday + kDay);
    EXPECT_EQ(StartAt(At(2015, 1, 7, 12, 0), kItem, REMINDER_REPEAT_EVERYDAY, 0, true),
              wednesday + kDay);
}

TEST(ReminderRepeat, WeekdayRulesOnEveryDayOfTheWeek) {
    // Days to add, by today's weekday (Sunday first), before the time and once it has passed.
    const int monFriBefore[7] = {1, 0, 0, 0, 0, 0, 2};
    const int monFriPassed[7] = {1, 1, 1, 1, 1, 3, 2};
    const int weekendBefore[7] = {0, 5, 4, 3, 2, 1, 0};
    const int weekendPassed[7] = {6, 5, 4, 3, 2, 1, 1};
    for (int weekday = 0; weekday < 7; ++weekday) {
        SCOPED_TRACE(weekday);
        const int day = 4 + weekday;  // 2015-01-04 is a Sunday
        const unsigned long today = At(2015, 1, day, 20, 0);
        const unsigned long noon = At(2015, 1, day, 12, 0);
        const unsigned long night = At(2015, 1, day, 22, 0);
        EXPECT_EQ(StartAt(noon, kItem, REMINDER_REPEAT_MON_FRI),
                  today + kDay * monFriBefore[weekday]);
        EXPECT_EQ(StartAt(night, kItem, REMINDER_REPEAT_MON_FRI),
                  today + kDay * monFriPassed[weekday]);
        EXPECT_EQ(StartAt(noon, kItem, REMINDER_REPEAT_WEEKEND),
                  today + kDay * weekendBefore[weekday]);
        EXPECT_EQ(StartAt(noon, kItem, REMINDER_REPEAT_WEEKEND, 0, true),
                  today + kDay * weekendPassed[weekday]);
    }
}

TEST(ReminderRepeat, ManualWeekdayMask) {
    const unsigned long wednesday = At(2015, 1, 7, 20, 0);
    const unsigned char onlyWednesday = Days({3});
    // Today chosen and the time still ahead: today.
    EXPECT_EQ(StartAt(At(2015, 1, 7, 12, 0), kItem, REMINDER_REPEAT_MANUAL, onlyWednesday),
              wednesday);
    // Only today chosen and the time gone (or skipped): the same day next week.
    EXPECT_EQ(StartAt(At(2015, 1, 7, 21, 0), kItem, REMINDER_REPEAT_MANUAL, onlyWednesday),
              wednesday + kWeek);
    EXPECT_EQ(StartAt(At(2015, 1, 7, 12, 0), kItem, REMINDER_REPEAT_MANUAL, onlyWednesday, true),
              wednesday + kWeek);
    // Within the item's own minute but before its second: this minute counts as gone.
    const unsigned long item = At(2014, 3, 10, 20, 0, 30);
    EXPECT_EQ(StartAt(At(2015, 1, 7, 20, 0, 10), item, REMINDER_REPEAT_MANUAL, Days({3, 5})),
              At(2015, 1, 9, 20, 0, 30));
    // The next chosen day may lie in the next week, or the next year.
    EXPECT_EQ(StartAt(At(2015, 1, 7, 12, 0), kItem, REMINDER_REPEAT_MANUAL, Days({1})),
              wednesday + 5 * kDay);
    EXPECT_EQ(StartAt(At(2015, 12, 30, 21, 0), kItem, REMINDER_REPEAT_MANUAL, Days({2})),
              At(2016, 1, 5, 20, 0));
    // No day chosen: no start.
    EXPECT_EQ(StartAt(At(2015, 1, 7, 12, 0), kItem, REMINDER_REPEAT_MANUAL, 0), 0UL);
}

TEST(ReminderMargins, SetWritesThePerCountryMinutes) {
    struct Case {
        int country, start, end;
    };
    for (const Case c : {Case{37, 2, 5}, Case{30, 1, 5}, Case{8, 0, 0}}) {
        SCOPED_TRACE(c.country);
        LoadTv("{}");
        ASSERT_TRUE(CReminderAPIUtil::SetStartEndMarginTime(c.country));
        const auto writes = tvsim::VconfWrites();
        ASSERT_EQ(writes.size(), 2u);
        EXPECT_EQ(writes[0].key, "db/schedule-manager/startmargin");
        EXPECT_EQ(writes[0].value, c.start);
        EXPECT_EQ(writes[1].value, c.end);
    }
    // A failing end write is reported after the start was written.
    LoadTv(R"({"failures": ["vconf_set_int:db/schedule-manager/endmargin"]})");
    EXPECT_FALSE(CReminderAPIUtil::SetStartEndMarginTime(37));
    EXPECT_EQ(tvsim::VconfWrites().size(), 1u);
    EXPECT_TRUE(
        testsupport::LoggedOn(reminder::kLogSystem, "Fail to set start margin time to vconf."));
}

TEST(ReminderMargins, GetReadsMinutesAsSeconds) {
    unsigned long start = 7;
    unsigned long end = 7;
    LoadTv(
        R"({"vconf": {"db/schedule-manager/startmargin": 2, "db/schedule-manager/endmargin": 5}})");
    EXPECT_TRUE(CReminderAPIUtil::GetStartEndMarginTime(start, end));
    EXPECT_EQ(start, 120UL);
    EXPECT_EQ(end, 300UL);

    // The end read failing leaves the start already written.
    start = end = 7;
    LoadTv(R"({"vconf": {"db/schedule-manager/startmargin": 1}})");
    EXPECT_FALSE(CReminderAPIUtil::GetStartEndMarginTime(start, end));
    EXPECT_EQ(start, 60UL);
    EXPECT_EQ(end, 7UL);
    EXPECT_TRUE(
        testsupport::LoggedOn(reminder::kLogSystem, "Fail to get start margin time from vconf."));
}

TEST(ReminderMargins, CountryRules) {
    LoadTv("{}");
    // Back-to-back trimming by country: 1 anywhere, 2 on the same service only; every country
    // that trims has margins.
    const std::pair<int, int> cases[] = {{4, 1},  {8, 1},  {10, 1}, {14, 1}, {21, 1},
                                         {26, 1}, {27, 1}, {28, 1}, {30, 1}, {37, 2},
                                         {0, 0},  {5, 0},  {38, 0}};
    for (const auto& [country, type] : cases) {
        tvsim::SetSystemSetting(154, country);
        EXPECT_EQ(CReminderAPIUtil::FlagSupportMarginTime(), type != 0) << country;
        EXPECT_EQ(CReminderAPIUtil::GetBackToBackRecordingType(), type) << country;
    }
}
