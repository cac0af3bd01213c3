// The facade and its lock, the engine's store primitives, the list limit and the failed-item cap.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <vector>

#include "ReminderAPI.h"
#include "ReminderAPIImp.h"
#include "TestSupport.h"

// Reaches the failed-item housekeeping, which only the expiry passes call.
class CReminderAPIImpTestPeer {
public:
    static int NumOfFailed(CReminderAPIImp& engine) { return engine.m_GetNumOfFailedRemindItem(); }
    static void DeleteFailed(CReminderAPIImp& engine) { engine.m_DeleteFailedRemindItem(); }
};

namespace {

// The sample television's clock, in its local time (UTC + 1 h).
constexpr uint32_t kLocalNow = 1795456800u + 3600u;

CRemindInfo Booking(EReserveType type, uint16_t eventId, uint32_t localStart) {
    CRemindInfo item;
    item.m_nReserveType = type;
    item.m_nServiceId = 1005;
    item.m_nEventId = eventId;
    item.SetStartTime(localStart);
    item.m_nDuration = 1800;
    item.m_sTitle = "Event " + std::to_string(eventId);
    return item;
}

class EngineStoreTest : public ::testing::Test {
protected:
    void SetUp() override {
        testsupport::LoadSampleTelevision();
        testsupport::ClearStore();
    }

    void Store(const CRemindInfo& item) { ASSERT_TRUE(engine.t_AddRemindItem(item, false)); }

    void StoreMany(EReserveType type, int count, uint16_t firstEvent = 1) {
        for (int i = 0; i < count; ++i) {
            Store(
                Booking(type, static_cast<uint16_t>(firstEvent + i), kLocalNow + 3600u * (i + 1)));
        }
    }

    std::vector<CRemindInfo> Stored() {
        std::vector<CRemindInfo> list;
        engine.t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
        return list;
    }

    CReminderAPIImp engine;
};

TEST(ReminderFacadeTest, OneInstanceAndLocksThatDoNotExcludeEachOther) {
    // The singleton is created once.
    CReminderAPI* first = CReminderAPI::GetInstance();
    EXPECT_EQ(first, CReminderAPI::GetInstance());

    // A lock works on its own copy of the mutex: while one thread holds a lock, another thread
    // takes a lock on the same mutex without waiting.
    CReminderMutex mutex;
    CReminderLock held(mutex);
    auto other = std::async(std::launch::async, [&mutex] { CReminderLock lock(mutex); });
    EXPECT_EQ(other.wait_for(std::chrono::seconds(5)), std::future_status::ready);
}

TEST_F(EngineStoreTest, ScheduledAndRecordingKinds) {
    for (int type : {0, 1, 2, 3, 7, 10, 11}) {
        EXPECT_TRUE(CReminderAPIImp::m_FlagReserveTypeIsForScheduled(type)) << type;
    }
    for (int type : {-1, 4, 5, 6, 8, 9, 12, 255}) {
        EXPECT_FALSE(CReminderAPIImp::m_FlagReserveTypeIsForScheduled(type)) << type;
    }
    for (int type : {1, 2, 7, 11}) {
        EXPECT_TRUE(CReminderAPIImp::m_FlagReserveTypeIsForRecording(type)) << type;
    }
    for (int type : {0, 3, 4, 5, 9, 10, 12, 15}) {
        EXPECT_FALSE(CReminderAPIImp::m_FlagReserveTypeIsForRecording(type)) << type;
    }
}

TEST_F(EngineStoreTest, PrimitivesReadWriteAndDeleteByUid) {
    EXPECT_EQ(engine.GetReminderListSize(), 0);
    Store(Booking(REMINDER_RESERVE_VIEWING, 7, kLocalNow + 600));
    const std::vector<CRemindInfo> list = Stored();
    ASSERT_EQ(list.size(), 1u);
    const unsigned long uid = list[0].m_nUid;

    // Reading by UID fills the record; an unknown UID leaves it untouched.
    CRemindInfo read;
    EXPECT_TRUE(engine.GetRemindItemByUid(uid, read));
    EXPECT_EQ(read.m_nEventId, 7);
    CRemindInfo untouched;
    EXPECT_FALSE(engine.t_GetRemindItemByUid(uid + 100, untouched));
    EXPECT_EQ(untouched.m_nUid, REMINDER_INVALID_UID);

    // The insert stamps the time it was added and, outside the one market that keeps it, clears
    // the alarm flag.
    EXPECT_EQ(read.m_nAddedTime, kLocalNow);
    EXPECT_FALSE(read.m_bAlarmed);

    read.m_sTitle = "Renamed";
    EXPECT_TRUE(engine.t_UpdateRemindItemByUid(uid, read));
    EXPECT_EQ(Stored()[0].m_sTitle, "Renamed");
    EXPECT_TRUE(engine.t_DeleteRemindItemByUid(uid));
    EXPECT_EQ(engine.GetReminderListSize(), 0);
}

TEST_F(EngineStoreTest, SeriesBaseEntryIsMovedOnAndLosesItsProgramCrid) {
    CRemindInfo base = Booking(REMINDER_RESERVE_SERIES, 9, kLocalNow + 3600);
    base.m_nStartMarginTime = 120;
    base.m_sProgramCrid = "crid://x/ep1";
    base.m_sSeriesCrid = "crid://x/series";
    Store(base);
    const CRemindInfo stored = Stored().at(0);
    EXPECT_EQ(stored.m_nEventTime, kLocalNow + 3600 + 7862400 - 120);
    EXPECT_TRUE(stored.m_sProgramCrid.empty());
}

TEST_F(EngineStoreTest, CountLeavesOutEpisodesAndFailedRecordings) {
    // A series counts once, through its base entry, however many episodes it has.
    CRemindInfo base = Booking(REMINDER_RESERVE_SERIES, 1, kLocalNow + 60);
    base.m_sSeriesCrid = "crid://x/series";
    Store(base);
    for (uint16_t i = 0; i < 10; ++i) {
        CRemindInfo episode = Booking(
            i == 0 ? REMINDER_RESERVE_RECORDING_FAILED : REMINDER_RESERVE_RECORDING_MONITORED,
            static_cast<uint16_t>(10 + i), kLocalNow + 7200u * (i + 1));
        episode.m_sSeriesCrid = "crid://x/series";
        Store(episode);
    }
    EXPECT_EQ(engine.GetRemindItemCnt(), 1);
    EXPECT_EQ(engine.GetReminderListSize(), 11);

    // Failed single recordings are free too.
    StoreMany(REMINDER_RESERVE_RECORDING_FAILED, 3, 100);
    EXPECT_EQ(engine.GetRemindItemCnt(), 1);
}

TEST_F(EngineStoreTest, ListIsFullAtThirtyCountedItems) {
    EXPECT_FALSE(engine.FlagReminderListIsFull());
    StoreMany(REMINDER_RESERVE_VIEWING, 29);
    StoreMany(REMINDER_RESERVE_RECORDING_FAILED, 5, 200);
    EXPECT_FALSE(engine.FlagReminderListIsFull());
    Store(Booking(REMINDER_RESERVE_VIEWING, 300, kLocalNow + 60));
    EXPECT_TRUE(engine.FlagReminderListIsFull());
    EXPECT_EQ(engine.GetRemindItemCnt(), 30);
}

TEST_F(EngineStoreTest, FailedItemCapDeletesTheEarliestFailedOneAtATime) {
    // 19 failed items: below the cap, nothing goes.
    Store(Booking(REMINDER_RESERVE_VIEWING, 500, kLocalNow - 99999));
    StoreMany(REMINDER_RESERVE_RECORDING_FAILED, 19, 1);
    CReminderAPIImpTestPeer::DeleteFailed(engine);
    EXPECT_EQ(CReminderAPIImpTestPeer::NumOfFailed(engine), 19);

    // The 20th (starting earliest of all failed ones) makes one go: that earliest one, and not
    // the even earlier viewing.
    Store(Booking(REMINDER_RESERVE_RECORDING_FAILED, 400, kLocalNow - 500));
    CReminderAPIImpTestPeer::DeleteFailed(engine);
    EXPECT_EQ(CReminderAPIImpTestPeer::NumOfFailed(engine), 19);
    const std::vector<CRemindInfo> list = Stored();
    EXPECT_EQ(list.front().m_nEventId, 500);
    for (const CRemindInfo& e : list) EXPECT_NE(e.m_nEventId, 400);

    // Exactly one per call.
    StoreMany(REMINDER_RESERVE_RECORDING_FAILED, 6, 600);
    CReminderAPIImpTestPeer::DeleteFailed(engine);
    EXPECT_EQ(CReminderAPIImpTestPeer::NumOfFailed(engine), 24);
}

TEST_F(EngineStoreTest, ListsByKindAndOrder) {
    CRemindInfo recordList = Booking(REMINDER_RESERVE_RECORDING_MONITORED, 1, kLocalNow + 100);
    recordList.m_bRecordListBooking = true;
    Store(recordList);
    CRemindInfo base = Booking(REMINDER_RESERVE_SERIES, 2, kLocalNow + 200);
    base.m_sTitle = "A series";
    Store(base);
    CRemindInfo failed = Booking(REMINDER_RESERVE_RECORDING_FAILED, 3, kLocalNow + 300);
    failed.m_sTitle = "B failed";
    Store(failed);
    CRemindInfo viewing = Booking(REMINDER_RESERVE_VIEWING, 4, kLocalNow + 400);
    viewing.m_sTitle = "C viewing";
    Store(viewing);
    Store(Booking(REMINDER_RESERVE_NONE, 5, kLocalNow + 500));

    std::vector<CRemindInfo> out;
    int count = -1;
    // Record-list bookings and unbooked items never appear; series entries only in "all".
    EXPECT_TRUE(
        engine.GetRemindItemsByType(count, out, REM_EXTRACT_ALL_BOOKINGS, REM_ORDER_BY_TITLE));
    ASSERT_EQ(count, 3);
    EXPECT_EQ(out[0].m_sTitle, "A series");
    EXPECT_EQ(out[2].m_sTitle, "C viewing");
    EXPECT_TRUE(engine.GetRemindItemsByType(REM_EXTRACT_SCHEDULED, out));
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0].m_nEventId, 4);
    EXPECT_TRUE(engine.GetRemindItemsByType(REM_EXTRACT_FAILED, out));
    EXPECT_EQ(out.size(), 1u);
    EXPECT_FALSE(engine.GetRemindItemsByType(static_cast<EExtractType>(5), out));
    EXPECT_TRUE(out.empty());
}

}  // namespace
