// The read side of the engine: lists by kind and by start, the lookups by record, programme and
// CRID, the channel check, the overlap searches and the text of a time-change failure.
#include <gtest/gtest.h>
#include <locale.h>

#include <algorithm>
#include <cstdlib>
#include <list>
#include <map>
#include <string>
#include <vector>

#include "DataControl.h"
#include "ReminderAPIImp.h"
#include "TestSupport.h"

namespace {

// The sample television's clock in its local time (UTC + 1 h); its country trims back-to-back
// margins on the same service.
constexpr uint32_t kLocalNow = 1795456800u + 3600u;
constexpr uint32_t kHour = 3600;

CRemindInfo Booking(EReserveType type, uint32_t localStart, unsigned long long service = 1005,
                    uint16_t eventId = 1) {
    CRemindInfo item;
    item.m_nReserveType = type;
    item.m_nServiceId = service;
    item.m_nEventId = eventId;
    item.SetStartTime(localStart);
    item.m_nDuration = kHour;
    item.m_sTitle = "Item " + std::to_string(localStart);
    return item;
}

CRemindInfo WithCrids(CRemindInfo item, const std::string& program, const std::string& series) {
    item.m_sProgramCrid = program;
    item.m_sSeriesCrid = series;
    return item;
}

class EngineQueryTest : public ::testing::Test {
protected:
    void SetUp() override {
        testsupport::LoadSampleTelevision();
        testsupport::ClearStore();
        tvsim::ClearLogs();
    }

    void Store(const CRemindInfo& item) { ASSERT_TRUE(engine.t_AddRemindItem(item, false)); }

    std::vector<CRemindInfo> Stored() {
        std::vector<CRemindInfo> list;
        engine.t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
        return list;
    }

    // The start times of a list, which tell the stored items of these tests apart.
    static std::vector<uint32_t> Starts(const std::vector<CRemindInfo>& items) {
        std::vector<uint32_t> starts;
        for (const CRemindInfo& e : items) starts.push_back(e.m_nEventTime);
        return starts;
    }

    TCProgramData Programme(unsigned long long service, uint16_t eventId) {
        TCProgramData programme;
        EXPECT_TRUE(tvsim::FindProgramme(service, eventId, programme));
        return programme;
    }

    // A booking of a guide programme, with its first series CRID as the guide gives it.
    CRemindInfo FromGuide(unsigned long long service, uint16_t eventId, EReserveType type) {
        const TCProgramData programme = Programme(service, eventId);
        CRemindInfo item;
        item.Set(programme, type);
        std::list<std::string> series;
        if (programme.GetCRIDs(series, CRID_TYPE_SERIES)) item.m_sSeriesCrid = series.front();
        return item;
    }

    CReminderAPIImp engine;
};

TEST_F(EngineQueryTest, ListsByKindInTheAskedOrder) {
    const uint32_t t = kLocalNow + kHour;
    // Stored out of order; the titles sort the other way round from the times.
    const EReserveType kinds[] = {REMINDER_RESERVE_RECORDING_FAILED, REMINDER_RESERVE_VIEWING,
                                  REMINDER_RESERVE_SERIES, REMINDER_RESERVE_RECORDING_IN_PROGRESS,
                                  REMINDER_RESERVE_RECORDING_READY};
    const uint32_t starts[] = {t + 4 * kHour, t, t + 3 * kHour, t + 2 * kHour, t + kHour};
    for (int i = 0; i < 5; ++i) {
        CRemindInfo item = Booking(kinds[i], starts[i]);
        item.m_sTitle = std::string(1, static_cast<char>('e' - i));
        Store(item);
    }
    // A record-list booking is never listed.
    CRemindInfo listBooking = Booking(REMINDER_RESERVE_RECORDING_MONITORED, t + 5 * kHour);
    listBooking.m_bRecordListBooking = true;
    Store(listBooking);
    uint32_t series = 0;  // the base entry is moved 91 days on by the insert
    for (const CRemindInfo& e : Stored()) {
        if (e.m_nReserveType == REMINDER_RESERVE_SERIES) series = e.m_nEventTime;
    }

    const std::vector<std::pair<EExtractType, std::vector<uint32_t>>> cases = {
        {REM_EXTRACT_SCHEDULED_AND_FAILED, {t, t + kHour, t + 2 * kHour, t + 4 * kHour}},
        {REM_EXTRACT_RESERVE_TYPE_3, {t + 2 * kHour}},
        {REM_EXTRACT_SCHEDULED, {t, t + kHour, t + 2 * kHour}},
        {REM_EXTRACT_FAILED, {t + 4 * kHour}},
        {REM_EXTRACT_ALL_BOOKINGS, {t, t + kHour, t + 2 * kHour, t + 4 * kHour, series}},
        {static_cast<EExtractType>(5), {}},
    };
    for (const auto& [type, expected] : cases) {
        std::vector<CRemindInfo> out = {CRemindInfo()};
        int count = -1;
        EXPECT_EQ(engine.GetRemindItemsByType(count, out, type, REM_ORDER_BY_START_TIME),
                  !expected.empty())
            << type;
        EXPECT_EQ(Starts(out), expected) << type;
        EXPECT_EQ(count, static_cast<int>(expected.size())) << type;
    }
    std::vector<CRemindInfo> byTitle;
    engine.GetRemindItemsByType(REM_EXTRACT_SCHEDULED, byTitle, REM_ORDER_BY_TITLE);
    EXPECT_EQ(Starts(byTitle), (std::vector<uint32_t>{t + kHour, t + 2 * kHour, t}));
}

TEST_F(EngineQueryTest, ItemsStartingTogether) {
    const uint32_t t = kLocalNow + kHour;
    Store(Booking(REMINDER_RESERVE_VIEWING, t, 1001));
    Store(Booking(REMINDER_RESERVE_RECORDING, t, 1002));
    CRemindInfo listBooking = Booking(REMINDER_RESERVE_RECORDING_MONITORED, t, 1003);
    listBooking.m_bRecordListBooking = true;
    Store(listBooking);
    Store(Booking(REMINDER_RESERVE_RECORDING_IN_PROGRESS, t, 1004));
    // Same event time, but its start margin makes it start earlier.
    CRemindInfo padded = Booking(REMINDER_RESERVE_RECORDING, t, 1005);
    padded.m_nStartMarginTime = 120;
    Store(padded);
    Store(Booking(REMINDER_RESERVE_VIEWING, t + 60, 1006));

    auto services = [](const std::vector<CRemindInfo>& items) {
        std::vector<unsigned long long> ids;
        for (const CRemindInfo& e : items) ids.push_back(e.m_nServiceId);
        std::sort(ids.begin(), ids.end());
        return ids;
    };
    const CRemindInfo query = Booking(REMINDER_RESERVE_VIEWING, t, 2001);
    std::vector<CRemindInfo> out;
    EXPECT_TRUE(engine.GetStartTimeIsSameItems(query, out, REM_SCHEDULED_VIEWING));
    EXPECT_EQ(services(out), (std::vector<unsigned long long>{1001}));
    EXPECT_TRUE(engine.GetStartTimeIsSameItems(query, out, REM_SCHEDULED_RECORDING));
    EXPECT_EQ(services(out), (std::vector<unsigned long long>{1002}));
    EXPECT_TRUE(engine.GetStartTimeIsSameItems(query, out, REM_SCHEDULED_ALL));
    EXPECT_EQ(services(out), (std::vector<unsigned long long>{1001, 1002, 1003, 1004}));
    EXPECT_FALSE(engine.GetStartTimeIsSameItems(query, out, static_cast<EScheduledType>(3)));
    EXPECT_TRUE(out.empty());

    // A stored item does not start together with itself.
    for (const CRemindInfo& stored : Stored()) {
        if (stored.m_nServiceId != 1001) continue;
        EXPECT_TRUE(engine.GetStartTimeIsSameItems(stored, out, REM_SCHEDULED_ALL));
        EXPECT_EQ(services(out), (std::vector<unsigned long long>{1002, 1003, 1004}));
    }
}

TEST_F(EngineQueryTest, LookupsByRecordAndByProgramme) {
    // RCT: the same service and time, and both CRIDs equal ignoring case; never a failed item.
    const uint32_t t = kLocalNow + kHour;
    Store(WithCrids(Booking(REMINDER_RESERVE_RECORDING_FAILED, t), "crid://a/1", ""));
    Store(WithCrids(Booking(REMINDER_RESERVE_RECORDING, t), "crid://a/2", "crid://a/s"));
    CRemindInfo found;
    EXPECT_TRUE(engine.FindRemindItemForRCT(
        WithCrids(Booking(REMINDER_RESERVE_VIEWING, t), "CRID://A/2", "crid://A/S"), found));
    EXPECT_EQ(found.m_sProgramCrid, "crid://a/2");
    EXPECT_FALSE(engine.FindRemindItemForRCT(
        WithCrids(Booking(REMINDER_RESERVE_VIEWING, t), "crid://a/1", ""), found));
    EXPECT_FALSE(engine.FindRemindItemForRCT(
        WithCrids(Booking(REMINDER_RESERVE_VIEWING, t), "crid://a/2", ""), found));
    EXPECT_TRUE(testsupport::LoggedOn(2, "Cannot find the item."));

    // By programme: its service and event id, skipping series base entries and failed items.
    testsupport::ClearStore();
    const TCProgramData news = Programme(1005, 103);
    Store(FromGuide(1005, 103, REMINDER_RESERVE_SERIES));
    EXPECT_FALSE(engine.FindRemindItemFromProgram(news, found));
    Store(FromGuide(1005, 103, REMINDER_RESERVE_VIEWING));
    EXPECT_TRUE(engine.FindRemindItemFromProgram(news, found));
    EXPECT_EQ(found.m_nReserveType, REMINDER_RESERVE_VIEWING);

    // Several programmes at once: the booked one gets its booking.
    TCProgramData other = Programme(1005, 104);
    std::map<TCProgramData*, CRemindInfo> programmes = {{&other, CRemindInfo()}};
    EXPECT_FALSE(engine.FindRemindItemsFromPrograms(programmes));
    TCProgramData booked = news;
    programmes[&booked] = CRemindInfo();
    EXPECT_TRUE(engine.FindRemindItemsFromPrograms(programmes));
    EXPECT_EQ(programmes[&booked].m_nEventId, 103);
    EXPECT_EQ(programmes[&other].m_nUid, CRemindInfo().m_nUid);
    std::map<TCProgramData*, CRemindInfo> none;
    EXPECT_FALSE(engine.FindRemindItemsFromPrograms(none));
}

TEST_F(EngineQueryTest, ProgrammeWithoutEventIdIsFoundByItsCrids) {
    // The guide's CRIDs are mixed case; the stored episode keeps them as received, in another
    // case. Only event recordings (2 and 3) on the programme's service count.
    TCProgramData episode = Programme(5001, 704);
    episode.SetEventId(0xFFFF);
    CRemindInfo found;
    Store(WithCrids(Booking(REMINDER_RESERVE_VIEWING, kLocalNow + kHour, 5001),
                    "crid://sat.example/cosmos/ep02", ""));
    Store(WithCrids(Booking(REMINDER_RESERVE_RECORDING_MONITORED, kLocalNow + kHour, 1001),
                    "crid://sat.example/cosmos/ep02", ""));
    EXPECT_FALSE(engine.FindRemindItemFromProgram(episode, found));

    // Its own programme CRID, then its series CRID.
    const std::pair<std::string, std::string> matches[] = {
        {"CRID://SAT.EXAMPLE/COSMOS/EP02", ""}, {"", "crid://sat.example/series/COSMOS"}};
    for (const auto& [program, series] : matches) {
        testsupport::ClearStore();
        Store(WithCrids(Booking(REMINDER_RESERVE_RECORDING_IN_PROGRESS, kLocalNow, 5001), program,
                        series));
        EXPECT_TRUE(engine.FindRemindItemFromProgram(episode, found)) << program << series;
        EXPECT_EQ(found.m_sProgramCrid, program);
    }
    // Another episode of another series is not it.
    testsupport::ClearStore();
    Store(WithCrids(Booking(REMINDER_RESERVE_RECORDING_MONITORED, kLocalNow, 5001),
                    "crid://sat.example/cosmos/ep01", "crid://other/series"));
    EXPECT_FALSE(engine.t_FindRemindItemFromProgramByCrid(episode, found));
}

TEST_F(EngineQueryTest, CridQueries) {
    // The split opera's parts carry instance suffixes after '#'; the series episodes keep the
    // guide's mixed case.
    Store(FromGuide(5001, 702, REMINDER_RESERVE_RECORDING_MONITORED));
    Store(FromGuide(5001, 700, REMINDER_RESERVE_RECORDING_MONITORED));
    Store(FromGuide(5001, 704, REMINDER_RESERVE_SERIES));
    // The insert drops the base entry's programme CRID; give it one to show it is skipped.
    for (CRemindInfo e : Stored()) {
        if (e.m_nReserveType != REMINDER_RESERVE_SERIES) continue;
        e.m_sProgramCrid = "crid://Sat.Example/Cosmos/Ep02";
        ASSERT_TRUE(engine.t_UpdateRemindItemByUid(e.m_nUid, e));
    }
    Store(WithCrids(Booking(REMINDER_RESERVE_VIEWING, kLocalNow + 9 * kHour, 1001), "", ""));

    CRemindInfo found;
    EXPECT_TRUE(engine.IsProgramScheduled("CRID://sat.example/OPERA/aida#3", &found));
    EXPECT_EQ(found.m_nEventId, 702);
    EXPECT_TRUE(engine.IsProgramScheduled("crid://sat.example/opera/aida", nullptr));
    EXPECT_FALSE(engine.IsProgramScheduled("crid://sat.example/opera/aid", &found));
    // The series base entry stands for no single programme; no CRID names no programme.
    EXPECT_FALSE(engine.IsProgramScheduled("crid://sat.example/cosmos/ep02", &found));
    EXPECT_FALSE(engine.IsProgramScheduled("", &found));
    EXPECT_FALSE(engine.IsProgramScheduled("#1", &found));

    // By series or programme CRID, ignoring case; the base entry belongs to its series.
    std::vector<CRemindInfo> out;
    EXPECT_TRUE(engine.GetRemindItemsForCrid("CRID://SAT.EXAMPLE/SERIES/COSMOS", out));
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[0].m_nEventId, 700);
    EXPECT_EQ(out[1].m_nReserveType, REMINDER_RESERVE_SERIES);
    EXPECT_TRUE(engine.GetRemindItemsForCrid("crid://sat.example/opera/AIDA#2", out));
    EXPECT_EQ(out.size(), 1u);
    EXPECT_FALSE(engine.GetRemindItemsForCrid("crid://sat.example/opera/aida", out));
    EXPECT_TRUE(out.empty());
    EXPECT_FALSE(engine.GetRemindItemsForCrid("", out));

    // The programme-monitoring lists: event recordings and series base entries.
    EXPECT_TRUE(engine.GetRemindItemsForMHEG(out));
    EXPECT_EQ(out.size(), 3u);
}

TEST_F(EngineQueryTest, RecordingsAndChannelsInTheList) {
    EXPECT_FALSE(engine.FlagExistRecordItem());
    Store(Booking(REMINDER_RESERVE_VIEWING, kLocalNow + kHour, 1001));
    CRemindInfo listBooking = Booking(REMINDER_RESERVE_RECORDING_MONITORED, kLocalNow, 1002);
    listBooking.m_bRecordListBooking = true;
    Store(listBooking);
    Store(Booking(REMINDER_RESERVE_RECORDING_IN_PROGRESS, kLocalNow, 1004));
    EXPECT_FALSE(engine.FlagExistRecordItem());
    Store(Booking(REMINDER_RESERVE_RECORDING_READY, kLocalNow, 1003));
    EXPECT_TRUE(engine.FlagExistRecordItem());

    // A booked channel by service id, by channel type and numbers, or both; each attribute only
    // when the caller gave it.
    CRemindInfo manual = Booking(REMINDER_RESERVE_RECORDING, kLocalNow + 2 * kHour, 5001);
    manual.m_nChannelType = 7;
    manual.m_nMajor = 101;
    manual.m_nMinor = 0;
    Store(manual);
    auto service = [](std::initializer_list<std::pair<int, long long>> attributes) {
        TCServiceData data;
        for (const auto& [key, value] : attributes) data.SetAttribute(key, value);
        return data;
    };
    EXPECT_TRUE(engine.IsChannelScheduled(service({{SERVICE_ATTR_SERVICE_ID, 5001}})));
    EXPECT_TRUE(engine.IsChannelScheduled(service(
        {{SERVICE_ATTR_CHANNEL_TYPE, 7}, {SERVICE_ATTR_MAJOR, 101}, {SERVICE_ATTR_MINOR, 0}})));
    EXPECT_TRUE(engine.IsChannelScheduled(service(
        {{SERVICE_ATTR_SERVICE_ID, 5001}, {SERVICE_ATTR_MAJOR, 101}, {SERVICE_ATTR_PTC, 9}})));
    EXPECT_FALSE(engine.IsChannelScheduled(service({{SERVICE_ATTR_SERVICE_ID, 5002}})));
    EXPECT_FALSE(engine.IsChannelScheduled(
        service({{SERVICE_ATTR_SERVICE_ID, 5001}, {SERVICE_ATTR_MINOR, 1}})));
    EXPECT_FALSE(engine.IsChannelScheduled(service({{SERVICE_ATTR_PTC, 1}})));
}

TEST_F(EngineQueryTest, OverlapSearchesSkipFailedAndSeriesEntries) {
    const uint32_t t = kLocalNow + 2 * kHour;
    Store(Booking(REMINDER_RESERVE_RECORDING_FAILED, t, 1001));
    Store(Booking(REMINDER_RESERVE_SERIES, t - 7862400, 1002));
    Store(Booking(REMINDER_RESERVE_RECORDING, t + 1800, 1003));
    CRemindInfo listBooking = Booking(REMINDER_RESERVE_RECORDING_MONITORED, t - 1800, 1004);
    listBooking.m_bRecordListBooking = true;
    Store(listBooking);
    Store(Booking(REMINDER_RESERVE_VIEWING, t + kHour, 1006));  // starts as the candidate ends
    ASSERT_EQ(Stored().size(), 5u);

    const CRemindInfo candidate = Booking(REMINDER_RESERVE_RECORDING, t, 1005);
    std::vector<CRemindInfo> out;
    EXPECT_TRUE(engine.GetOverlappingRemindItems(candidate, out, false));
    EXPECT_EQ(Starts(out), (std::vector<uint32_t>{t - 1800, t + 1800}));
    EXPECT_TRUE(engine.GetOverlappingRemindItems(candidate, nullptr, true));

    // The same-time check wants the same kind of booking (record list or not).
    CRemindInfo same;
    EXPECT_TRUE(engine.ExistSameTimeRemindItem(candidate, same));
    EXPECT_EQ(same.m_nServiceId, 1003u);
    CRemindInfo fromList = candidate;
    fromList.m_bRecordListBooking = true;
    EXPECT_TRUE(engine.ExistSameTimeRemindItem(fromList, &same));
    EXPECT_EQ(same.m_nServiceId, 1004u);
    EXPECT_TRUE(engine.ExistSameTimeRemindItem(fromList, nullptr));
    EXPECT_FALSE(
        engine.ExistSameTimeRemindItem(Booking(REMINDER_RESERVE_RECORDING, t + 5 * kHour), &same));

    // Deletion removes exactly the overlapping ones and announces nothing.
    tvsim::ClearLogs();
    EXPECT_TRUE(engine.DeleteOverlappingRemindItems(candidate));
    EXPECT_TRUE(testsupport::LogLinesContaining(": Notify(").empty());
    std::vector<unsigned long long> left;
    for (const CRemindInfo& e : Stored()) left.push_back(e.m_nServiceId);
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, (std::vector<unsigned long long>{1001, 1002, 1006}));
    EXPECT_FALSE(engine.DeleteOverlappingRemindItems(candidate));

    testsupport::ClearStore();
    EXPECT_FALSE(engine.GetOverlappingRemindItems(candidate, out, true));
    EXPECT_TRUE(out.empty());
    EXPECT_FALSE(engine.DeleteOverlappingRemindItems(candidate));
}

TEST_F(EngineQueryTest, OverlapSearchTrimsBackToBackMarginsOnlyWhenAsked) {
    // A stored recording ends where the candidate begins, on the same service, and its end
    // margin reaches into the candidate.
    const uint32_t t = kLocalNow + 2 * kHour;
    CRemindInfo before = Booking(REMINDER_RESERVE_RECORDING, t - kHour, 1005);
    before.m_nEndMarginTime = 300;
    Store(before);
    const CRemindInfo candidate = Booking(REMINDER_RESERVE_RECORDING, t, 1005);

    std::vector<CRemindInfo> out;
    EXPECT_TRUE(engine.GetOverlappingRemindItems(candidate, out, false));
    EXPECT_EQ(Stored().at(0).m_nEndMarginTime, 300u);
    // Trimming takes the stored neighbour's end margin off, in the store too.
    EXPECT_FALSE(engine.GetOverlappingRemindItems(candidate, out, true));
    EXPECT_EQ(Stored().at(0).m_nEndMarginTime, 0u);

    // The same-time check and the deletion always trim.
    testsupport::ClearStore();
    Store(before);
    CRemindInfo same;
    EXPECT_FALSE(engine.ExistSameTimeRemindItem(candidate, same));
    testsupport::ClearStore();
    Store(before);
    EXPECT_FALSE(engine.DeleteOverlappingRemindItems(candidate));
    EXPECT_EQ(Stored().size(), 1u);
}

TEST_F(EngineQueryTest, TextOfATimeChangeFailureComesFromTheCatalogue) {
    // The build tree's catalogue holds English texts; the C locale translates nothing.
    ASSERT_NE(setlocale(LC_ALL, "C.UTF-8"), nullptr);
    setenv("LANGUAGE", "en", 1);
    std::string text = "untouched";
    EXPECT_FALSE(engine.GetTextForTimerRecordingErrorByTimeChange(999, text));
    EXPECT_EQ(text, "untouched");
    EXPECT_TRUE(engine.GetTextForTimerRecordingErrorByTimeChange(1000, text));
    EXPECT_EQ(text, "The recording failed because the TV's time was changed.");

    // Without a catalogue the message id is shown.
    setenv("REMINDER_LOCALE_DIR", "/nonexistent", 1);
    EXPECT_TRUE(engine.GetTextForTimerRecordingErrorByTimeChange(1000, text));
    EXPECT_EQ(text, "TV_SID_RECORDING_FAILED_TIME_CONSISTENT_MSG");
}

}  // namespace
