// Whether two bookings occupy the same time: plain overlap, the time of day of repeating items,
// the repeat-rule table, and the order of programmes.
#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "ReminderAPIUtil.h"
#include "TestSupport.h"

namespace {

constexpr uint32_t kDay = 86400, kHour = 3600;
// Monday 2026-11-23 00:00, in the television's local clock as items keep it.
constexpr uint32_t kMonday = 1795392000u;

constexpr auto kOnce = REMINDER_REPEAT_NONE, kDaily = REMINDER_REPEAT_EVERYDAY;
constexpr auto kMonFri = REMINDER_REPEAT_MON_FRI, kWeekend = REMINDER_REPEAT_WEEKEND;
constexpr auto kManual = REMINDER_REPEAT_MANUAL;

uint32_t At(int day, uint32_t hour, uint32_t minute = 0) {
    return kMonday + static_cast<uint32_t>(day) * kDay + hour * kHour + minute * 60;
}

CRemindInfo Rec(uint32_t start, EReminderRepeatType repeat = kOnce, unsigned char days = 0,
                uint32_t duration = kHour, EReserveType type = REMINDER_RESERVE_RECORDING) {
    CRemindInfo item;
    item.m_nReserveType = type;
    item.m_nEventTime = start;
    item.m_nDuration = duration;
    item.m_nRepeatType = repeat;
    item.m_cManualRepeat = days;
    item.m_nManual = repeat == kOnce ? 0 : 1;
    return item;
}

CRemindInfo View(uint32_t start, EReminderRepeatType repeat = kOnce, unsigned char days = 0) {
    return Rec(start, repeat, days, kHour, REMINDER_RESERVE_VIEWING);
}

// A recording with a time margin (taken off its start) and an end margin.
CRemindInfo Margins(CRemindInfo item, uint32_t timeMargin, uint32_t endMargin) {
    item.m_nTimeMargin = timeMargin;
    item.m_nEndMarginTime = endMargin;
    return item;
}

class DuplicateTest : public ::testing::Test {
protected:
    void SetUp() override { testsupport::LoadSampleTelevision(); }
};

TEST_F(DuplicateTest, RangeOverlapHasExclusiveEndsButEqualStartsAlwaysMeet) {
    EXPECT_TRUE(CReminderAPIUtil::m_CheckDupTime(100, 200, 150, 250));
    EXPECT_TRUE(CReminderAPIUtil::m_CheckDupTime(150, 250, 100, 200));
    EXPECT_FALSE(CReminderAPIUtil::m_CheckDupTime(100, 200, 200, 300));
    EXPECT_FALSE(CReminderAPIUtil::m_CheckDupTime(200, 300, 100, 200));
    EXPECT_TRUE(CReminderAPIUtil::m_CheckDupTime(100, 100, 100, 100));
    EXPECT_FALSE(CReminderAPIUtil::m_CheckDupTime(100, 100, 160, 160));
}

TEST_F(DuplicateTest, RepeatTableRowByRow) {
    const auto r5 = static_cast<EReminderRepeatType>(5);
    const auto negative = static_cast<EReminderRepeatType>(-1);
    const uint32_t tue = 0x04, wed = 0x08, sat = 0x40, sun = 0x01;
    // One cell per row: the list item's rule, days and start, the compared item's, each an hour
    // long, and the answer.
    using Row = std::tuple<const char*, EReminderRepeatType, unsigned char, uint32_t,
                           EReminderRepeatType, unsigned char, uint32_t, bool>;
    const Row cases[] = {
        // A one-off candidate.
        {"once/once same day", kOnce, 0, At(0, 20), kOnce, 0, At(0, 20, 30), true},
        {"once/once a week later", kOnce, 0, At(0, 20), kOnce, 0, At(7, 20), false},
        {"once/once a week earlier", kOnce, 0, At(0, 20), kOnce, 0, At(-7, 20), false},
        {"once/once across midnight", kOnce, 0, At(0, 23, 30), kOnce, 0, At(1, 0), false},
        {"daily/once later", kDaily, 0, At(0, 20), kOnce, 0, At(3, 20), true},
        {"daily/once before", kDaily, 0, At(3, 20), kOnce, 0, At(0, 20), false},
        {"daily/once ends at its start", kDaily, 0, At(0, 21), kOnce, 0, At(0, 20), true},
        {"mon-fri/once Wednesday", kMonFri, 0, At(0, 20), kOnce, 0, At(2, 20), true},
        {"mon-fri/once Saturday", kMonFri, 0, At(0, 20), kOnce, 0, At(5, 20), false},
        {"mon-fri/once before", kMonFri, 0, At(0, 20), kOnce, 0, At(-3, 20), false},
        {"weekend/once Saturday", kWeekend, 0, At(-1, 20), kOnce, 0, At(5, 20), true},
        {"weekend/once Tuesday", kWeekend, 0, At(-1, 20), kOnce, 0, At(1, 20), false},
        {"manual/once on its day", kManual, tue, At(0, 20), kOnce, 0, At(1, 20), true},
        {"manual/once off its days", kManual, tue, At(0, 20), kOnce, 0, At(2, 20), false},
        {"manual/once no days", kManual, 0, At(0, 20), kOnce, 0, At(1, 20), false},
        {"manual/once before", kManual, tue, At(0, 20), kOnce, 0, At(-6, 20), false},
        // A daily candidate.
        {"once/daily from before", kOnce, 0, At(3, 20), kDaily, 0, At(0, 20), true},
        {"once/daily from after", kOnce, 0, At(0, 20), kDaily, 0, At(3, 20), false},
        {"daily/daily", kDaily, 0, At(0, 20), kDaily, 0, At(9, 20), true},
        {"mon-fri/daily", kMonFri, 0, At(0, 20), kDaily, 0, At(9, 20), true},
        {"weekend/daily", kWeekend, 0, At(0, 20), kDaily, 0, At(9, 20), true},
        {"manual/daily", kManual, 0x10, At(0, 20), kDaily, 0, At(9, 20), true},
        {"manual no days/daily", kManual, 0, At(0, 20), kDaily, 0, At(9, 20), false},
        // A Monday-to-Friday candidate.
        {"once Monday/mon-fri", kOnce, 0, At(0, 20), kMonFri, 0, At(-2, 20), true},
        {"once Saturday/mon-fri", kOnce, 0, At(5, 20), kMonFri, 0, At(-2, 20), false},
        {"once/mon-fri from after", kOnce, 0, At(0, 20), kMonFri, 0, At(1, 20), false},
        {"daily/mon-fri", kDaily, 0, At(0, 20), kMonFri, 0, At(9, 20), true},
        {"mon-fri/mon-fri", kMonFri, 0, At(0, 20), kMonFri, 0, At(9, 20), true},
        {"weekend/mon-fri", kWeekend, 0, At(0, 20), kMonFri, 0, At(9, 20), false},
        {"manual weekend/mon-fri", kManual, sat | sun, At(0, 20), kMonFri, 0, At(9, 20), false},
        {"manual Monday/mon-fri", kManual, 0x02, At(0, 20), kMonFri, 0, At(9, 20), true},
        // A weekend candidate.
        {"once Sunday/weekend", kOnce, 0, At(6, 20), kWeekend, 0, At(-2, 20), true},
        {"once Monday/weekend", kOnce, 0, At(0, 20), kWeekend, 0, At(-2, 20), false},
        {"daily/weekend", kDaily, 0, At(0, 20), kWeekend, 0, At(9, 20), true},
        {"mon-fri/weekend", kMonFri, 0, At(0, 20), kWeekend, 0, At(9, 20), false},
        {"weekend/weekend", kWeekend, 0, At(0, 20), kWeekend, 0, At(9, 20), true},
        {"manual weekdays/weekend", kManual, 0x3E, At(0, 20), kWeekend, 0, At(9, 20), false},
        {"manual Saturday/weekend", kManual, sat, At(0, 20), kWeekend, 0, At(9, 20), true},
        // A candidate on chosen days: against a one-off only where the ranges meet.
        {"once Tuesday/manual Tuesday", kOnce, 0, At(1, 20), kManual, tue, At(1, 20, 30), true},
        {"once Tuesday/manual Wednesday", kOnce, 0, At(1, 20), kManual, wed, At(1, 20, 30), false},
        {"once Tuesday/manual from Monday", kOnce, 0, At(1, 20), kManual, tue, At(0, 20), false},
        {"daily/manual", kDaily, 0, At(0, 20), kManual, tue, At(9, 20), true},
        {"mon-fri/manual Saturday", kMonFri, 0, At(0, 20), kManual, sat, At(9, 20), false},
        {"mon-fri/manual Tuesday", kMonFri, 0, At(0, 20), kManual, tue, At(9, 20), true},
        {"weekend/manual Tuesday", kWeekend, 0, At(0, 20), kManual, tue, At(9, 20), false},
        {"weekend/manual Sunday", kWeekend, 0, At(0, 20), kManual, sun, At(9, 20), true},
        {"manual/manual common day", kManual, 0x06, At(0, 20), kManual, tue, At(9, 20), true},
        {"manual/manual no common day", kManual, 0x02, At(0, 20), kManual, tue, At(9, 20), false},
        {"daily/manual no days", kDaily, 0, At(0, 20), kManual, 0, At(9, 20), false},
        // Rules outside the table.
        {"daily/unknown", kDaily, 0, At(0, 20), r5, 0, At(9, 20), false},
        {"unknown/daily", r5, 0, At(0, 20), kDaily, 0, At(9, 20), true},
        {"unknown/once", r5, 0, At(0, 20), kOnce, 0, At(0, 20), false},
        {"unknown/manual", r5, 0, At(0, 20), kManual, tue, At(9, 20), false},
        {"negative/daily", negative, 0, At(0, 20), kDaily, 0, At(9, 20), true},
        {"daily/negative", kDaily, 0, At(0, 20), negative, 0, At(9, 20), false},
    };
    for (const auto& [name, listRepeat, listDays, listStart, cmpRepeat, cmpDays, cmpStart,
                      expected] : cases) {
        EXPECT_EQ(
            CReminderAPIUtil::m_IsRepeatDup(listStart, listStart + kHour, listRepeat, listDays,
                                            cmpStart, cmpStart + kHour, cmpRepeat, cmpDays),
            expected)
            << name;
    }
}

TEST_F(DuplicateTest, StoredItemAgainstCandidate) {
    const CRemindInfo daily = Rec(At(0, 20), kDaily);
    // 23:00 to 01:00 daily: its end of day stays at 25:00, it is not wrapped at midnight.
    const CRemindInfo lateNight = Rec(At(0, 23), kDaily, 0, 2 * kHour);
    // A five-minute time margin moves the start to 19:55, into a one-off ending at 19:58.
    const CRemindInfo widened = Margins(Rec(At(0, 20)), 300, 0);
    const CRemindInfo before = Rec(At(0, 19), kOnce, 0, 58 * 60);
    const std::tuple<const char*, CRemindInfo, CRemindInfo, bool> cases[] = {
        // Viewing reminders meet only at the same moment, whatever their repeat.
        {"viewings, same moment", View(At(0, 20)), View(At(0, 20)), true},
        {"daily viewings, same moment", View(At(0, 20), kDaily), View(At(0, 20), kDaily), true},
        {"viewings a minute apart", View(At(0, 20, 1)), View(At(0, 20)), false},
        {"manual viewings apart", View(At(0, 20), kManual, 0x7F), View(At(0, 20, 1)), false},
        {"touching recordings", Rec(At(0, 20)), Rec(At(0, 21)), false},
        {"overlapping recordings", Rec(At(0, 20)), Rec(At(0, 20, 59)), true},
        // Repeating against one-off in both orders; free before the first occurrence.
        {"daily, later one-off", daily, Rec(At(3, 20, 30)), true},
        {"later one-off, daily", Rec(At(3, 20, 30)), daily, true},
        {"daily, earlier one-off", daily, Rec(At(-2, 20, 30)), false},
        {"earlier one-off, daily", Rec(At(-2, 20, 30)), daily, false},
        {"across midnight, a later night", lateNight, Rec(At(3, 0, 30)), false},
        {"across midnight, the first night", lateNight, Rec(At(1, 0, 30)), true},
        // Only the stored item's time margin widens its start.
        {"stored time margin", widened, before, true},
        {"candidate's time margin", before, widened, false},
        // End margins count, the padded end cut to the minute.
        {"end margin under a minute", Margins(Rec(At(0, 20)), 0, 59), Rec(At(0, 21)), false},
        {"end margin of a minute", Margins(Rec(At(0, 20)), 0, 60), Rec(At(0, 21)), true},
    };
    for (const auto& [name, list, cmp, expected] : cases)
        EXPECT_EQ(CReminderAPIUtil::CheckDuplicateTimeAndRepeat(&list, &cmp), expected) << name;
}

TEST_F(DuplicateTest, ProgrammesSortByStartThenServiceThenEvent) {
    auto programme = [](unsigned long start, unsigned long long service, unsigned short event) {
        TCProgramData p;
        p.SetStartTime(start);
        p.SetServiceId(service);
        p.SetEventId(event);
        return p;
    };
    // Start time first, then the service id as unsigned 64 bits, then the event id.
    const std::vector<TCProgramData> ascending = {programme(100, 5, 9), programme(200, 1, 9),
                                                  programme(200, 4294967296ull, 1),
                                                  programme(200, 4294967296ull, 2)};
    for (size_t i = 0; i < ascending.size(); ++i) {
        for (size_t k = 0; k < ascending.size(); ++k)
            EXPECT_EQ(CReminderAPIUtil::SortByStartTime(&ascending[i], &ascending[k]), i < k)
                << i << k;
    }
}

}  // namespace
