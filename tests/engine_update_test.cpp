// Deletions by list, by key and of everything; the two housekeeping passes (past bookings move on
// or fail, expired ones go); and the recorder's side of a recording: ready, recording, then
// failed, delayed or done, where every refusal leaves the row as it was.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "EngineTest.h"
#include "system_settings.h"

namespace {

// Wall-clock seconds of a day of November 2026 (the television runs on UTC in these tests).
// The 26th is a Thursday.
constexpr uint32_t Nov(int day, int hour) {
    return 1793491200u + static_cast<uint32_t>((day - 1) * 86400 + hour * 3600);
}

using testsupport::kFailed;
using testsupport::kViewing;
using testsupport::kWaiting;

CRemindInfo Booking(EReserveType type, int eventId, uint32_t start, const char* seriesCrid = "") {
    CRemindInfo item =
        testsupport::Booking(type, 1001, static_cast<uint16_t>(eventId), start, 3600);
    item.m_sSeriesCrid = seriesCrid;
    return item;
}

class EngineUpdateTest : public testsupport::CEngineTest {
protected:
    void SetUp() override {
        CEngineTest::SetUp();
        tvsim::SetUtcOffset(0);
    }

    std::vector<int> StoredEvents() {
        std::vector<int> events;
        for (const CRemindInfo& e : Stored()) events.push_back(e.m_nEventId);
        return events;
    }
};

TEST_F(EngineUpdateTest, PassedBookingsMoveToTheirNextDayOrFail) {
    // Booked on Thursday for that evening: its kind, repeat and days (bit 0 Sunday), the
    // country, the time of the pass, and what it becomes.
    const std::tuple<EReserveType, EReminderRepeatType, int, int, uint32_t, EReserveType, uint32_t>
        cases[] = {
            {kViewing, REMINDER_REPEAT_EVERYDAY, 0, 37, Nov(28, 9), kViewing, Nov(28, 20)},
            {kViewing, REMINDER_REPEAT_EVERYDAY, 0, 37, Nov(29, 21), kViewing, Nov(30, 20)},
            {kViewing, REMINDER_REPEAT_MON_FRI, 0, 37, Nov(28, 9), kViewing, Nov(30, 20)},
            {kViewing, REMINDER_REPEAT_MON_FRI, 0, 37, Nov(29, 21), kViewing, Nov(30, 20)},
            {kViewing, REMINDER_REPEAT_MANUAL, 0x14, 37, Nov(28, 9), kViewing, Nov(30, 20) + 86400},
            // In country 7 a recording that may still run (to its padded end) is left alone.
            {kWaiting, REMINDER_REPEAT_NONE, 0, 7, Nov(26, 21) - 1, kWaiting, Nov(26, 20)},
            {kWaiting, REMINDER_REPEAT_NONE, 0, 7, Nov(26, 21), kFailed, Nov(26, 20)},
            {kWaiting, REMINDER_REPEAT_NONE, 0, 37, Nov(26, 20) + 1, kFailed, Nov(26, 20)},
        };
    for (const auto& [type, repeat, days, country, now, becomes, start] : cases) {
        SCOPED_TRACE(std::to_string(repeat) + " in " + std::to_string(country) + " at " +
                     std::to_string(now));
        tvsim::SetSystemSetting(SYSTEM_SETTINGS_KEY_COUNTRY, country);
        tvsim::SetCurrentTime(Nov(26, 12));
        CRemindInfo item = Booking(type, 1, Nov(26, 20));
        item.m_nManual = repeat != REMINDER_REPEAT_NONE, item.m_nRepeatType = repeat;
        item.m_cManualRepeat = static_cast<unsigned char>(days);
        Restore({item});
        tvsim::SetCurrentTime(now);
        engine.DeletePastRemindItem();
        ASSERT_EQ(Stored().size(), 1u) << "moved or failed, not deleted";
        EXPECT_EQ(Stored()[0].m_nReserveType, becomes);
        EXPECT_EQ(Stored()[0].m_nEventTime, start);
    }
}

TEST_F(EngineUpdateTest, MissedRecordingFailsWithItsReasonAndTheCapTakesTheEarliestFailed) {
    tvsim::SetCurrentTime(Nov(27, 12));
    for (int i = 0; i < 20; ++i) Store(Booking(kFailed, 100 + i, Nov(20, 8) + 3600u * i));
    Store(Booking(kWaiting, 1, Nov(27, 10)));
    Store(Booking(kViewing, 2, Nov(27, 9)));                       // a passed one-off viewing
    Store(Booking(REMINDER_RESERVE_SCHEDULED_10, 3, Nov(27, 9)));  // left alone
    Store(Booking(REMINDER_RESERVE_RECORDING, 4, Nov(27, 13)));    // still to come
    tvsim::ClearLogs();
    EXPECT_TRUE(engine.DeletePastRemindItem());
    EXPECT_EQ(Notifications(), 1u);
    // Still twenty failed: the earliest (event 100) made room for the missed recording; the
    // viewing went.
    const std::vector<CRemindInfo> after = Stored();
    ASSERT_EQ(after.size(), 22u);
    EXPECT_EQ(after.front().m_nEventId, 101);
    EXPECT_EQ(after[20].m_nEventId, 1);
    EXPECT_EQ(after[20].m_nReserveType, kFailed);
    EXPECT_EQ(after[20].m_nErrno, 1000);
}

TEST_F(EngineUpdateTest, PassWhoseWriteDoesNotLandChangesAndAnnouncesNothing) {
    tvsim::SetCurrentTime(Nov(27, 12));
    Store(Booking(kViewing, 2, Nov(27, 9)));
    Store(Booking(kWaiting, 1, Nov(27, 10)));
    Sql("CREATE TRIGGER refuse BEFORE UPDATE ON Items WHEN NEW.EventId = 1 "
        "BEGIN SELECT RAISE(ABORT, 'refused'); END;");
    tvsim::ClearLogs();
    EXPECT_FALSE(engine.DeletePastRemindItem());
    Sql("DROP TRIGGER refuse;");
    EXPECT_EQ(StoredEvents(), (std::vector<int>{2, 1})) << "the viewing's deletion is undone";
    EXPECT_EQ(Stored().at(1).m_nReserveType, kWaiting);
    EXPECT_EQ(Notifications(), 0u);
}

TEST_F(EngineUpdateTest, EachExpiryRuleAtItsBoundary) {
    constexpr uint32_t k91Days = 7862400;
    const uint32_t start = Nov(27, 20), rct = Nov(28, 6), late = start + k91Days;
    // Country, kind, from a recommendation, series CRID and number; the last second it is kept
    // and whether it goes after that (or is kept for ever).
    const std::tuple<int, EReserveType, bool, const char*, uint16_t, uint32_t, bool> cases[] = {
        {37, REMINDER_RESERVE_SERIES, true, "crid://s/A", 0xFFFF, rct, true},
        {37, REMINDER_RESERVE_SERIES, false, "crid://s/A", 0xFFFF, late, true},
        {37, REMINDER_RESERVE_RECORDING_CRID, false, "", 0xFFFF, rct, true},
        {23, kFailed, false, "", 0xFFFF, start, true},
        {37, kFailed, false, "crid://s/A", 0xFFFF, late, true},
        {37, kFailed, false, "", 0xFFFF, late + k91Days, false},
        {23, kFailed, false, "", 4, late + k91Days, false},  // of a numbered series
    };
    for (const auto& [country, type, recommended, seriesCrid, seriesId, last, goes] : cases) {
        SCOPED_TRACE(std::to_string(type) + " in " + std::to_string(country));
        tvsim::SetSystemSetting(SYSTEM_SETTINGS_KEY_COUNTRY, country);
        CRemindInfo item = Booking(type, 1, start, seriesCrid);
        item.m_bRecommended = recommended, item.m_nRCTExpiryTime = rct, item.m_nSeriesId = seriesId;
        tvsim::SetCurrentTime(start - 3600);
        Restore({item});
        tvsim::SetCurrentTime(last);
        EXPECT_TRUE(engine.DeleteExpiredItem());
        EXPECT_EQ(Stored().size(), 1u) << "kept up to its expiry";
        tvsim::ClearLogs();
        tvsim::SetCurrentTime(last + 1);
        EXPECT_TRUE(engine.DeleteExpiredItem());
        EXPECT_EQ(Stored().size(), goes ? 0u : 1u);
        EXPECT_EQ(Notifications(), goes ? 1u : 0u);
    }
}

TEST_F(EngineUpdateTest, RunningRecordingIsKeptAndARepeatingOneIsBookedAgain) {
    tvsim::SetCurrentTime(Nov(27, 12));
    CRemindInfo item = Booking(REMINDER_RESERVE_RECORDING_CRID, 1, Nov(27, 20));
    item.m_nRCTExpiryTime = Nov(27, 21), item.m_bRecording = true;
    item.m_nManual = 1, item.m_nRepeatType = REMINDER_REPEAT_EVERYDAY;
    Store(item);
    tvsim::SetCurrentTime(Nov(27, 22));
    tvsim::SetServiceRecording(1001, true);
    EXPECT_TRUE(engine.DeleteExpiredItem());
    EXPECT_EQ(Stored().at(0).m_nReserveType, REMINDER_RESERVE_RECORDING_CRID);

    // A PVR that cannot answer does not keep it.
    tvsim::SetFailure("svc_pvr_is_recording");
    EXPECT_TRUE(engine.DeleteExpiredItem());
    const std::vector<CRemindInfo> after = Stored();
    ASSERT_EQ(after.size(), 1u);
    EXPECT_EQ(after[0].m_nReserveType, REMINDER_RESERVE_RECORDING);
    EXPECT_FALSE(after[0].m_bRecording);
    EXPECT_EQ(after[0].m_nEventTime, Nov(28, 20));
}

TEST_F(EngineUpdateTest, DeletingByListTakesWholeSeriesAndDeleteAllKeepsRemoteChannels) {
    tvsim::SetCurrentTime(Nov(27, 12));
    Restore({Booking(REMINDER_RESERVE_SERIES, 1, Nov(27, 15), "crid://s/Detective"),
             Booking(kWaiting, 2, Nov(27, 16), "CRID://S/DETECTIVE"),
             Booking(kWaiting, 3, Nov(27, 17), "crid://s/Detective"),
             Booking(kFailed, 4, Nov(27, 18), "crid://s/Other"),
             Booking(kWaiting, 5, Nov(27, 19), "crid://s/Other"),
             Booking(kViewing, 6, Nov(27, 15))});
    std::vector<unsigned long> uids;
    for (const CRemindInfo& e : Stored()) {
        if (e.m_nEventId == 3 || e.m_nEventId == 4 || e.m_nEventId == 6) uids.push_back(e.m_nUid);
    }
    tvsim::ClearLogs();
    EXPECT_TRUE(engine.DeleteRemindItems(uids));
    // One episode takes its series; the failed episode goes alone; the other series stays.
    EXPECT_EQ(StoredEvents(), (std::vector<int>{5}));
    EXPECT_EQ(Notifications(), 1u);
    std::vector<unsigned long> none;
    EXPECT_FALSE(engine.DeleteRemindItems(none));

    CRemindInfo remote = Booking(kViewing, 2, Nov(27, 20));
    remote.m_bRemoteChannel = true;
    Store(remote);
    EXPECT_TRUE(engine.DeleteAllRemindItem());
    EXPECT_EQ(StoredEvents(), (std::vector<int>{2}));
    testsupport::ClearStore();
    EXPECT_FALSE(engine.DeleteAllRemindItem());
}

TEST_F(EngineUpdateTest, DeleteMatchingByEachKey) {
    // 1: digital, 2: analogue air, 3: analogue cable.
    CRemindInfo digital = Booking(kViewing, 1, Nov(27, 20), "crid://s/1");
    digital.m_nChannelType = REMINDER_CHANNEL_TYPE_DTV, digital.m_sProgramCrid = "CRID://a/p1";
    digital.m_sGroupCrid = "CRID://G/1";
    CRemindInfo air = Booking(kWaiting, 2, Nov(27, 21));
    air.m_nServiceId = 2001, air.m_nChannelType = REMINDER_CHANNEL_TYPE_ATV, air.m_nMajor = 7;
    air.m_nMinor = 0, air.m_nSource = 3, air.m_nStreamType = REMINDER_STREAM_VIRTUAL;
    air.m_sProgramCrid = "crid://a/P1";
    CRemindInfo cable = Booking(kWaiting, 3, Nov(27, 22));
    cable.m_nServiceId = 2002, cable.m_nChannelType = REMINDER_CHANNEL_TYPE_CATV;
    cable.m_sGroupCrid = "crid://g/1";

    const unsigned long long service = 2001;
    const unsigned short channel[2] = {7, 0};
    const int recording = kWaiting, source = 3, stream = REMINDER_STREAM_VIRTUAL;
    const std::string program = "crid://A/P1", group = "crid://g/1", series = "CRID://S/1";
    constexpr EChannelType kAll = REMINDER_CHANNEL_TYPE_ALL;
    // The key, its value, the channel type, and the bookings left.
    const std::tuple<EDeleteType, const void*, EChannelType, std::vector<int>> cases[] = {
        {REM_DELETE_BY_SERVICE_ID, &service, kAll, {1, 3}},
        {REM_DELETE_BY_SERVICE_ID, &service, REMINDER_CHANNEL_TYPE_DTV, {1, 2, 3}},
        {REM_DELETE_BY_CHANNEL, channel, kAll, {1, 3}},
        {REM_DELETE_BY_RESERVE_TYPE, &recording, kAll, {1}},
        {REM_DELETE_BY_PROGRAM_CRID, &program, kAll, {3}},
        // Air and cable analogue channels are one map.
        {REM_DELETE_BY_PROGRAM_CRID, &program, REMINDER_CHANNEL_TYPE_CATV, {1, 3}},
        {REM_DELETE_BY_GROUP_CRID, &group, kAll, {2}},
        {REM_DELETE_BY_SOURCE, &source, kAll, {1, 3}},
        {REM_DELETE_BY_STREAM_TYPE, &stream, kAll, {1, 3}},
        {REM_DELETE_BY_SERIES_CRID, &series, kAll, {2, 3}},
    };
    for (const auto& [type, value, channelType, left] : cases) {
        Restore({digital, air, cable});
        tvsim::ClearLogs();
        const bool deleted = engine.DeleteMatchingRemindItems(type, value, channelType, true);
        EXPECT_EQ(StoredEvents(), left) << "key " << type << ", channel type " << channelType;
        EXPECT_EQ(deleted, left.size() < 3);
        EXPECT_EQ(Notifications(), deleted ? 1u : 0u);
    }
    EXPECT_FALSE(engine.DeleteMatchingRemindItems(REM_DELETE_BY_SERVICE_ID, nullptr, kAll, true));
}

TEST_F(EngineUpdateTest, RecordingIsReadyThenRecordingThenFailedOrDelayed) {
    Store(Booking(REMINDER_RESERVE_RECORDING_READY, 2, Nov(27, 21)));
    Store(Booking(REMINDER_RESERVE_RECORDING_READY, 1, Nov(27, 20)));
    CRemindInfo taken;
    ASSERT_TRUE(engine.GetRecordReadyRemindItem(taken));
    EXPECT_EQ(taken.m_nEventId, 1) << "the earliest ready one first";
    EXPECT_EQ(Row(taken.m_nUid).m_nReserveType, REMINDER_RESERVE_RECORDING_IN_PROGRESS);
    taken.m_bRecording = taken.m_bAlarmed = true;
    ASSERT_TRUE(engine.UpdateRemindItemByUid(taken.m_nUid, taken, false, false, false));
    std::vector<CRemindInfo> current;
    ASSERT_TRUE(engine.GetCurrentRecordingItems(current));
    EXPECT_EQ(current.at(0).m_nEventId, 1);

    tvsim::ClearLogs();
    ASSERT_TRUE(engine.TransRecording2Fail(taken.m_nUid, 7));
    EXPECT_EQ(Notifications(), 1u);
    CRemindInfo row = Row(taken.m_nUid);
    EXPECT_EQ(row.m_nReserveType, kFailed);
    EXPECT_EQ(row.m_nErrno, 7);
    EXPECT_FALSE(row.m_bRecording || row.m_bAlarmed);
    EXPECT_FALSE(engine.GetCurrentRecordingItems(current));

    ASSERT_TRUE(engine.GetRecordReadyRemindItem(taken));
    ASSERT_TRUE(engine.RecordingIsDelayed(taken.m_nUid));
    row = Row(taken.m_nUid);
    EXPECT_EQ(row.m_nReserveType, kWaiting);
    EXPECT_TRUE(row.m_bUnresolvedConflict);
    EXPECT_FALSE(row.m_bRecording || row.m_bAlarmed);
    EXPECT_FALSE(engine.GetRecordReadyRemindItem(taken));
}

TEST_F(EngineUpdateTest, LifeCycleRefusalsLeaveTheRowAsItWas) {
    for (const EReserveType type :
         {kViewing, kWaiting, REMINDER_RESERVE_RECORDING_READY, kFailed}) {
        CRemindInfo item = Booking(type, 1, Nov(27, 20));
        item.m_bRecording = true;  // the flag alone does not make a running recording
        Restore({item});
        const CRemindInfo before = Stored().at(0);
        tvsim::ClearLogs();
        EXPECT_FALSE(engine.TransRecording2Fail(before.m_nUid, 5)) << type;
        EXPECT_FALSE(engine.RecordingIsDelayed(before.m_nUid)) << type;
        EXPECT_FALSE(engine.DeleteRecordingItem()) << type;
        EXPECT_EQ(Row(before.m_nUid).Serialize(), before.Serialize()) << type;
        EXPECT_EQ(Notifications(), 0u) << type;
    }
    EXPECT_FALSE(engine.TransRecording2Fail(REMINDER_INVALID_UID, 5));
    EXPECT_FALSE(engine.RecordingIsDelayed(REMINDER_INVALID_UID));
}

TEST_F(EngineUpdateTest, FinishedRecordingOfASplitEventTakesAllItsParts) {
    for (int part = 1; part <= 3; ++part) {
        CRemindInfo item = Booking(part == 2 ? REMINDER_RESERVE_RECORDING_IN_PROGRESS : kWaiting,
                                   part, Nov(27, 20 + part));
        item.m_sProgramCrid = "crid://t/Film#1", item.m_bRecording = part == 2;
        Store(item);
    }
    Store(Booking(kViewing, 4, Nov(27, 20)));
    tvsim::ClearLogs();
    ASSERT_TRUE(engine.DeleteRecordingItem());
    EXPECT_EQ(StoredEvents(), (std::vector<int>{4}));
    EXPECT_EQ(Notifications(), 1u);
}

}  // namespace
