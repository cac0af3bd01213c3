// Finding the stored booking of a record, updating a booking, and deleting one booking or a
// whole split-event chain.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <utility>

#include "EngineTest.h"

namespace {

using testsupport::kLocalNow;
using testsupport::kSystemLog;

CRemindInfo Booking(EReserveType type, uint16_t eventId, uint32_t localStart,
                    unsigned long long service = 1005) {
    CRemindInfo item = testsupport::Booking(type, service, eventId, localStart);
    item.m_sTitle = "News";
    return item;
}

using EngineLookupTest = testsupport::CEngineTest;

TEST_F(EngineLookupTest, ExactPassMatchesServiceAndTime) {
    const uint32_t start = kLocalNow + 3600;
    const unsigned long uid = Store(Booking(REMINDER_RESERVE_VIEWING, 1, start));
    CRemindInfo found;
    ASSERT_TRUE(engine.FindRemindItem(Booking(REMINDER_RESERVE_RECORDING, 2, start), found));
    EXPECT_EQ(found.m_nUid, uid);
    // Another time or another service is another booking.
    EXPECT_FALSE(engine.FindRemindItem(Booking(REMINDER_RESERVE_VIEWING, 1, start + 60), found));
    EXPECT_FALSE(engine.FindRemindItem(Booking(REMINDER_RESERVE_VIEWING, 1, start, 1001), found));
    EXPECT_TRUE(testsupport::LoggedOn(kSystemLog, "Cannot find the item."));
    // A series base entry is never the booking of one programme.
    testsupport::ClearStore();
    Store(Booking(REMINDER_RESERVE_SERIES, 1, start - 7862400));
    EXPECT_FALSE(engine.FindRemindItem(Booking(REMINDER_RESERVE_VIEWING, 1, start), found));
}

TEST_F(EngineLookupTest, FuzzyPassMovesABookingThatShiftedByUnderTwoMinutes) {
    // A failed recording escapes the exact pass; its effective start lies 90 seconds after the
    // query's (margins of 30 and 120 seconds before the same event time).
    const uint32_t start = kLocalNow + 3600;
    CRemindInfo stored = Booking(REMINDER_RESERVE_RECORDING_FAILED, 1, start);
    stored.m_nStartMarginTime = 30, stored.m_bAlarmed = true;
    const unsigned long uid = Store(stored);

    CRemindInfo query = Booking(REMINDER_RESERVE_RECORDING, 1, start);
    query.m_nStartMarginTime = 120, query.m_nEndMarginTime = 300;
    CRemindInfo found;
    ASSERT_TRUE(engine.FindRemindItem(query, found));
    EXPECT_EQ(found.m_nUid, uid);

    // The stored booking now starts at the query's effective start, spans the query's padded
    // length and has its alarm cleared.
    const CRemindInfo moved = Row(uid);
    EXPECT_EQ(moved.m_nEventTime, (start - 120) / 60 * 60);
    EXPECT_EQ(moved.m_nDuration, 120u + 1800u + 300u);
    EXPECT_FALSE(moved.m_bAlarmed);

    // A different title, no shift at all, or a shift of two minutes: not this booking.
    testsupport::ClearStore();
    Store(stored);
    const std::pair<const char*, uint32_t> misses[] = {{"Sport", 120}, {"News", 30}, {"News", 150}};
    for (const auto& [title, margin] : misses) {
        CRemindInfo miss = query;
        miss.m_sTitle = title, miss.m_nStartMarginTime = margin;
        EXPECT_FALSE(engine.FindRemindItem(miss, found)) << title << " " << margin;
    }
    EXPECT_EQ(Stored().at(0).m_nEventTime, stored.m_nEventTime);
}

TEST_F(EngineLookupTest, UpdateByUid) {
    CRemindInfo item = Booking(REMINDER_RESERVE_VIEWING, 1, kLocalNow + 3600);
    EXPECT_FALSE(engine.UpdateRemindItemByUid(1, item, false, false, false)) << "nothing stored";

    const unsigned long uid = Store(item);
    // All ones is no UID, in 32 bits or in a 64-bit unsigned long.
    for (const unsigned long invalid : {REMINDER_INVALID_UID, ULONG_MAX})
        EXPECT_FALSE(engine.UpdateRemindItemByUid(invalid, item, false, false, false)) << invalid;
    // An unknown UID changes nothing.
    item.m_sTitle = "Changed";
    EXPECT_FALSE(engine.UpdateRemindItemByUid(uid + 1, item, false, false, false));
    EXPECT_EQ(Stored().at(0).m_sTitle, "News");

    // The new content keeps the stored UID; the alarm is cleared on request.
    item.m_nUid = 777, item.m_bAlarmed = true;
    EXPECT_TRUE(engine.UpdateRemindItemByUid(uid, item, true, false, false));
    EXPECT_EQ(Row(uid).m_sTitle, "Changed");
    EXPECT_FALSE(Row(uid).m_bAlarmed);
}

TEST_F(EngineLookupTest, DeletingAPartDeletesItsChain) {
    auto part = [](uint16_t eventId, uint32_t start) {
        CRemindInfo item = Booking(REMINDER_RESERVE_RECORDING_MONITORED, eventId, start);
        item.m_sProgramCrid = "crid://t/Film#1";
        return item;
    };
    const uint32_t t = kLocalNow + 3600;
    Store(part(1, t));
    const unsigned long middle = Store(part(2, t + 3600));
    Store(part(3, t + 7200));
    // The same film again more than three hours after the third part ends: its own chain.
    const unsigned long later = Store(part(4, t + 7200 + 1800 + 10800 + 60));
    Store(Booking(REMINDER_RESERVE_VIEWING, 9, t - 3600, 1001));

    EXPECT_TRUE(engine.DeleteRemindItemByUid(middle, true));
    EXPECT_EQ(Kept(), "9:0 4:2");
    EXPECT_TRUE(engine.DeleteRemindItemByUid(later, true));
    EXPECT_EQ(Kept(), "9:0");

    // Only the part itself when asked so.
    const unsigned long alone = Store(part(1, t));
    Store(part(2, t + 3600));
    EXPECT_TRUE(engine.DeleteRemindItemAloneByUid(alone));
    EXPECT_EQ(Kept(), "9:0 2:2");
}

}  // namespace
