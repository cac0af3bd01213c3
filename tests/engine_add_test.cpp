// The rules of adding a booking: the list limit, the scan's refusals and replacements, split
// events with their roll-back, back-to-back margins and series bookings.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "EngineTest.h"
#include "system_settings.h"

namespace {

using namespace testsupport;

// The sample television's guide holds a film in three parts on service 1002 (event 500, then
// parts 501 and 502), all still to come.
class EngineAddTest : public CEngineTest {
protected:
    bool Add(CRemindInfo item) { return engine.AddRemindItem(item, false, false); }
    // Whether adding the item is refused with `message` on the system log.
    bool RefusedWith(const CRemindInfo& item, const std::string& message) {
        tvsim::ClearLogs();
        return !Add(item) && LoggedOn(kSystemLog, message);
    }
};

TEST_F(EngineAddTest, FullListTakesOneMoreOnlyWhileARecordingIsReady) {
    for (uint16_t i = 0; i < 30; ++i)
        ASSERT_TRUE(Add(Booking(kViewing, 1002, i, kLocalNow + 60 + 3600u * i)));
    // 30 counted items and none ready: refused, silently.
    tvsim::ClearLogs();
    EXPECT_FALSE(Add(Booking(kViewing, 1002, 200, kLocalNow + 200000)));
    EXPECT_TRUE(LogLinesContaining("Failed").empty());
    // One of the 30 ready to record lets one more through, but only one.
    CRemindInfo stored = Stored().front();
    stored.m_nReserveType = REMINDER_RESERVE_RECORDING_READY;
    ASSERT_TRUE(engine.t_UpdateRemindItemByUid(stored.m_nUid, stored));
    EXPECT_TRUE(Add(Booking(kViewing, 1002, 201, kLocalNow + 200000)));
    EXPECT_FALSE(Add(Booking(kViewing, 1002, 202, kLocalNow + 300000)));
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
    const CRemindInfo listed = FromList(Booking(kRecording, 1001, 10, kLocalNow + 7200));
    ASSERT_TRUE(Add(listed));
    EXPECT_TRUE(RefusedWith(listed, "Failed, Program Already booked."));
    // The same plain recording twice, and a record-list booking of a recorded event.
    const CRemindInfo recording = Booking(kRecording, 1002, 20, kLocalNow + 9000);
    ASSERT_TRUE(Add(recording));
    EXPECT_TRUE(RefusedWith(recording, "Failed, Already booked."));
    EXPECT_TRUE(RefusedWith(FromList(recording), "Failed, Already booked."));
    EXPECT_EQ(Kept(), "1:12 10:1L 20:1");
}

TEST_F(EngineAddTest, PlainRecordingReplacesViewingAndClashingRecordListBooking) {
    ASSERT_TRUE(Add(Booking(kViewing, 1001, 1, kLocalNow + 600)));
    ASSERT_TRUE(Add(Booking(kRecording, 1001, 1, kLocalNow + 600)));
    EXPECT_EQ(Kept(), "1:1");

    ASSERT_TRUE(Add(FromList(Booking(kRecording, 1002, 5, kLocalNow + 20000, 3600))));
    ASSERT_TRUE(Add(Booking(kRecording, 1001, 6, kLocalNow + 21800, 3600)));
    EXPECT_EQ(Kept(), "1:1 6:1");
    // A viewing of a recorded event is not refused by the scan.
    EXPECT_TRUE(Add(Booking(kViewing, 1001, 1, kLocalNow + 600)));
}

TEST_F(EngineAddTest, CridPlaceholderIsStoredWithoutChecksAndSkippedByTheScan) {
    const CRemindInfo recording = Booking(kRecording, 1001, 1, kLocalNow + 600);
    CRemindInfo placeholder = recording;
    placeholder.m_nReserveType = REMINDER_RESERVE_RECORDING_CRID, placeholder.m_nEventTime = 0;
    placeholder.m_nStartMarginTime = 0;
    ASSERT_TRUE(Add(recording));
    EXPECT_TRUE(Add(placeholder));
    ClearStore();
    ASSERT_TRUE(Add(placeholder));
    EXPECT_TRUE(Add(recording));
}

TEST_F(EngineAddTest, SplitEventIsStoredPartByPartOrNotAtAll) {
    // An unrelated booking that the roll-back must leave alone.
    ASSERT_TRUE(Add(Booking(kViewing, 1001, 9, kLocalNow + 100)));
    Sql("CREATE TRIGGER refuse_part BEFORE INSERT ON Items WHEN NEW.EventId = 501 "
        "BEGIN SELECT RAISE(ABORT, 'refused'); END;");
    const CRemindInfo film = FromGuide(1002, 500, REMINDER_RESERVE_RECORDING_MONITORED);
    EXPECT_FALSE(Add(film));
    EXPECT_EQ(Kept(), "9:0");
    Sql("DROP TRIGGER refuse_part;");

    ClearStore();
    EXPECT_TRUE(Add(film));
    EXPECT_EQ(Kept(), "500:2 501:2 502:2");
    for (const CRemindInfo& e : Stored()) EXPECT_EQ(e.m_sTitle, "Der große Film");
}

TEST_F(EngineAddTest, BackToBackMarginsOnAnyChannelOrOnTheSameService) {
    auto add = [this](unsigned long long service, uint16_t eventId, uint32_t start) {
        CRemindInfo item = Booking(kRecording, service, eventId, start, 3600);
        item.m_nStartMarginTime = 120, item.m_nEndMarginTime = 300;
        return Add(item);
    };
    auto margins = [this] {  // "start/end" margins in start order
        std::string all;
        for (const CRemindInfo& e : Stored())
            all += std::to_string(e.m_nStartMarginTime) + "/" + std::to_string(e.m_nEndMarginTime) +
                   " ";
        return all;
    };
    // Mode 1 (country 4) trims on any channel; mode 2 (country 37) only on the same service.
    const std::tuple<int, const char*, const char*> cases[] = {
        {4, "120/0 0/300 ", "120/0 0/0 0/300 "}, {37, "120/300 120/300 ", "120/300 120/0 0/300 "}};
    const uint32_t nine = kLocalNow + 7200;
    for (const auto& [country, afterOtherChannel, afterSameService] : cases) {
        SCOPED_TRACE(country);
        ClearStore();
        tvsim::SetSystemSetting(SYSTEM_SETTINGS_KEY_COUNTRY, country);
        ASSERT_TRUE(add(1002, 2, nine));
        ASSERT_TRUE(add(1001, 1, nine - 3600));  // another channel, ending where it begins
        EXPECT_EQ(margins(), afterOtherChannel);
        ASSERT_TRUE(add(1002, 3, nine + 3600));  // its own service, beginning where it ends
        EXPECT_EQ(margins(), afterSameService);
    }
}

TEST_F(EngineAddTest, SeriesBookingStoresBaseEntryAndEveryEpisodeOnce) {
    ASSERT_TRUE(Add(FromGuide(1001, 103, REMINDER_RESERVE_SERIES)));
    // The base entry (moved on to its next showing) and three episodes.
    EXPECT_EQ(Kept(), "103:2 121:2 138:2 103:9");
    for (const CRemindInfo& e : Stored())
        EXPECT_EQ(e.SeriesCrid(), "crid://broadcaster.example/series/detective");
    // An episode that is over is not booked.
    ClearStore();
    TCProgramData over;
    ASSERT_TRUE(tvsim::FindProgramme(1001, 100, over));
    EXPECT_FALSE(engine.AddSeriesProgram(over, false));
    EXPECT_TRUE(LoggedOn(kSystemLog, "Expired program...Do not add it."));
    EXPECT_TRUE(Stored().empty());
}

}  // namespace
