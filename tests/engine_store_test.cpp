// The facade and its lock, the engine's store primitives, the list limit and the failed-item cap.
#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <future>
#include <set>
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

TEST(EngineKindsTest, ScheduledAndRecordingKinds) {
    // Scheduled: 0-3, 7, 10, 11; recording: 1, 2, 7, 11; nothing else, whatever int is stored.
    const std::set<int> scheduled = {0, 1, 2, 3, 7, 10, 11};
    const std::set<int> recording = {1, 2, 7, 11};
    for (int type : {INT_MIN, -1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 15, 255, INT_MAX}) {
        EXPECT_EQ(CReminderAPIImp::m_FlagReserveTypeIsForScheduled(type),
                  scheduled.count(type) == 1)
            << type;
        EXPECT_EQ(CReminderAPIImp::m_FlagReserveTypeIsForRecording(type),
                  recording.count(type) == 1)
            << type;
    }
}

TEST_F(EngineStoreTest, InsertStampsAndReadByUid) {
    CRemindInfo item = Booking(REMINDER_RESERVE_VIEWING, 7, kLocalNow + 600);
    item.m_bAlarmed = true;
    Store(item);
    const unsigned long uid = Stored().at(0).m_nUid;

    // The insert stamps the time it was added and, outside the one market that keeps it, clears
    // the alarm flag.
    CRemindInfo read;
    EXPECT_TRUE(engine.GetRemindItemByUid(uid, read));
    EXPECT_EQ(read.m_nEventId, 7);
    EXPECT_EQ(read.m_nAddedTime, kLocalNow);
    EXPECT_FALSE(read.m_bAlarmed);
    // An unknown UID leaves the record untouched.
    CRemindInfo untouched;
    EXPECT_FALSE(engine.t_GetRemindItemByUid(uid + 100, untouched));
    EXPECT_EQ(untouched.m_nUid, REMINDER_INVALID_UID);
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

TEST_F(EngineStoreTest, CountLeavesOutEpisodesAndFailedRecordingsAndIsFullAtThirty) {
    EXPECT_FALSE(engine.FlagReminderListIsFull());
    // A series counts once, through its base entry, however many episodes (one failed) it has.
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

    StoreMany(REMINDER_RESERVE_VIEWING, 28, 200);
    EXPECT_FALSE(engine.FlagReminderListIsFull());
    Store(Booking(REMINDER_RESERVE_VIEWING, 300, kLocalNow + 60));
    EXPECT_EQ(engine.GetRemindItemCnt(), 30);
    EXPECT_TRUE(engine.FlagReminderListIsFull());
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
    // Titles sort the other way round from the start times.
    const EReserveType types[] = {REMINDER_RESERVE_RECORDING_MONITORED, REMINDER_RESERVE_SERIES,
                                  REMINDER_RESERVE_RECORDING_FAILED, REMINDER_RESERVE_VIEWING,
                                  REMINDER_RESERVE_NONE};
    for (uint16_t i = 0; i < 5; ++i) {
        CRemindInfo item = Booking(types[i], i + 1, kLocalNow + 100u * (5 - i));
        item.m_bRecordListBooking = i == 0;
        Store(item);
    }

    std::vector<CRemindInfo> out;
    int count = -1;
    // Record-list bookings and unbooked items never appear; series entries only in "all".
    EXPECT_TRUE(
        engine.GetRemindItemsByType(count, out, REM_EXTRACT_ALL_BOOKINGS, REM_ORDER_BY_TITLE));
    ASSERT_EQ(count, 3);
    EXPECT_EQ(out[0].m_nEventId, 2);
    EXPECT_EQ(out[2].m_nEventId, 4);
    EXPECT_TRUE(engine.GetRemindItemsByType(REM_EXTRACT_SCHEDULED, out));
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0].m_nEventId, 4);
    EXPECT_TRUE(engine.GetRemindItemsByType(REM_EXTRACT_FAILED, out));
    EXPECT_EQ(out.size(), 1u);
    EXPECT_FALSE(engine.GetRemindItemsByType(static_cast<EExtractType>(5), out));
    EXPECT_TRUE(out.empty());
}

}  // namespace
