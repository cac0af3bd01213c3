// The facade and its lock, the engine's store primitives, the list limit and the failed-item cap.
#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <future>
#include <set>

#include "EngineTest.h"
#include "ReminderAPI.h"

// Reaches the failed-item housekeeping, which only the expiry passes call.
class CReminderAPIImpTestPeer {
public:
    static int NumOfFailed(CReminderAPIImp& engine) { return engine.m_GetNumOfFailedRemindItem(); }
    static void DeleteFailed(CReminderAPIImp& engine) { engine.m_DeleteFailedRemindItem(); }
};

namespace {

using namespace testsupport;
using Peer = CReminderAPIImpTestPeer;

CRemindInfo Booking(EReserveType type, int eventId, uint32_t localStart, const char* series = "") {
    CRemindInfo item = testsupport::Booking(type, 1005, static_cast<uint16_t>(eventId), localStart);
    item.m_sSeriesCrid = series;
    return item;
}

class EngineStoreTest : public CEngineTest {
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
    using E = CReminderAPIImp;
    for (int type : {INT_MIN, -1, 0, 1, 3, 4, 6, 7, 9, 10, 11, 12, INT_MAX}) {
        EXPECT_EQ(E::m_FlagReserveTypeIsForScheduled(type), scheduled.count(type) == 1) << type;
        EXPECT_EQ(E::m_FlagReserveTypeIsForRecording(type), recording.count(type) == 1) << type;
    }
}

TEST_F(EngineStoreTest, InsertStampsTheItemAndMovesASeriesBaseEntryOn) {
    CRemindInfo item = Booking(kViewing, 7, kLocalNow + 600);
    item.m_bAlarmed = true;
    Store(item);
    CRemindInfo base = Booking(REMINDER_RESERVE_SERIES, 9, kLocalNow + 3600);
    base.m_nStartMarginTime = 120;
    base.m_sProgramCrid = "crid://x/ep1";
    base.m_sSeriesCrid = "crid://x/series";
    Store(base);
    // The insert stamps the time it was added and, outside the one market that keeps it, clears
    // the alarm flag; a series base entry moves on a quarter and loses its programme CRID.
    CRemindInfo read;  // through the public read
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
    Store(Booking(REMINDER_RESERVE_SERIES, 1, kLocalNow + 60, "crid://x/series"));
    for (int i = 0; i < 10; ++i)
        Store(Booking(i == 0 ? kFailed : kWaiting, 10 + i, kLocalNow + 7200u * (i + 1),
                      "crid://x/series"));
    // Failed single recordings are free too.
    StoreMany(kFailed, 3, 100);
    EXPECT_EQ(engine.GetRemindItemCnt(), 1);
    EXPECT_EQ(engine.GetReminderListSize(), 14);

    StoreMany(kViewing, 28, 200);
    EXPECT_FALSE(engine.FlagReminderListIsFull());
    Store(Booking(kViewing, 300, kLocalNow + 60));
    EXPECT_EQ(engine.GetRemindItemCnt(), 30);
    EXPECT_TRUE(engine.FlagReminderListIsFull());
}

TEST_F(EngineStoreTest, FailedItemCapDeletesTheEarliestFailedOneAtATime) {
    // 19 failed items are below the cap; the 20th (starting earliest of all failed ones) makes one
    // go: that earliest one, and not the even earlier viewing.
    Store(Booking(kViewing, 500, kLocalNow - 99999));
    StoreMany(kFailed, 19, 1);
    Peer::DeleteFailed(engine);
    EXPECT_EQ(Peer::NumOfFailed(engine), 19);
    Store(Booking(kFailed, 400, kLocalNow - 500));
    Peer::DeleteFailed(engine);
    EXPECT_EQ(Peer::NumOfFailed(engine), 19);
    EXPECT_EQ(Stored().front().m_nEventId, 500);
    EXPECT_EQ(Stored().at(1).m_nEventId, 1) << "event 400 went";
    // Exactly one per call.
    StoreMany(kFailed, 6, 600);
    Peer::DeleteFailed(engine);
    EXPECT_EQ(Peer::NumOfFailed(engine), 24);
}

}  // namespace
