// The rules of adding a booking: PVR support, the list limit, the scan's refusals and
// replacements, split events with their roll-back, back-to-back margins and series bookings.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "ReminderAPIImp.h"
#include "TestSupport.h"

namespace {

constexpr uint32_t kUtcNow = 1800000000u;
constexpr uint32_t kLocalNow = kUtcNow + 3600u;
constexpr int kSystemLog = 2;

// A small television: two channels and a film in three parts on the first, each part carrying
// the film's CRID.
std::string Television(int country, int pvr) {
    return R"({"now": 1800000000, "utc_offset": 3600, "country": )" + std::to_string(country) +
           R"(, "system_info": {"18": 2, "238": 1, "125": )" + std::to_string(pvr) + R"(},
      "vconf": {"db/schedule-manager/startmargin": 2, "db/schedule-manager/endmargin": 5},
      "monitoring_type": 1,
      "channels": [
        {"service_id": 11, "major": 1, "minor": 0, "ptc": 21, "channel_type": 2,
         "program_number": 1, "transport_stream_id": 1, "frequency": 474000, "service_profile": 1},
        {"service_id": 12, "major": 2, "minor": 0, "ptc": 21, "channel_type": 2,
         "program_number": 2, "transport_stream_id": 1, "frequency": 474000, "service_profile": 1}],
      "programmes": [
        {"service_id": 11, "event_id": 50, "start": 1800003600, "duration": 1800, "title": "Film",
         "program_crid": "crid://t/film#1",
         "parts": [{"event_id": 51, "start": 1800007200, "duration": 1800, "program_crid": "crid://t/film#1"},
                   {"event_id": 52, "start": 1800010800, "duration": 1800, "program_crid": "crid://t/film#1"}]}]})";
}

CRemindInfo Booking(EReserveType type, unsigned long long service, uint16_t eventId,
                    uint32_t localStart, uint32_t duration = 1800) {
    CRemindInfo item;
    item.m_nReserveType = type;
    item.m_nServiceId = service;
    item.m_nEventId = eventId;
    item.SetStartTime(localStart);
    item.m_nDuration = duration;
    item.m_sTitle = "Event " + std::to_string(eventId);
    return item;
}

class EngineAddTest : public ::testing::Test {
protected:
    void SetUp() override { UseTelevision(37, 1); }

    void UseTelevision(int country, int pvr) {
        std::string error;
        ASSERT_TRUE(tvsim::LoadProfile(Television(country, pvr), &error)) << error;
        testsupport::ClearStore();
        tvsim::ClearLogs();
    }

    std::vector<CRemindInfo> Stored() {
        std::vector<CRemindInfo> list;
        engine.t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
        return list;
    }

    bool Add(CRemindInfo item) { return engine.AddRemindItem(item, false, false); }

    CRemindInfo FromGuide(uint16_t eventId, EReserveType type) {
        TCProgramData programme;
        EXPECT_TRUE(tvsim::FindProgramme(11, eventId, programme));
        CRemindInfo item;
        item.Set(programme, type);
        return item;
    }

    CReminderAPIImp engine;
};

TEST_F(EngineAddTest, WithoutPvrOnlyViewingsAreBooked) {
    UseTelevision(37, 0);
    EXPECT_TRUE(Add(Booking(REMINDER_RESERVE_VIEWING, 11, 1, kLocalNow + 600)));
    EXPECT_FALSE(Add(Booking(REMINDER_RESERVE_RECORDING, 11, 2, kLocalNow + 6000)));
    EXPECT_TRUE(
        testsupport::LoggedOn(kSystemLog, "TV does not support PVR, schedule recording failed."));
    EXPECT_EQ(Stored().size(), 1u);
}

TEST_F(EngineAddTest, FullListTakesOneMoreOnlyWhileARecordingIsReady) {
    for (uint16_t i = 0; i < 29; ++i) {
        ASSERT_TRUE(Add(Booking(REMINDER_RESERVE_VIEWING, 12, i, kLocalNow + 3600u * (i + 1))));
    }
    CRemindInfo ready = Booking(REMINDER_RESERVE_VIEWING, 12, 100, kLocalNow + 60);
    ASSERT_TRUE(Add(ready));

    // 30 counted items and none ready: refused, silently.
    tvsim::ClearLogs();
    EXPECT_FALSE(Add(Booking(REMINDER_RESERVE_VIEWING, 12, 200, kLocalNow + 200000)));
    EXPECT_EQ(Stored().size(), 30u);
    EXPECT_TRUE(testsupport::LogLinesContaining("Failed").empty());

    // One of the 30 is ready to record: one more goes through...
    CRemindInfo stored = Stored().front();
    stored.m_nReserveType = REMINDER_RESERVE_RECORDING_READY;
    ASSERT_TRUE(engine.t_UpdateRemindItemByUid(stored.m_nUid, stored));
    EXPECT_TRUE(Add(Booking(REMINDER_RESERVE_VIEWING, 12, 201, kLocalNow + 200000)));
    // ...but only one: at 31 the ready item no longer helps.
    EXPECT_FALSE(Add(Booking(REMINDER_RESERVE_VIEWING, 12, 202, kLocalNow + 300000)));
    EXPECT_EQ(Stored().size(), 31u);
}

TEST_F(EngineAddTest, ScanRefusesWhatIsAlreadyBooked) {
    // A group subscription once per group CRID.
    CRemindInfo group = Booking(REMINDER_RESERVE_GROUP, 11, 1, kLocalNow + 600);
    group.m_sGroupCrid = "crid://t/group";
    ASSERT_TRUE(Add(group));
    group.m_nEventId = 2;
    EXPECT_FALSE(Add(group));
    EXPECT_TRUE(testsupport::LoggedOn(kSystemLog, "Failed, Group Already booked."));

    // A record-list booking of the same event at the same time.
    CRemindInfo listed = Booking(REMINDER_RESERVE_RECORDING, 11, 10, kLocalNow + 7200);
    listed.m_bRecordListBooking = true;
    ASSERT_TRUE(Add(listed));
    EXPECT_FALSE(Add(listed));
    EXPECT_TRUE(testsupport::LoggedOn(kSystemLog, "Failed, Program Already booked."));

    // The same plain recording twice, and a record-list booking of a recorded event.
    const CRemindInfo recording = Booking(REMINDER_RESERVE_RECORDING, 12, 20, kLocalNow + 9000);
    ASSERT_TRUE(Add(recording));
    tvsim::ClearLogs();
    EXPECT_FALSE(Add(recording));
    EXPECT_TRUE(testsupport::LoggedOn(kSystemLog, "Failed, Already booked."));
    CRemindInfo listedAgain = recording;
    listedAgain.m_bRecordListBooking = true;
    tvsim::ClearLogs();
    EXPECT_FALSE(Add(listedAgain));
    EXPECT_TRUE(testsupport::LoggedOn(kSystemLog, "Failed, Already booked."));
    EXPECT_EQ(Stored().size(), 3u);
}

TEST_F(EngineAddTest, PlainRecordingReplacesViewingAndClashingRecordListBooking) {
    // A viewing reminder of the same event gives way to its recording.
    ASSERT_TRUE(Add(Booking(REMINDER_RESERVE_VIEWING, 11, 1, kLocalNow + 600)));
    ASSERT_TRUE(Add(Booking(REMINDER_RESERVE_RECORDING, 11, 1, kLocalNow + 600)));
    std::vector<CRemindInfo> list = Stored();
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0].m_nReserveType, REMINDER_RESERVE_RECORDING);

    // A record-list booking whose time clashes with a new plain recording is removed.
    CRemindInfo listed = Booking(REMINDER_RESERVE_RECORDING, 12, 5, kLocalNow + 20000, 3600);
    listed.m_bRecordListBooking = true;
    ASSERT_TRUE(Add(listed));
    ASSERT_TRUE(Add(Booking(REMINDER_RESERVE_RECORDING, 11, 6, kLocalNow + 21800, 3600)));
    EXPECT_TRUE(testsupport::Logged("replace with manual booking"));
    list = Stored();
    ASSERT_EQ(list.size(), 2u);
    for (const CRemindInfo& e : list) EXPECT_FALSE(e.m_bRecordListBooking);

    // A viewing of a recorded event is not refused by the scan.
    EXPECT_TRUE(Add(Booking(REMINDER_RESERVE_VIEWING, 11, 1, kLocalNow + 600)));
}

TEST_F(EngineAddTest, CridPlaceholderIsStoredWithoutChecks) {
    CRemindInfo recording = Booking(REMINDER_RESERVE_RECORDING, 11, 1, kLocalNow + 600);
    ASSERT_TRUE(Add(recording));
    CRemindInfo placeholder = recording;
    placeholder.m_nReserveType = REMINDER_RESERVE_RECORDING_CRID;
    placeholder.m_nEventTime = 0;
    placeholder.m_nStartMarginTime = 0;
    EXPECT_TRUE(Add(placeholder));
    // Stored placeholders are skipped by the scan, so the event can still be booked.
    testsupport::ClearStore();
    ASSERT_TRUE(Add(placeholder));
    EXPECT_TRUE(Add(recording));
    EXPECT_EQ(Stored().size(), 2u);
}

TEST_F(EngineAddTest, SplitEventIsStoredPartByPart) {
    EXPECT_TRUE(Add(FromGuide(50, REMINDER_RESERVE_RECORDING_MONITORED)));
    const std::vector<CRemindInfo> list = Stored();
    ASSERT_EQ(list.size(), 3u);
    for (size_t i = 0; i < list.size(); ++i) {
        EXPECT_EQ(list[i].m_nEventId, 50 + i);
        EXPECT_EQ(list[i].m_nReserveType, REMINDER_RESERVE_RECORDING_MONITORED);
        EXPECT_EQ(list[i].m_sTitle, "Film");
    }
    EXPECT_TRUE(testsupport::Logged("mProgramList size : [3]"));

    // Once the first part has begun, only the other two are booked.
    testsupport::ClearStore();
    tvsim::SetCurrentTime(1800003600u + 60u);
    EXPECT_TRUE(Add(FromGuide(50, REMINDER_RESERVE_RECORDING_MONITORED)));
    EXPECT_EQ(Stored().size(), 2u);
}

TEST_F(EngineAddTest, FailingPartInsertRollsBackThePartsOfTheCall) {
    // An unrelated booking that the roll-back must leave alone.
    ASSERT_TRUE(Add(Booking(REMINDER_RESERVE_VIEWING, 12, 9, kLocalNow + 100)));

    // The store cannot refuse on its own, so the file gets a trigger that refuses part two.
    sqlite3* raw = nullptr;
    ASSERT_EQ(sqlite3_open(std::getenv("REMINDER_DB_PATH"), &raw), SQLITE_OK);
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> db(raw, &sqlite3_close);
    ASSERT_EQ(
        sqlite3_exec(db.get(),
                     "CREATE TRIGGER refuse_part BEFORE INSERT ON Items WHEN NEW.EventId = 51 "
                     "BEGIN SELECT RAISE(ABORT, 'refused'); END;",
                     nullptr, nullptr, nullptr),
        SQLITE_OK);

    EXPECT_FALSE(Add(FromGuide(50, REMINDER_RESERVE_RECORDING_MONITORED)));
    const std::vector<CRemindInfo> list = Stored();
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0].m_nEventId, 9);
    sqlite3_exec(db.get(), "DROP TRIGGER refuse_part;", nullptr, nullptr, nullptr);
}

TEST_F(EngineAddTest, BackToBackMarginsOnAnyChannelOrOnTheSameService) {
    const uint32_t nine = kLocalNow + 7200;
    auto recording = [](unsigned long long service, uint16_t eventId, uint32_t start) {
        CRemindInfo item = Booking(REMINDER_RESERVE_RECORDING, service, eventId, start, 3600);
        item.m_nStartMarginTime = 120;
        item.m_nEndMarginTime = 300;
        return item;
    };
    auto marginsOf = [this](uint16_t eventId) {
        for (const CRemindInfo& e : Stored()) {
            if (e.m_nEventId == eventId)
                return std::make_pair(e.m_nStartMarginTime, e.m_nEndMarginTime);
        }
        return std::make_pair(~0u, ~0u);
    };

    // Mode 1 (country 4): a recording ending where a stored one on another channel begins.
    UseTelevision(4, 1);
    ASSERT_TRUE(Add(recording(12, 2, nine)));
    ASSERT_TRUE(Add(recording(11, 1, nine - 3600)));
    EXPECT_EQ(marginsOf(2), std::make_pair(0u, 300u));
    EXPECT_EQ(marginsOf(1), std::make_pair(120u, 0u));
    // The other way round: the new one begins where the stored one ends.
    ASSERT_TRUE(Add(recording(12, 3, nine + 3600)));
    EXPECT_EQ(marginsOf(2), std::make_pair(0u, 0u));
    EXPECT_EQ(marginsOf(3), std::make_pair(0u, 300u));

    // Mode 2 (country 37): another channel keeps its margins, the same service loses them.
    UseTelevision(37, 1);
    ASSERT_TRUE(Add(recording(12, 2, nine)));
    ASSERT_TRUE(Add(recording(11, 1, nine - 3600)));
    EXPECT_EQ(marginsOf(2), std::make_pair(120u, 300u));
    EXPECT_EQ(marginsOf(1), std::make_pair(120u, 300u));
    ASSERT_TRUE(Add(recording(12, 3, nine + 3600)));
    EXPECT_EQ(marginsOf(2), std::make_pair(120u, 0u));
    EXPECT_EQ(marginsOf(3), std::make_pair(0u, 300u));
}

class EngineSeriesTest : public EngineAddTest {
protected:
    void SetUp() override {
        testsupport::LoadSampleTelevision();
        testsupport::ClearStore();
        tvsim::ClearLogs();
    }

    TCProgramData Programme(unsigned long long service, uint16_t eventId) {
        TCProgramData programme;
        EXPECT_TRUE(tvsim::FindProgramme(service, eventId, programme));
        return programme;
    }
};

TEST_F(EngineSeriesTest, SeriesBookingStoresBaseEntryAndEveryEpisodeOnce) {
    CRemindInfo series;
    series.Set(Programme(1001, 103), REMINDER_RESERVE_SERIES);
    series.m_sSeriesCrid = "crid://broadcaster.example/Series/DETECTIVE";
    ASSERT_TRUE(Add(series));

    const std::vector<CRemindInfo> list = Stored();
    ASSERT_EQ(list.size(), 4u);  // the base entry and three episodes
    EXPECT_EQ(list.back().m_nReserveType, REMINDER_RESERVE_SERIES);
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(list[i].m_nReserveType, REMINDER_RESERVE_RECORDING_MONITORED);
        EXPECT_EQ(list[i].SeriesCrid(), "crid://broadcaster.example/series/detective");
    }
    // The series takes one place in the list.
    EXPECT_EQ(engine.GetRemindItemCnt(), 1);
    // The booked programme came twice (on its own and by CRID) but is stored once.
    EXPECT_TRUE(testsupport::LoggedOn(
        kSystemLog,
        "Already scheduled this episode to record, no need to record the same thing twice"));
}

TEST_F(EngineSeriesTest, EpisodeRefusedWhenOverOrAlreadyScheduled) {
    EXPECT_FALSE(engine.AddSeriesProgram(Programme(1001, 100), false));
    EXPECT_TRUE(testsupport::LoggedOn(kSystemLog, "Expired program...Do not add it."));

    EXPECT_TRUE(engine.AddSeriesProgram(Programme(1001, 121), false));
    EXPECT_FALSE(engine.AddSeriesProgram(Programme(1001, 121), false));
    EXPECT_EQ(Stored().size(), 1u);
}

}  // namespace
