// Deletions by list, by key and of everything; the two housekeeping passes (past bookings move on
// or fail, expired ones go); and the recorder's side of a recording: ready, recording, then
// failed, delayed or done, where every refusal leaves the row as it was.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "ReminderAPIImp.h"
#include "TestSupport.h"
#include "system_settings.h"

namespace {

// Wall-clock seconds of a day of November 2026 (the television runs on UTC in these tests).
// The 26th is a Thursday.
uint32_t Nov(int day, int hour, int minute = 0) {
    struct tm tm {};
    tm.tm_year = 126;
    tm.tm_mon = 10;
    tm.tm_mday = day;
    tm.tm_hour = hour;
    tm.tm_min = minute;
    return static_cast<uint32_t>(timegm(&tm));
}

CRemindInfo Booking(EReserveType type, uint16_t eventId, uint32_t start) {
    CRemindInfo item;
    item.m_nReserveType = type;
    item.m_nServiceId = 1001;
    item.m_nEventId = eventId;
    item.SetStartTime(start);
    item.m_nDuration = 3600;
    item.m_sTitle = "Event " + std::to_string(eventId);
    return item;
}

class EngineUpdateTest : public ::testing::Test {
protected:
    void SetUp() override {
        testsupport::LoadSampleTelevision();
        tvsim::SetUtcOffset(0);
        testsupport::ClearStore();
        tvsim::ClearLogs();
    }

    void Store(const CRemindInfo& item) { ASSERT_TRUE(engine.t_AddRemindItem(item, false)); }

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

    std::vector<int> StoredEvents() {
        std::vector<int> events;
        for (const CRemindInfo& e : Stored()) events.push_back(e.m_nEventId);
        return events;
    }

    static size_t Notifications() { return testsupport::LogLinesContaining(": Notify(").size(); }

    CReminderAPIImp engine;
};

TEST_F(EngineUpdateTest, RepeatingBookingsMoveToTheirNextDayOverAWeekend) {
    struct Case {
        EReminderRepeatType repeat;
        unsigned char days;  // bit 0 Sunday
        uint32_t now;
        uint32_t expected;
    };
    const Case cases[] = {
        {REMINDER_REPEAT_EVERYDAY, 0, Nov(28, 9), Nov(28, 20)},
        {REMINDER_REPEAT_EVERYDAY, 0, Nov(29, 21), Nov(30, 20)},
        {REMINDER_REPEAT_MON_FRI, 0, Nov(28, 9), Nov(30, 20)},
        {REMINDER_REPEAT_MON_FRI, 0, Nov(29, 21), Nov(30, 20)},
        {REMINDER_REPEAT_MANUAL, 0x14 /* Tue, Thu */, Nov(28, 9), Nov(30, 20) + 86400},
    };
    for (const Case& c : cases) {
        testsupport::ClearStore();
        // Booked on Thursday for the same evening.
        tvsim::SetCurrentTime(Nov(26, 12));
        CRemindInfo item = Booking(REMINDER_RESERVE_VIEWING, 1, Nov(26, 20));
        item.m_nManual = 1;
        item.m_nRepeatType = c.repeat;
        item.m_cManualRepeat = c.days;
        Store(item);
        tvsim::SetCurrentTime(c.now);
        EXPECT_TRUE(engine.DeletePastRemindItem());
        ASSERT_EQ(Stored().size(), 1u) << "a repeating viewing is moved, not deleted";
        EXPECT_EQ(Stored()[0].m_nEventTime, c.expected) << "repeat " << c.repeat << " at " << c.now;
    }
}

TEST_F(EngineUpdateTest, MissedRecordingFailsWithItsReasonAndTheCapTakesTheEarliestFailed) {
    tvsim::SetCurrentTime(Nov(27, 12));
    for (uint16_t i = 0; i < 20; ++i) {
        Store(Booking(REMINDER_RESERVE_RECORDING_FAILED, static_cast<uint16_t>(100 + i),
                      Nov(20, 8) + 3600u * i));
    }
    Store(Booking(REMINDER_RESERVE_RECORDING_MONITORED, 1, Nov(27, 10)));
    Store(Booking(REMINDER_RESERVE_VIEWING, 2, Nov(27, 9)));       // a passed one-off viewing
    Store(Booking(REMINDER_RESERVE_SCHEDULED_10, 3, Nov(27, 9)));  // left alone
    Store(Booking(REMINDER_RESERVE_RECORDING, 4, Nov(27, 13)));    // still to come
    tvsim::ClearLogs();

    EXPECT_TRUE(engine.DeletePastRemindItem());
    EXPECT_EQ(Notifications(), 1u);
    std::vector<int> failed;
    for (const CRemindInfo& e : Stored()) {
        if (e.m_nReserveType != REMINDER_RESERVE_RECORDING_FAILED) continue;
        failed.push_back(e.m_nEventId);
        if (e.m_nEventId == 1) {
            EXPECT_EQ(e.m_nErrno, 1000);
        }
    }
    // Still twenty: the earliest failed one (event 100) made room for the missed recording.
    EXPECT_EQ(failed.size(), 20u);
    EXPECT_EQ(failed.front(), 101);
    EXPECT_EQ(failed.back(), 1);
    EXPECT_EQ(StoredEvents().size(), 22u);  // the viewing went
}

TEST_F(EngineUpdateTest, PassWhoseWriteDoesNotLandChangesAndAnnouncesNothing) {
    tvsim::SetCurrentTime(Nov(27, 12));
    Store(Booking(REMINDER_RESERVE_VIEWING, 2, Nov(27, 9)));
    Store(Booking(REMINDER_RESERVE_RECORDING_MONITORED, 1, Nov(27, 10)));
    // The store cannot refuse on its own, so the file gets a trigger that refuses the update.
    sqlite3* raw = nullptr;
    ASSERT_EQ(sqlite3_open(std::getenv("REMINDER_DB_PATH"), &raw), SQLITE_OK);
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> db(raw, &sqlite3_close);
    ASSERT_EQ(sqlite3_exec(db.get(),
                           "CREATE TRIGGER refuse BEFORE UPDATE ON Items WHEN NEW.EventId = 1 "
                           "BEGIN SELECT RAISE(ABORT, 'refused'); END;",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    tvsim::ClearLogs();
    EXPECT_FALSE(engine.DeletePastRemindItem());
    sqlite3_exec(db.get(), "DROP TRIGGER refuse;", nullptr, nullptr, nullptr);
    EXPECT_EQ(StoredEvents(), (std::vector<int>{2, 1})) << "the viewing's deletion is undone";
    EXPECT_EQ(Stored().at(1).m_nReserveType, REMINDER_RESERVE_RECORDING_MONITORED);
    EXPECT_EQ(Notifications(), 0u);
}

TEST_F(EngineUpdateTest, InCountrySevenARecordingThatMayStillRunIsLeftAlone) {
    const uint32_t start = Nov(27, 20);
    const uint32_t paddedEnd = start + 3600;
    struct Case {
        int country;
        uint32_t now;
        bool fails;
    };
    for (const Case& c :
         {Case{7, paddedEnd - 1, false}, Case{7, paddedEnd, true}, Case{37, start + 1, true}}) {
        testsupport::ClearStore();
        tvsim::SetSystemSetting(SYSTEM_SETTINGS_KEY_COUNTRY, c.country);
        Store(Booking(REMINDER_RESERVE_RECORDING_MONITORED, 1, start));
        tvsim::SetCurrentTime(c.now);
        engine.DeletePastRemindItem();
        EXPECT_EQ(Stored().at(0).m_nReserveType == REMINDER_RESERVE_RECORDING_FAILED, c.fails)
            << "country " << c.country << " at " << c.now;
    }
}

TEST_F(EngineUpdateTest, EachExpiryRuleAtItsBoundary) {
    const uint32_t start = Nov(27, 20);
    const uint32_t rct = Nov(28, 6);
    constexpr uint32_t k91Days = 7862400;
    struct Case {
        const char* name;
        int country;
        EReserveType type;
        bool recommended;
        const char* seriesCrid;
        uint16_t seriesId;
        int64_t expiresAfter;  // -1: never by this rule
        const char* logged;
    };
    const Case cases[] = {
        {"series from a recommendation", 37, REMINDER_RESERVE_SERIES, true, "crid://s/A", 0xFFFF,
         rct, "Series booking item from RCT is deleted. RCTExpiryTime=["},
        {"series", 37, REMINDER_RESERVE_SERIES, false, "crid://s/A", 0xFFFF, start + k91Days,
         "Series booking item is deleted. ExpiryTime=["},
        {"programme CRID", 37, REMINDER_RESERVE_RECORDING_CRID, false, "", 0xFFFF, rct,
         "ProgramCRID item is deleted. ExpiryTime=["},
        {"failed", 23, REMINDER_RESERVE_RECORDING_FAILED, false, "", 0xFFFF, start,
         "Failed recording is deleted."},
        {"failed of a series, 37", 37, REMINDER_RESERVE_RECORDING_FAILED, false, "crid://s/A",
         0xFFFF, start + k91Days, "Failed series recording is deleted."},
        {"failed, 37", 37, REMINDER_RESERVE_RECORDING_FAILED, false, "", 0xFFFF, -1, ""},
        {"failed of a numbered series", 23, REMINDER_RESERVE_RECORDING_FAILED, false, "", 4, -1,
         ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        testsupport::ClearStore();
        tvsim::SetSystemSetting(SYSTEM_SETTINGS_KEY_COUNTRY, c.country);
        CRemindInfo item = Booking(c.type, 1, start);
        item.m_bRecommended = c.recommended;
        item.m_nRCTExpiryTime = rct;
        item.m_sSeriesCrid = c.seriesCrid;
        item.m_nSeriesId = c.seriesId;
        tvsim::SetCurrentTime(start - 3600);
        Store(item);
        const uint32_t limit =
            c.expiresAfter < 0 ? start + 2 * k91Days : static_cast<uint32_t>(c.expiresAfter);
        tvsim::SetCurrentTime(limit);
        EXPECT_TRUE(engine.DeleteExpiredItem());
        EXPECT_EQ(Stored().size(), 1u) << "kept up to its expiry";
        tvsim::ClearLogs();
        tvsim::SetCurrentTime(limit + 1);
        EXPECT_TRUE(engine.DeleteExpiredItem());
        EXPECT_EQ(Stored().size(), c.expiresAfter < 0 ? 1u : 0u);
        EXPECT_EQ(Notifications(), c.expiresAfter < 0 ? 0u : 1u);
        if (c.expiresAfter >= 0) {
            EXPECT_FALSE(testsupport::LogLinesContaining(c.logged).empty());
        }
    }
}

TEST_F(EngineUpdateTest, RunningRecordingIsKeptAndARepeatingOneIsBookedAgain) {
    tvsim::SetCurrentTime(Nov(27, 12));
    CRemindInfo item = Booking(REMINDER_RESERVE_RECORDING_CRID, 1, Nov(27, 20));
    item.m_nRCTExpiryTime = Nov(27, 21);
    item.m_bRecording = true;
    item.m_nManual = 1;
    item.m_nRepeatType = REMINDER_REPEAT_EVERYDAY;
    Store(item);
    tvsim::SetCurrentTime(Nov(27, 22));

    tvsim::SetServiceRecording(1001, true);
    EXPECT_TRUE(engine.DeleteExpiredItem());
    EXPECT_EQ(Stored().at(0).m_nReserveType, REMINDER_RESERVE_RECORDING_CRID);

    // A PVR that cannot answer does not keep it.
    tvsim::SetFailure("svc_pvr_is_recording");
    EXPECT_TRUE(engine.DeleteExpiredItem());
    EXPECT_TRUE(testsupport::LoggedOn(2, "Checking recording status failed."));
    const std::vector<CRemindInfo> after = Stored();
    ASSERT_EQ(after.size(), 1u);
    EXPECT_EQ(after[0].m_nReserveType, REMINDER_RESERVE_RECORDING);
    EXPECT_FALSE(after[0].m_bRecording);
    EXPECT_EQ(after[0].m_nEventTime, Nov(28, 20));
}

TEST_F(EngineUpdateTest, DeletingOneEpisodeDeletesItsSeries) {
    tvsim::SetCurrentTime(Nov(27, 12));
    auto ofSeries = [](EReserveType type, uint16_t eventId, const char* crid) {
        CRemindInfo item = Booking(type, eventId, Nov(27, 14) + 3600u * eventId);
        item.m_sSeriesCrid = crid;
        return item;
    };
    Store(ofSeries(REMINDER_RESERVE_SERIES, 1, "crid://s/Detective"));
    Store(ofSeries(REMINDER_RESERVE_RECORDING_MONITORED, 2, "CRID://S/DETECTIVE"));
    Store(ofSeries(REMINDER_RESERVE_RECORDING_MONITORED, 3, "crid://s/Detective"));
    Store(ofSeries(REMINDER_RESERVE_RECORDING_FAILED, 4, "crid://s/Other"));
    Store(ofSeries(REMINDER_RESERVE_RECORDING_MONITORED, 5, "crid://s/Other"));
    Store(Booking(REMINDER_RESERVE_VIEWING, 6, Nov(27, 15)));
    std::vector<unsigned long> uids;
    for (const CRemindInfo& e : Stored()) {
        if (e.m_nEventId == 3 || e.m_nEventId == 4 || e.m_nEventId == 6) uids.push_back(e.m_nUid);
    }
    tvsim::ClearLogs();
    EXPECT_TRUE(engine.DeleteRemindItems(uids));
    // The failed episode goes alone; the other series stays.
    EXPECT_EQ(StoredEvents(), (std::vector<int>{5}));
    EXPECT_EQ(Notifications(), 1u);
    std::vector<unsigned long> none;
    EXPECT_FALSE(engine.DeleteRemindItems(none));
}

TEST_F(EngineUpdateTest, DeleteAllKeepsBookingsOnARemoteChannel) {
    EXPECT_FALSE(engine.DeleteAllRemindItem());
    for (uint16_t i = 1; i <= 3; ++i) {
        CRemindInfo item = Booking(REMINDER_RESERVE_VIEWING, i, Nov(27, 20) + 3600u * i);
        item.m_bRemoteChannel = i == 2;
        Store(item);
    }
    EXPECT_TRUE(engine.DeleteAllRemindItem());
    EXPECT_EQ(StoredEvents(), (std::vector<int>{2}));
}

TEST_F(EngineUpdateTest, DeleteMatchingByEachKey) {
    const unsigned long long service = 2001;
    const unsigned short channel[2] = {7, 0};
    const int recordingType = REMINDER_RESERVE_RECORDING_MONITORED;
    const int source = 3;
    const int stream = REMINDER_STREAM_VIRTUAL;
    const std::string programCrid = "crid://A/P1";
    const std::string groupCrid = "crid://g/1";
    const std::string seriesCrid = "CRID://S/1";
    const std::string empty;
    struct Case {
        EDeleteType type;
        const void* value;
        EChannelType channelType;
        std::vector<int> left;
    };
    const Case cases[] = {
        {REM_DELETE_BY_SERVICE_ID, &service, REMINDER_CHANNEL_TYPE_ALL, {1, 3}},
        {REM_DELETE_BY_SERVICE_ID, &service, REMINDER_CHANNEL_TYPE_DTV, {1, 2, 3}},
        {REM_DELETE_BY_CHANNEL, channel, REMINDER_CHANNEL_TYPE_ALL, {1, 3}},
        {REM_DELETE_BY_RESERVE_TYPE, &recordingType, REMINDER_CHANNEL_TYPE_ALL, {1}},
        {REM_DELETE_BY_PROGRAM_CRID, &programCrid, REMINDER_CHANNEL_TYPE_ALL, {3}},
        // Air and cable analogue channels are one map.
        {REM_DELETE_BY_PROGRAM_CRID, &programCrid, REMINDER_CHANNEL_TYPE_CATV, {1, 3}},
        {REM_DELETE_BY_PROGRAM_CRID, &empty, REMINDER_CHANNEL_TYPE_ALL, {1, 2, 3}},
        {REM_DELETE_BY_GROUP_CRID, &groupCrid, REMINDER_CHANNEL_TYPE_ALL, {2}},
        {REM_DELETE_BY_SOURCE, &source, REMINDER_CHANNEL_TYPE_ALL, {1, 3}},
        {REM_DELETE_BY_STREAM_TYPE, &stream, REMINDER_CHANNEL_TYPE_ALL, {1, 3}},
        {REM_DELETE_BY_SERIES_CRID, &seriesCrid, REMINDER_CHANNEL_TYPE_ALL, {2, 3}},
    };
    for (const Case& c : cases) {
        testsupport::ClearStore();
        // 1: digital, 2: analogue air, 3: analogue cable.
        CRemindInfo digital = Booking(REMINDER_RESERVE_VIEWING, 1, Nov(27, 20));
        digital.m_nChannelType = REMINDER_CHANNEL_TYPE_DTV;
        digital.m_sProgramCrid = "CRID://a/p1";
        digital.m_sGroupCrid = "CRID://G/1";
        digital.m_sSeriesCrid = "crid://s/1";
        CRemindInfo air = Booking(REMINDER_RESERVE_RECORDING_MONITORED, 2, Nov(27, 21));
        air.m_nServiceId = 2001;
        air.m_nChannelType = REMINDER_CHANNEL_TYPE_ATV;
        air.m_nMajor = 7;
        air.m_nMinor = 0;
        air.m_nSource = 3;
        air.m_nStreamType = REMINDER_STREAM_VIRTUAL;
        air.m_sProgramCrid = "crid://a/P1";
        CRemindInfo cable = Booking(REMINDER_RESERVE_RECORDING_MONITORED, 3, Nov(27, 22));
        cable.m_nServiceId = 2002;
        cable.m_nChannelType = REMINDER_CHANNEL_TYPE_CATV;
        cable.m_nMajor = 8;
        cable.m_sGroupCrid = "crid://g/1";
        for (const CRemindInfo& item : {digital, air, cable}) Store(item);
        tvsim::ClearLogs();
        const bool deleted = engine.DeleteMatchingRemindItems(c.type, c.value, c.channelType, true);
        EXPECT_EQ(StoredEvents(), c.left) << "key " << c.type << ", channel type " << c.channelType;
        EXPECT_EQ(deleted, c.left.size() < 3);
        EXPECT_EQ(Notifications(), deleted ? 1u : 0u);
    }
    EXPECT_FALSE(engine.DeleteMatchingRemindItems(REM_DELETE_BY_SERVICE_ID, nullptr,
                                                  REMINDER_CHANNEL_TYPE_ALL, true));
}

TEST_F(EngineUpdateTest, RecordingIsReadyThenRecordingThenFailedOrDelayed) {
    Store(Booking(REMINDER_RESERVE_RECORDING_READY, 2, Nov(27, 21)));
    Store(Booking(REMINDER_RESERVE_RECORDING_READY, 1, Nov(27, 20)));
    CRemindInfo taken;
    ASSERT_TRUE(engine.GetRecordReadyRemindItem(taken));
    EXPECT_EQ(taken.m_nEventId, 1) << "the earliest ready one first";
    EXPECT_EQ(Row(taken.m_nUid).m_nReserveType, REMINDER_RESERVE_RECORDING_IN_PROGRESS);
    taken.m_bRecording = true;
    taken.m_bAlarmed = true;
    ASSERT_TRUE(engine.UpdateRemindItemByUid(taken.m_nUid, taken, false, false, false));
    std::vector<CRemindInfo> current;
    ASSERT_TRUE(engine.GetCurrentRecordingItems(current));
    EXPECT_EQ(current.at(0).m_nEventId, 1);

    tvsim::ClearLogs();
    ASSERT_TRUE(engine.TransRecording2Fail(taken.m_nUid, 7));
    EXPECT_EQ(Notifications(), 1u);
    CRemindInfo row = Row(taken.m_nUid);
    EXPECT_EQ(row.m_nReserveType, REMINDER_RESERVE_RECORDING_FAILED);
    EXPECT_EQ(row.m_nErrno, 7);
    EXPECT_FALSE(row.m_bRecording || row.m_bAlarmed);
    EXPECT_FALSE(engine.GetCurrentRecordingItems(current));

    ASSERT_TRUE(engine.GetRecordReadyRemindItem(taken));
    ASSERT_TRUE(engine.RecordingIsDelayed(taken.m_nUid));
    row = Row(taken.m_nUid);
    EXPECT_EQ(row.m_nReserveType, REMINDER_RESERVE_RECORDING_MONITORED);
    EXPECT_TRUE(row.m_bUnresolvedConflict);
    EXPECT_FALSE(row.m_bRecording || row.m_bAlarmed);
    EXPECT_FALSE(engine.GetRecordReadyRemindItem(taken));
}

TEST_F(EngineUpdateTest, LifeCycleRefusalsLeaveTheRowAsItWas) {
    for (const EReserveType type :
         {REMINDER_RESERVE_VIEWING, REMINDER_RESERVE_RECORDING_MONITORED,
          REMINDER_RESERVE_RECORDING_READY, REMINDER_RESERVE_RECORDING_FAILED}) {
        testsupport::ClearStore();
        CRemindInfo item = Booking(type, 1, Nov(27, 20));
        item.m_bRecording = true;  // the flag alone does not make a running recording
        Store(item);
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
    for (uint16_t part = 1; part <= 3; ++part) {
        CRemindInfo item =
            Booking(REMINDER_RESERVE_RECORDING_MONITORED, part, Nov(27, 20) + 3600u * part);
        item.m_sProgramCrid = "crid://t/Film#1";
        if (part == 2) {
            item.m_nReserveType = REMINDER_RESERVE_RECORDING_IN_PROGRESS;
            item.m_bRecording = true;
        }
        Store(item);
    }
    Store(Booking(REMINDER_RESERVE_VIEWING, 4, Nov(27, 20)));
    tvsim::ClearLogs();
    ASSERT_TRUE(engine.DeleteRecordingItem());
    EXPECT_EQ(StoredEvents(), (std::vector<int>{4}));
    EXPECT_EQ(Notifications(), 1u);
}

}  // namespace
