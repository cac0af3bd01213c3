// The facade and its lock, the engine's store primitives, the list limit and the failed-item cap.
#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <future>
#include <set>

#include "ReminderAPI.h"
#include "EngineTest.h"

// Reaches the failed-item housekeeping, which only the expiry passes call.
class CReminderAPIImpTestPeer {
public:
    static int NumOfFailed(CReminderAPIImp& engine) { return engine.m_GetNumOfFailedRemindItem(); }
    static void DeleteFailed(CReminderAPIImp& engine) { engine.m_DeleteFailedRemindItem(); }
};

namespace {

using testsupport::kLocalNow;

CRemindInfo Booking(EReserveType type, int eventId, uint32_t localStart) {
    return testsupport::Booking(type, 1005, static_cast<uint16_t>(eventId), localStart);
}

class EngineStoreTest : public testsupport::CEngineTest {
protected:
    void StoreMany(EReserveType type, int count, int firstEvent) {
        for (int i = 0; i < count; ++i)
            Store(Booking(type, firstEvent + i, kLocalNow + 3600u * (i + 1)));
    }
};

TEST(ReminderFacadeTest, OneInstanceAndLocksThatDoNotExcludeEachOther) {
    EXPECT_EQ(CReminderAPI::GetInstance(), CReminderAPI::GetInstance());
    // A lock works on its own copy of the mutex: while one thread holds a lock, another thread
    // takes a lock on the same mutex without waiting.
    CReminderMutex mutex;
    CReminderLock held(mutex);
    auto other = std::async(std::launch::async, [&mutex] { CReminderLock lock(mutex); });
    EXPECT_EQ(other.wait_for(std::chrono::seconds(5)), std::future_status::ready);
}

TEST(EngineKindsTest, ScheduledAndRecordingKinds) {
    // Scheduled: 0-3, 7, 10, 11; recording: 1, 2, 7, 11; nothing else, whatever int is stored.
    const std::set<int> scheduled = {0, 1, 2, 3, 7, 10, 11};
    const std::set<int> recording = {1, 2, 7, 11};
    for (int type : {INT_MIN, -1, 0, 1, 3, 4, 6, 7, 9, 10, 11, 12, INT_MAX}) {
        SCOPED_TRACE(type);
        EXPECT_EQ(CReminderAPIImp::m_FlagReserveTypeIsForScheduled(type),
                  scheduled.count(type) == 1);
        EXPECT_EQ(CReminderAPIImp::m_FlagReserveTypeIsForRecording(type),
                  recording.count(type) == 1);
    }
}

TEST_F(EngineStoreTest, InsertStampsTheItemAndMovesASeriesBaseEntryOn) {
    CRemindInfo item = Booking(REMINDER_RESERVE_VIEWING, 7, kLocalNow + 600);
    item.m_bAlarmed = true;
    Store(item);
    CRemindInfo base = Booking(REMINDER_RESERVE_SERIES, 9, kLocalNow + 3600);
    base.m_nStartMarginTime = 120;
    base.m_sProgramCrid = "crid://x/ep1";
    base.m_sSeriesCrid = "crid://x/series";
    Store(base);
    // The insert stamps the time it was added and, outside the one market that keeps it, clears
    // the alarm flag; a series base entry moves on a quarter and loses its programme CRID.
    CRemindInfo read;
    ASSERT_TRUE(engine.GetRemindItemByUid(Stored().at(0).m_nUid, read));
    EXPECT_EQ(read.m_nAddedTime, kLocalNow);
    EXPECT_FALSE(read.m_bAlarmed);
    EXPECT_EQ(Stored().at(1).m_nEventTime, kLocalNow + 3600 + 7862400 - 120);
    EXPECT_TRUE(Stored().at(1).m_sProgramCrid.empty());
    // An unknown UID leaves the record untouched.
    CRemindInfo untouched;
    EXPECT_FALSE(engine.t_GetRemindItemByUid(read.m_nUid + 100, untouched));
    EXPECT_EQ(untouched.m_nUid, REMINDER_INVALID_UID);
}

TEST_F(EngineStoreTest, CountLeavesOutEpisodesAndFailedRecordingsAndIsFullAtThirty) {
    // A series counts once, through its base entry, however many episodes (one failed) it has.
    CRemindInfo base = Booking(REMINDER_RESERVE_SERIES, 1, kLocalNow + 60);
    base.m_sSeriesCrid = "crid://x/series";
    Store(base);
    for (int i = 0; i < 10; ++i) {
        CRemindInfo episode = Booking(
            i == 0 ? REMINDER_RESERVE_RECORDING_FAILED : REMINDER_RESERVE_RECORDING_MONITORED,
            10 + i, kLocalNow + 7200u * (i + 1));
        episode.m_sSeriesCrid = "crid://x/series";
        Store(episode);
    }
    // Failed single recordings are free too.
    StoreMany(REMINDER_RESERVE_RECORDING_FAILED, 3, 100);
    EXPECT_EQ(engine.GetRemindItemCnt(), 1);
    EXPECT_EQ(engine.GetReminderListSize(), 14);

    StoreMany(REMINDER_RESERVE_VIEWING, 28, 200);
    EXPECT_FALSE(engine.FlagReminderListIsFull());
    Store(Booking(REMINDER_RESERVE_VIEWING, 300, kLocalNow + 60));
    EXPECT_EQ(engine.GetRemindItemCnt(), 30);
    EXPECT_TRUE(engine.FlagReminderListIsFull());
}

TEST_F(EngineStoreTest, FailedItemCapDeletesTheEarliestFailedOneAtATime) {
    // 19 failed items are below the cap; the 20th (starting earliest of all failed ones) makes one
    // go: that earliest one, and not the even earlier viewing.
    Store(Booking(REMINDER_RESERVE_VIEWING, 500, kLocalNow - 99999));
    StoreMany(REMINDER_RESERVE_RECORDING_FAILED, 19, 1);
    CReminderAPIImpTestPeer::DeleteFailed(engine);
    EXPECT_EQ(CReminderAPIImpTestPeer::NumOfFailed(engine), 19);
    Store(Booking(REMINDER_RESERVE_RECORDING_FAILED, 400, kLocalNow - 500));
    CReminderAPIImpTestPeer::DeleteFailed(engine);
    EXPECT_EQ(CReminderAPIImpTestPeer::NumOfFailed(engine), 19);
    EXPECT_EQ(Stored().front().m_nEventId, 500);
    EXPECT_EQ(Stored().at(1).m_nEventId, 1) << "event 400 went";
    // Exactly one per call.
    StoreMany(REMINDER_RESERVE_RECORDING_FAILED, 6, 600);
    CReminderAPIImpTestPeer::DeleteFailed(engine);
    EXPECT_EQ(CReminderAPIImpTestPeer::NumOfFailed(engine), 24);
}

}  // namespace
