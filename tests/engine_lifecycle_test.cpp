// The recorder's side of a recording: ready, recording, then failed, delayed or done; every
// refusal leaves the row as it was.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ReminderAPIImp.h"
#include "TestSupport.h"

namespace {

// The sample television's clock, in its local time (UTC + 1 h).
constexpr uint32_t kLocalNow = 1795456800u + 3600u;

CRemindInfo Booking(EReserveType type, uint16_t eventId, uint32_t start) {
    CRemindInfo item;
    item.m_nReserveType = type;
    item.m_nServiceId = 1002;
    item.m_nEventId = eventId;
    item.SetStartTime(start);
    item.m_nDuration = 1800;
    item.m_sTitle = "Event " + std::to_string(eventId);
    return item;
}

class EngineLifeCycleTest : public ::testing::Test {
protected:
    void SetUp() override {
        testsupport::LoadSampleTelevision();
        testsupport::ClearStore();
        tvsim::ClearLogs();
    }

    unsigned long Store(const CRemindInfo& item) {
        EXPECT_TRUE(engine.t_AddRemindItem(item, false));
        unsigned long uid = REMINDER_INVALID_UID;
        for (const CRemindInfo& e : Stored()) {
            if (e.m_nEventId == item.m_nEventId) uid = e.m_nUid;
        }
        return uid;
    }

    std::vector<CRemindInfo> Stored() {
        std::vector<CRemindInfo> list;
        engine.t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
        return list;
    }

    CRemindInfo Row(unsigned long uid) {
        CRemindInfo item;
        EXPECT_TRUE(engine.GetRemindItemByUid(uid, item));
        return item;
    }

    static size_t Notifications() { return testsupport::LogLinesContaining(": Notify(").size(); }

    CReminderAPIImp engine;
};

TEST_F(EngineLifeCycleTest, ReadyRecordingsAreTakenEarliestFirst) {
    const unsigned long later =
        Store(Booking(REMINDER_RESERVE_RECORDING_READY, 2, kLocalNow + 600));
    const unsigned long first = Store(Booking(REMINDER_RESERVE_RECORDING_READY, 1, kLocalNow + 60));
    Store(Booking(REMINDER_RESERVE_RECORDING_MONITORED, 3, kLocalNow));
    CRemindInfo taken;
    for (const unsigned long expected : {first, later}) {
        tvsim::ClearLogs();
        ASSERT_TRUE(engine.GetRecordReadyRemindItem(taken));
        EXPECT_EQ(taken.m_nUid, expected);
        EXPECT_EQ(Row(expected).m_nReserveType, REMINDER_RESERVE_RECORDING_IN_PROGRESS);
        EXPECT_EQ(Notifications(), 1u);
    }
    tvsim::ClearLogs();
    EXPECT_FALSE(engine.GetRecordReadyRemindItem(taken));
    EXPECT_EQ(Notifications(), 0u);
}

TEST_F(EngineLifeCycleTest, ReadyThenRecordingThenFailed) {
    const unsigned long uid = Store(Booking(REMINDER_RESERVE_RECORDING_READY, 1, kLocalNow));
    CRemindInfo item;
    ASSERT_TRUE(engine.GetRecordReadyRemindItem(item));
    item.m_bRecording = true;
    item.m_bAlarmed = true;
    ASSERT_TRUE(engine.UpdateRemindItemByUid(uid, item, false, false, false));
    std::vector<CRemindInfo> current;
    ASSERT_TRUE(engine.GetCurrentRecordingItems(current));
    EXPECT_EQ(current.at(0).m_nUid, uid);

    tvsim::ClearLogs();
    ASSERT_TRUE(engine.TransRecording2Fail(uid, 7));
    const CRemindInfo failed = Row(uid);
    EXPECT_EQ(failed.m_nReserveType, REMINDER_RESERVE_RECORDING_FAILED);
    EXPECT_EQ(failed.m_nErrno, 7);
    EXPECT_FALSE(failed.m_bRecording);
    EXPECT_FALSE(failed.m_bAlarmed);
    EXPECT_EQ(Notifications(), 1u);
    EXPECT_FALSE(engine.GetCurrentRecordingItems(current));
}

TEST_F(EngineLifeCycleTest, FailingWithTwentyFailedRemovesTheEarliestFailedFirst) {
    for (uint16_t i = 0; i < 20; ++i) {
        Store(Booking(REMINDER_RESERVE_RECORDING_FAILED, static_cast<uint16_t>(100 + i),
                      kLocalNow - 86400 + 60u * i));
    }
    const unsigned long uid = Store(Booking(REMINDER_RESERVE_RECORDING_IN_PROGRESS, 1, kLocalNow));
    ASSERT_TRUE(engine.TransRecording2Fail(uid, 1000));
    const std::vector<CRemindInfo> list = Stored();
    EXPECT_EQ(list.size(), 20u);
    EXPECT_EQ(list.front().m_nEventId, 101);
    EXPECT_EQ(list.back().m_nReserveType, REMINDER_RESERVE_RECORDING_FAILED);
}

TEST_F(EngineLifeCycleTest, DelayedRecordingWaitsAgainMarkedAsConflict) {
    CRemindInfo item = Booking(REMINDER_RESERVE_RECORDING_IN_PROGRESS, 1, kLocalNow);
    item.m_bRecording = true;
    item.m_bAlarmed = true;
    const unsigned long uid = Store(item);
    ASSERT_TRUE(engine.RecordingIsDelayed(uid));
    const CRemindInfo delayed = Row(uid);
    EXPECT_EQ(delayed.m_nReserveType, REMINDER_RESERVE_RECORDING_MONITORED);
    EXPECT_TRUE(delayed.m_bUnresolvedConflict);
    EXPECT_FALSE(delayed.m_bRecording);
    EXPECT_FALSE(delayed.m_bAlarmed);
}

TEST_F(EngineLifeCycleTest, RefusalsLeaveTheRowAsItWas) {
    for (const EReserveType type :
         {REMINDER_RESERVE_VIEWING, REMINDER_RESERVE_RECORDING_MONITORED,
          REMINDER_RESERVE_RECORDING_READY, REMINDER_RESERVE_RECORDING_FAILED}) {
        testsupport::ClearStore();
        CRemindInfo item = Booking(type, 1, kLocalNow);
        item.m_bRecording = true;  // a flag alone does not make it a running recording
        const unsigned long uid = Store(item);
        const std::string before = Row(uid).Serialize();
        tvsim::ClearLogs();
        EXPECT_FALSE(engine.TransRecording2Fail(uid, 5)) << type;
        EXPECT_FALSE(engine.RecordingIsDelayed(uid)) << type;
        EXPECT_FALSE(engine.DeleteRecordingItem()) << type;
        EXPECT_EQ(Row(uid).Serialize(), before) << type;
        EXPECT_EQ(Notifications(), 0u) << type;
    }
    // A row marked running but not recording is not the one that ends.
    testsupport::ClearStore();
    Store(Booking(REMINDER_RESERVE_RECORDING_IN_PROGRESS, 1, kLocalNow));
    EXPECT_FALSE(engine.DeleteRecordingItem());
    EXPECT_FALSE(engine.TransRecording2Fail(REMINDER_INVALID_UID, 5));
    EXPECT_FALSE(engine.RecordingIsDelayed(REMINDER_INVALID_UID));
    EXPECT_EQ(Stored().size(), 1u);
}

TEST_F(EngineLifeCycleTest, FinishedRecordingOfASplitEventTakesAllItsParts) {
    auto part = [](EReserveType type, uint16_t eventId, uint32_t start) {
        CRemindInfo item = Booking(type, eventId, start);
        item.m_sProgramCrid = "crid://t/Film#1";
        return item;
    };
    Store(part(REMINDER_RESERVE_RECORDING_MONITORED, 1, kLocalNow - 3600));
    CRemindInfo running = part(REMINDER_RESERVE_RECORDING_IN_PROGRESS, 2, kLocalNow);
    running.m_bRecording = true;
    Store(running);
    Store(part(REMINDER_RESERVE_RECORDING_MONITORED, 3, kLocalNow + 3600));
    Store(Booking(REMINDER_RESERVE_VIEWING, 4, kLocalNow + 7200));
    tvsim::ClearLogs();
    ASSERT_TRUE(engine.DeleteRecordingItem());
    ASSERT_EQ(Stored().size(), 1u);
    EXPECT_EQ(Stored()[0].m_nEventId, 4);
    EXPECT_EQ(Notifications(), 1u);
}

}  // namespace
