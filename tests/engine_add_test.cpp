// The rules of adding a booking: PVR support, the list limit, the scan's refusals and
// replacements, split events with their roll-back, back-to-back margins and series bookings.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ReminderAPIImp.h"
#include "TestSupport.h"
#include "system_info.h"
#include "system_settings.h"

namespace {

// The sample television's clock, in its local time (UTC + 1 h). Its guide holds a film in three
// parts on service 1002 (event 500, then parts 501 and 502), all still to come.
constexpr uint32_t kLocalNow = 1795456800u + 3600u;
constexpr int kSystemLog = 2;

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
    void SetUp() override {
        testsupport::LoadSampleTelevision();
        testsupport::ClearStore();
        tvsim::ClearLogs();
    }

    std::vector<CRemindInfo> Stored() {
        std::vector<CRemindInfo> list;
        engine.t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
        return list;
    }

    bool Add(CRemindInfo item) { return engine.AddRemindItem(item, false, false); }

    // Whether adding the item is refused with `message` on the system log.
    bool RefusedWith(const CRemindInfo& item, const std::string& message) {
        tvsim::ClearLogs();
        return !Add(item) && testsupport::LoggedOn(kSystemLog, message);
    }

    TCProgramData Programme(unsigned long long service, uint16_t eventId) {
        TCProgramData programme;
        EXPECT_TRUE(tvsim::FindProgramme(service, eventId, programme));
        return programme;
    }

    CRemindInfo FromGuide(unsigned long long service, uint16_t eventId, EReserveType type) {
        CRemindInfo item;
        item.Set(Programme(service, eventId), type);
        return item;
    }

    CReminderAPIImp engine;
};

TEST_F(EngineAddTest, WithoutPvrOnlyViewingsAreBooked) {
    tvsim::SetSystemInfo(SYSTEM_INFO_KEY_PVR_SUPPORTED, 0);
    EXPECT_TRUE(Add(Booking(REMINDER_RESERVE_VIEWING, 1001, 1, kLocalNow + 600)));
    EXPECT_TRUE(RefusedWith(Booking(REMINDER_RESERVE_RECORDING, 1001, 2, kLocalNow + 6000),
                            "TV does not support PVR, schedule recording failed."));
}

TEST_F(EngineAddTest, FullListTakesOneMoreOnlyWhileARecordingIsReady) {
    for (uint16_t i = 0; i < 29; ++i) {
        ASSERT_TRUE(Add(Booking(REMINDER_RESERVE_VIEWING, 1002, i, kLocalNow + 3600u * (i + 1))));
    }
    ASSERT_TRUE(Add(Booking(REMINDER_RESERVE_VIEWING, 1002, 100, kLocalNow + 60)));

    // 30 counted items and none ready: refused, silently.
    tvsim::ClearLogs();
    EXPECT_FALSE(Add(Booking(REMINDER_RESERVE_VIEWING, 1002, 200, kLocalNow + 200000)));
    EXPECT_EQ(Stored().size(), 30u);
    EXPECT_TRUE(testsupport::LogLinesContaining("Failed").empty());

    // One of the 30 is ready to record: one more goes through...
    CRemindInfo stored = Stored().front();
    stored.m_nReserveType = REMINDER_RESERVE_RECORDING_READY;
    ASSERT_TRUE(engine.t_UpdateRemindItemByUid(stored.m_nUid, stored));
    EXPECT_TRUE(Add(Booking(REMINDER_RESERVE_VIEWING, 1002, 201, kLocalNow + 200000)));
    // ...but only one: at 31 the ready item no longer helps.
    EXPECT_FALSE(Add(Booking(REMINDER_RESERVE_VIEWING, 1002, 202, kLocalNow + 300000)));
    EXPECT_EQ(Stored().size(), 31u);
}

TEST_F(EngineAddTest, ScanRefusesWhatIsAlreadyBooked) {
    // A group subscription once per group CRID.
    CRemindInfo group = Booking(REMINDER_RESERVE_GROUP, 1001, 1, kLocalNow + 600);
    group.m_sGroupCrid = "crid://t/group";
    ASSERT_TRUE(Add(group));
    group.m_nEventId = 2;
    EXPECT_TRUE(RefusedWith(group, "Failed, Group Already booked."));

    // A record-list booking of the same event at the same time.
    CRemindInfo listed = Booking(REMINDER_RESERVE_RECORDING, 1001, 10, kLocalNow + 7200);
    listed.m_bRecordListBooking = true;
    ASSERT_TRUE(Add(listed));
    EXPECT_TRUE(RefusedWith(listed, "Failed, Program Already booked."));

    // The same plain recording twice, and a record-list booking of a recorded event.
    const CRemindInfo recording = Booking(REMINDER_RESERVE_RECORDING, 1002, 20, kLocalNow + 9000);
    ASSERT_TRUE(Add(recording));
    EXPECT_TRUE(RefusedWith(recording, "Failed, Already booked."));
    CRemindInfo listedAgain = recording;
    listedAgain.m_bRecordListBooking = true;
    EXPECT_TRUE(RefusedWith(listedAgain, "Failed, Already booked."));
    EXPECT_EQ(Stored().size(), 3u);
}

TEST_F(EngineAddTest, PlainRecordingReplacesViewingAndClashingRecordListBooking) {
    // A viewing reminder of the same event gives way to its recording.
    ASSERT_TRUE(Add(Booking(REMINDER_RESERVE_VIEWING, 1001, 1, kLocalNow + 600)));
    ASSERT_TRUE(Add(Booking(REMINDER_RESERVE_RECORDING, 1001, 1, kLocalNow + 600)));
    std::vector<CRemindInfo> list = Stored();
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0].m_nReserveType, REMINDER_RESERVE_RECORDING);

    // A record-list booking whose time clashes with a new plain recording is removed.
    CRemindInfo listed = Booking(REMINDER_RESERVE_RECORDING, 1002, 5, kLocalNow + 20000, 3600);
    listed.m_bRecordListBooking = true;
    ASSERT_TRUE(Add(listed));
    ASSERT_TRUE(Add(Booking(REMINDER_RESERVE_RECORDING, 1001, 6, kLocalNow + 21800, 3600)));
    EXPECT_TRUE(testsupport::Logged("replace with manual booking"));
    list = Stored();
    ASSERT_EQ(list.size(), 2u);
    for (const CRemindInfo& e : list) EXPECT_FALSE(e.m_bRecordListBooking);

    // A viewing of a recorded event is not refused by the scan.
    EXPECT_TRUE(Add(Booking(REMINDER_RESERVE_VIEWING, 1001, 1, kLocalNow + 600)));
}

TEST_F(EngineAddTest, CridPlaceholderIsStoredWithoutChecks) {
    CRemindInfo recording = Booking(REMINDER_RESERVE_RECORDING, 1001, 1, kLocalNow + 600);
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
    EXPECT_TRUE(Add(FromGuide(1002, 500, REMINDER_RESERVE_RECORDING_MONITORED)));
    const std::vector<CRemindInfo> list = Stored();
    ASSERT_EQ(list.size(), 3u);
    for (size_t i = 0; i < list.size(); ++i) {
        EXPECT_EQ(list[i].m_nEventId, 500 + i);
        EXPECT_EQ(list[i].m_nReserveType, REMINDER_RESERVE_RECORDING_MONITORED);
        // The later parts have no title of their own and take the film's.
        EXPECT_EQ(list[i].m_sTitle, "Der große Film");
    }
    EXPECT_TRUE(testsupport::Logged("mProgramList size : [3]"));
}

TEST_F(EngineAddTest, FailingPartInsertRollsBackThePartsOfTheCall) {
    // An unrelated booking that the roll-back must leave alone.
    ASSERT_TRUE(Add(Booking(REMINDER_RESERVE_VIEWING, 1001, 9, kLocalNow + 100)));

    // The store cannot refuse on its own, so the file gets a trigger that refuses part two.
    sqlite3* raw = nullptr;
    ASSERT_EQ(sqlite3_open(std::getenv("REMINDER_DB_PATH"), &raw), SQLITE_OK);
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> db(raw, &sqlite3_close);
    ASSERT_EQ(
        sqlite3_exec(db.get(),
                     "CREATE TRIGGER refuse_part BEFORE INSERT ON Items WHEN NEW.EventId = 501 "
                     "BEGIN SELECT RAISE(ABORT, 'refused'); END;",
                     nullptr, nullptr, nullptr),
        SQLITE_OK);

    EXPECT_FALSE(Add(FromGuide(1002, 500, REMINDER_RESERVE_RECORDING_MONITORED)));
    const std::vector<CRemindInfo> list = Stored();
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0].m_nEventId, 9);
    sqlite3_exec(db.get(), "DROP TRIGGER refuse_part;", nullptr, nullptr, nullptr);
}

TEST_F(EngineAddTest, BackToBackMarginsOnAnyChannelOrOnTheSameService) {
    using Margins = std::vector<std::pair<uint32_t, uint32_t>>;  // (start, end) in start order
    auto recording = [](unsigned long long service, uint16_t eventId, uint32_t start) {
        CRemindInfo item = Booking(REMINDER_RESERVE_RECORDING, service, eventId, start, 3600);
        item.m_nStartMarginTime = 120;
        item.m_nEndMarginTime = 300;
        return item;
    };
    auto margins = [this] {
        Margins all;
        for (const CRemindInfo& e : Stored())
            all.emplace_back(e.m_nStartMarginTime, e.m_nEndMarginTime);
        return all;
    };

    // Mode 1 (country 4) trims on any channel; mode 2 (country 37) only on the same service.
    const struct {
        int country;
        Margins afterOtherChannel, afterSameService;
    } cases[] = {{4, {{120, 0}, {0, 300}}, {{120, 0}, {0, 0}, {0, 300}}},
                 {37, {{120, 300}, {120, 300}}, {{120, 300}, {120, 0}, {0, 300}}}};
    const uint32_t nine = kLocalNow + 7200;
    for (const auto& c : cases) {
        testsupport::ClearStore();
        tvsim::SetSystemSetting(SYSTEM_SETTINGS_KEY_COUNTRY, c.country);
        ASSERT_TRUE(Add(recording(1002, 2, nine)));
        // A recording on another channel ending where the stored one begins...
        ASSERT_TRUE(Add(recording(1001, 1, nine - 3600)));
        EXPECT_EQ(margins(), c.afterOtherChannel) << c.country;
        // ...and one on its service beginning where it ends.
        ASSERT_TRUE(Add(recording(1002, 3, nine + 3600)));
        EXPECT_EQ(margins(), c.afterSameService) << c.country;
    }
}

TEST_F(EngineAddTest, SeriesBookingStoresBaseEntryAndEveryEpisodeOnce) {
    CRemindInfo series = FromGuide(1001, 103, REMINDER_RESERVE_SERIES);
    series.m_sSeriesCrid = "crid://broadcaster.example/Series/DETECTIVE";
    ASSERT_TRUE(Add(series));

    const std::vector<CRemindInfo> list = Stored();
    ASSERT_EQ(list.size(), 4u);  // the base entry and three episodes
    EXPECT_EQ(list.back().m_nReserveType, REMINDER_RESERVE_SERIES);
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(list[i].m_nReserveType, REMINDER_RESERVE_RECORDING_MONITORED);
        EXPECT_EQ(list[i].SeriesCrid(), "crid://broadcaster.example/series/detective");
    }
    // The booked programme came twice (on its own and by CRID) but is stored once.
    EXPECT_TRUE(testsupport::LoggedOn(
        kSystemLog,
        "Already scheduled this episode to record, no need to record the same thing twice"));
}

TEST_F(EngineAddTest, EpisodeThatIsOverIsNotBooked) {
    EXPECT_FALSE(engine.AddSeriesProgram(Programme(1001, 100), false));
    EXPECT_TRUE(testsupport::LoggedOn(kSystemLog, "Expired program...Do not add it."));
    EXPECT_TRUE(Stored().empty());
}

}  // namespace
