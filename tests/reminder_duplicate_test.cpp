// Whether two bookings occupy the same time: plain overlap, the time of day of repeating items,
// the repeat-rule table, and the sort predicates.
#include <gtest/gtest.h>

#include <vector>

#include "ReminderAPIUtil.h"
#include "TestSupport.h"

namespace {

constexpr uint32_t kDay = 86400;
constexpr uint32_t kHour = 3600;
// Monday 2026-11-23 00:00, in the television's local clock as items keep it.
constexpr uint32_t kMonday = 1795392000u;

constexpr EReminderRepeatType kOnce = REMINDER_REPEAT_NONE;
constexpr EReminderRepeatType kDaily = REMINDER_REPEAT_EVERYDAY;
constexpr EReminderRepeatType kMonFri = REMINDER_REPEAT_MON_FRI;
constexpr EReminderRepeatType kWeekend = REMINDER_REPEAT_WEEKEND;
constexpr EReminderRepeatType kManual = REMINDER_REPEAT_MANUAL;

uint32_t At(int day, uint32_t hour, uint32_t minute = 0) {
    return kMonday + static_cast<uint32_t>(day) * kDay + hour * kHour + minute * 60;
}

CRemindInfo Item(EReserveType type, uint32_t start, uint32_t duration,
                 EReminderRepeatType repeat = kOnce, unsigned char days = 0) {
    CRemindInfo item;
    item.m_nReserveType = type;
    item.m_nEventTime = start;
    item.m_nDuration = duration;
    item.m_nRepeatType = repeat;
    item.m_cManualRepeat = days;
    item.m_nManual = repeat == kOnce ? 0 : 1;
    return item;
}

CRemindInfo Recording(uint32_t start, uint32_t duration = kHour, EReminderRepeatType repeat = kOnce,
                      unsigned char days = 0) {
    return Item(REMINDER_RESERVE_RECORDING, start, duration, repeat, days);
}

bool Duplicate(const CRemindInfo& list, const CRemindInfo& cmp) {
    return CReminderAPIUtil::CheckDuplicateTimeAndRepeat(&list, &cmp);
}

class DuplicateTest : public ::testing::Test {
protected:
    void SetUp() override {
        testsupport::LoadSampleTelevision();
        tvsim::ClearLogs();
    }
};

TEST_F(DuplicateTest, RangeOverlapHasExclusiveEndsButEqualStartsAlwaysMeet) {
    EXPECT_TRUE(CReminderAPIUtil::m_CheckDupTime(100, 200, 150, 250));
    EXPECT_TRUE(CReminderAPIUtil::m_CheckDupTime(150, 250, 100, 200));
    EXPECT_FALSE(CReminderAPIUtil::m_CheckDupTime(100, 200, 200, 300));
    EXPECT_FALSE(CReminderAPIUtil::m_CheckDupTime(200, 300, 100, 200));
    EXPECT_TRUE(CReminderAPIUtil::m_CheckDupTime(100, 100, 100, 100));
    EXPECT_FALSE(CReminderAPIUtil::m_CheckDupTime(100, 100, 160, 160));
}

// One cell of the repeat table: the list item and the compared item, each an hour from the
// given start, and the answer.
struct SRepeatCase {
    const char* name;
    EReminderRepeatType listRepeat;
    unsigned char listDays;
    uint32_t listStart;
    EReminderRepeatType cmpRepeat;
    unsigned char cmpDays;
    uint32_t cmpStart;
    bool expected;
};

TEST_F(DuplicateTest, RepeatTableRowByRow) {
    const auto r5 = static_cast<EReminderRepeatType>(5);
    const auto negative = static_cast<EReminderRepeatType>(-1);
    const uint32_t tue = 0x04, wed = 0x08, sat = 0x40, sun = 0x01;
    const SRepeatCase cases[] = {
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
    for (const SRepeatCase& c : cases) {
        EXPECT_EQ(CReminderAPIUtil::m_IsRepeatDup(c.listStart, c.listStart + kHour, c.listRepeat,
                                                  c.listDays, c.cmpStart, c.cmpStart + kHour,
                                                  c.cmpRepeat, c.cmpDays),
                  c.expected)
            << c.name;
    }
}

TEST_F(DuplicateTest, ViewingRemindersMeetOnlyAtTheSameMoment) {
    for (const EReminderRepeatType repeat : {kOnce, kDaily, kManual}) {
        const CRemindInfo a = Item(REMINDER_RESERVE_VIEWING, At(0, 20), kHour, repeat, 0x7F);
        EXPECT_TRUE(Duplicate(a, a)) << repeat;
        const CRemindInfo b = Item(REMINDER_RESERVE_VIEWING, At(0, 20, 1), kHour, repeat, 0x7F);
        EXPECT_FALSE(Duplicate(a, b)) << repeat;
        EXPECT_FALSE(Duplicate(b, a)) << repeat;
    }
}

TEST_F(DuplicateTest, RecordingsThatOnlyTouchDoNotCollide) {
    EXPECT_FALSE(Duplicate(Recording(At(0, 20)), Recording(At(0, 21))));
    EXPECT_FALSE(Duplicate(Recording(At(0, 21)), Recording(At(0, 20))));
    EXPECT_TRUE(Duplicate(Recording(At(0, 20)), Recording(At(0, 20, 59))));
}

TEST_F(DuplicateTest, RepeatingAgainstOneOffInBothOrders) {
    const CRemindInfo daily = Recording(At(0, 20), kHour, kDaily);
    // A later day at an overlapping time of day, in either order.
    const CRemindInfo later = Recording(At(3, 20, 30));
    EXPECT_TRUE(Duplicate(daily, later));
    EXPECT_TRUE(Duplicate(later, daily));
    // Before the daily item's first occurrence it is free, in either order.
    const CRemindInfo earlier = Recording(At(-2, 20, 30));
    EXPECT_FALSE(Duplicate(daily, earlier));
    EXPECT_FALSE(Duplicate(earlier, daily));

    // Monday to Friday never meets the weekend; chosen days meet only on a common day.
    EXPECT_FALSE(
        Duplicate(Recording(At(0, 20), kHour, kMonFri), Recording(At(5, 20), kHour, kWeekend)));
    EXPECT_FALSE(
        Duplicate(Recording(At(5, 20), kHour, kWeekend), Recording(At(7, 20), kHour, kMonFri)));
    EXPECT_FALSE(Duplicate(Recording(At(0, 20), kHour, kManual, 0x02),
                           Recording(At(1, 20), kHour, kManual, 0x04)));
    EXPECT_TRUE(Duplicate(Recording(At(0, 20), kHour, kManual, 0x06),
                          Recording(At(1, 20), kHour, kManual, 0x04)));
}

TEST_F(DuplicateTest, TimeOfDayIsNotWrappedAtMidnight) {
    // A daily booking from 23:00 to 01:00 does not meet a one-off at 00:30 of a later night by
    // time of day: its end of day stays at 25:00.
    const CRemindInfo lateNight = Recording(At(0, 23), 2 * kHour, kDaily);
    const CRemindInfo earlyMorning = Recording(At(3, 0, 30));
    EXPECT_FALSE(Duplicate(lateNight, earlyMorning));
    EXPECT_TRUE(testsupport::Logged("T.L.S[82800] T.L.E[90000] T.C.S[1800], T.C.E[5400]"));
    // But the real overlap on its first night counts.
    EXPECT_TRUE(Duplicate(lateNight, Recording(At(1, 0, 30))));
}

TEST_F(DuplicateTest, OnlyTheListItemsTimeMarginWidensItsStart) {
    // The stored item carries a five-minute time margin, so it begins at 19:55 and meets a
    // candidate that ends at 19:58. As the candidate, its margin is not taken off.
    CRemindInfo withMargin = Recording(At(0, 20));
    withMargin.m_nTimeMargin = 300;
    const CRemindInfo before = Recording(At(0, 19), 58 * 60);
    EXPECT_TRUE(Duplicate(withMargin, before));
    EXPECT_FALSE(Duplicate(before, withMargin));

    // Margins of both sides count; the padded end is cut to the minute.
    CRemindInfo padded = Recording(At(0, 20));
    padded.m_nEndMarginTime = 59;
    EXPECT_FALSE(Duplicate(padded, Recording(At(0, 21))));
    padded.m_nEndMarginTime = 60;
    EXPECT_TRUE(Duplicate(padded, Recording(At(0, 21))));
}

TEST_F(DuplicateTest, SortPredicates) {
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
        for (size_t k = 0; k < ascending.size(); ++k) {
            EXPECT_EQ(CReminderAPIUtil::SortByStartTime(&ascending[i], &ascending[k]), i < k)
                << i << " " << k;
        }
    }
    CRemindInfo first, second;
    first.m_nBookingOrder = 1;
    second.m_nBookingOrder = 2;
    EXPECT_TRUE(CReminderAPIUtil::SortByBookingTime(&first, &second));
    EXPECT_FALSE(CReminderAPIUtil::SortByBookingTime(&second, &first));
    EXPECT_FALSE(CReminderAPIUtil::SortByBookingTime(&first, &first));
}

}  // namespace
