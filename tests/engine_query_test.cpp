// The read side of the engine: lists by kind and by start, the lookups by record, programme and
// CRID, the channel check, the overlap searches and the text of a recording failure.
#include <gtest/gtest.h>
#include <locale.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "DataControl.h"
#include "EngineTest.h"

namespace {

using namespace testsupport;  // the sample's country trims back-to-back margins on one service
constexpr uint32_t kHour = 3600;

CRemindInfo Booking(EReserveType type, uint32_t localStart, unsigned long long service = 1005,
                    const std::string& programCrid = "", const std::string& seriesCrid = "") {
    CRemindInfo item = testsupport::Booking(type, service, 1, localStart, kHour);
    item.m_sProgramCrid = programCrid, item.m_sSeriesCrid = seriesCrid;
    return item;
}

std::vector<uint32_t> Starts(const std::vector<CRemindInfo>& items) {
    std::vector<uint32_t> starts;
    for (const CRemindInfo& e : items) starts.push_back(e.m_nEventTime);
    return starts;
}

std::vector<unsigned long long> Services(const std::vector<CRemindInfo>& items) {
    std::vector<unsigned long long> ids;
    for (const CRemindInfo& e : items) ids.push_back(e.m_nServiceId);
    std::sort(ids.begin(), ids.end());
    return ids;
}

using EngineQueryTest = CEngineTest;

TEST_F(EngineQueryTest, ListsByKindInTheAskedOrder) {
    const uint32_t t = kLocalNow + kHour;
    // Stored out of order; a record-list booking is never listed.
    Restore({Booking(kFailed, t + 4 * kHour), Booking(kViewing, t),
             Booking(REMINDER_RESERVE_SERIES, t + 3 * kHour),
             Booking(REMINDER_RESERVE_RECORDING_IN_PROGRESS, t + 2 * kHour),
             Booking(REMINDER_RESERVE_RECORDING_READY, t + kHour),
             FromList(Booking(kWaiting, t + 5 * kHour))});

    const std::vector<std::pair<EExtractType, std::vector<uint32_t>>> cases = {
        {REM_EXTRACT_SCHEDULED_AND_FAILED, {t, t + kHour, t + 2 * kHour, t + 4 * kHour}},
        {REM_EXTRACT_RESERVE_TYPE_3, {t + 2 * kHour}},
        {REM_EXTRACT_SCHEDULED, {t, t + kHour, t + 2 * kHour}},
        {REM_EXTRACT_FAILED, {t + 4 * kHour}},
        {static_cast<EExtractType>(5), {}},
    };
    for (const auto& [type, expected] : cases) {
        std::vector<CRemindInfo> out = {CRemindInfo()};
        int count = -1;
        const bool any = engine.GetRemindItemsByType(count, out, type, REM_ORDER_BY_START_TIME);
        EXPECT_EQ(any, !expected.empty()) << type;
        EXPECT_EQ(Starts(out), expected) << type;
        EXPECT_EQ(count, static_cast<int>(expected.size())) << type;
    }
}

TEST_F(EngineQueryTest, ItemsStartingTogether) {
    const uint32_t t = kLocalNow + kHour;
    CRemindInfo padded = Booking(kRecording, t, 1005);
    padded.m_nStartMarginTime = 120;  // same event time, but it starts earlier
    Restore({Booking(kViewing, t, 1001), Booking(kRecording, t, 1002),
             FromList(Booking(kWaiting, t, 1003)),
             Booking(REMINDER_RESERVE_RECORDING_IN_PROGRESS, t, 1004), padded,
             Booking(kViewing, t + 60, 1006)});

    const CRemindInfo query = Booking(kViewing, t, 2001);
    const CRemindInfo self = Stored().at(1);  // 1001 does not start together with itself
    const std::tuple<CRemindInfo, EScheduledType, std::vector<unsigned long long>> cases[] = {
        {query, REM_SCHEDULED_VIEWING, {1001}},
        {query, REM_SCHEDULED_RECORDING, {1002}},
        {query, REM_SCHEDULED_ALL, {1001, 1002, 1003, 1004}},
        {query, static_cast<EScheduledType>(3), {}},
        {self, REM_SCHEDULED_ALL, {1002, 1003, 1004}},
    };
    for (const auto& [item, type, expected] : cases) {
        std::vector<CRemindInfo> out;
        EXPECT_EQ(engine.GetStartTimeIsSameItems(item, out, type), !expected.empty()) << type;
        EXPECT_EQ(Services(out), expected) << type;
    }
}

TEST_F(EngineQueryTest, LookupsByRecordAndByProgramme) {
    // RCT: the same service and time, and both CRIDs equal ignoring case; never a failed item.
    const uint32_t t = kLocalNow + kHour;
    Store(Booking(kFailed, t, 1005, "crid://a/1"));
    Store(Booking(kRecording, t, 1005, "crid://a/2", "crid://a/s"));
    CRemindInfo found;
    EXPECT_TRUE(
        engine.FindRemindItemForRCT(Booking(kViewing, t, 1005, "CRID://A/2", "crid://A/S"), found));
    EXPECT_EQ(found.m_sProgramCrid, "crid://a/2");
    EXPECT_FALSE(engine.FindRemindItemForRCT(Booking(kViewing, t, 1005, "crid://a/1"), found));
    EXPECT_FALSE(engine.FindRemindItemForRCT(Booking(kViewing, t, 1005, "crid://a/2"), found));

    // By programme: its service and event id, skipping series base entries and failed items.
    const TCProgramData news = Programme(1005, 103);
    Restore({FromGuide(1005, 103, REMINDER_RESERVE_SERIES)});
    EXPECT_FALSE(engine.FindRemindItemFromProgram(news, found));
    Store(FromGuide(1005, 103, kViewing));
    EXPECT_TRUE(engine.FindRemindItemFromProgram(news, found));
    EXPECT_EQ(found.m_nReserveType, kViewing);

    // Several programmes at once: the booked one gets its booking.
    TCProgramData other = Programme(1005, 104), booked = news;
    std::map<TCProgramData*, CRemindInfo> programmes = {{&other, CRemindInfo()}}, none;
    EXPECT_FALSE(engine.FindRemindItemsFromPrograms(programmes));
    programmes[&booked] = CRemindInfo();
    EXPECT_TRUE(engine.FindRemindItemsFromPrograms(programmes));
    EXPECT_EQ(programmes[&booked].m_nEventId, 103);
    EXPECT_EQ(programmes[&other].m_nUid, CRemindInfo().m_nUid);
    EXPECT_FALSE(engine.FindRemindItemsFromPrograms(none));
}

TEST_F(EngineQueryTest, ProgrammeWithoutEventIdIsFoundByItsCrids) {
    // The guide's CRIDs are mixed case; the stored episode keeps them as received, in another
    // case. Only event recordings (2 and 3) on the programme's service count.
    TCProgramData episode = Programme(5001, 704);
    episode.SetEventId(0xFFFF);
    const std::string ep02 = "crid://sat.example/cosmos/ep02";
    CRemindInfo found;
    Restore({Booking(kViewing, kLocalNow + kHour, 5001, ep02),
             Booking(kWaiting, kLocalNow, 1001, ep02)});
    EXPECT_FALSE(engine.FindRemindItemFromProgram(episode, found));
    const std::tuple<std::string, std::string, bool> cases[] = {
        {"CRID://SAT.EXAMPLE/COSMOS/EP02", "", true},    // its own programme CRID
        {"", "crid://sat.example/series/COSMOS", true},  // its series CRID
        {"crid://sat.example/cosmos/ep01", "crid://other/series", false},
    };
    for (const auto& [program, series, expected] : cases) {
        Restore(
            {Booking(REMINDER_RESERVE_RECORDING_IN_PROGRESS, kLocalNow, 5001, program, series)});
        EXPECT_EQ(engine.FindRemindItemFromProgram(episode, found), expected) << program << series;
        EXPECT_EQ(engine.t_FindRemindItemFromProgramByCrid(episode, found), expected);
        EXPECT_TRUE(!expected || found.m_sProgramCrid == program) << found.m_sProgramCrid;
    }
}

TEST_F(EngineQueryTest, CridQueries) {
    // The split opera's parts carry instance suffixes after '#'; the series episodes keep the
    // guide's mixed case.
    Store(FromGuide(5001, 702, kWaiting));
    Store(FromGuide(5001, 700, kWaiting));
    Store(FromGuide(5001, 704, REMINDER_RESERVE_SERIES));
    // The insert drops the base entry's programme CRID; give it one to show it is skipped.
    for (CRemindInfo e : Stored()) {
        if (e.m_nReserveType != REMINDER_RESERVE_SERIES) continue;
        e.m_sProgramCrid = "crid://Sat.Example/Cosmos/Ep02";
        ASSERT_TRUE(engine.t_UpdateRemindItemByUid(e.m_nUid, e));
    }
    Store(Booking(kViewing, kLocalNow + 9 * kHour, 1001));

    // The series base entry stands for no single programme; no CRID names no programme.
    const std::string aida = "crid://sat.example/opera/aida";
    const std::pair<std::string, int> scheduled[] = {
        {"CRID://sat.example/OPERA/aida#3", 702}, {aida, 702}, {"crid://sat.example/opera/aid", -1},
        {"crid://sat.example/cosmos/ep02", -1},   {"", -1},    {"#1", -1}};
    for (const auto& [crid, event] : scheduled) {
        CRemindInfo found;
        EXPECT_EQ(engine.IsProgramScheduled(crid, &found), event >= 0) << crid;
        EXPECT_TRUE(event < 0 || found.m_nEventId == event) << crid;
    }

    // By series or programme CRID, ignoring case; the base entry belongs to its series.
    std::vector<CRemindInfo> out;
    EXPECT_TRUE(engine.GetRemindItemsForCrid("CRID://SAT.EXAMPLE/SERIES/COSMOS", out));
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[0].m_nEventId, 700);
    EXPECT_EQ(out[1].m_nReserveType, REMINDER_RESERVE_SERIES);
    EXPECT_TRUE(engine.GetRemindItemsForCrid("crid://sat.example/opera/AIDA#2", out));
    EXPECT_EQ(out.size(), 1u);
    EXPECT_FALSE(engine.GetRemindItemsForCrid(aida, out));
    EXPECT_TRUE(out.empty());
    EXPECT_FALSE(engine.GetRemindItemsForCrid("", out));

    // The programme-monitoring lists: event recordings and series base entries.
    EXPECT_TRUE(engine.GetRemindItemsForMHEG(out));
    EXPECT_EQ(out.size(), 3u);
}

TEST_F(EngineQueryTest, RecordingsAndChannelsInTheList) {
    EXPECT_FALSE(engine.FlagExistRecordItem());
    Store(Booking(kViewing, kLocalNow + kHour, 1001));
    Store(FromList(Booking(kWaiting, kLocalNow, 1002)));
    Store(Booking(REMINDER_RESERVE_RECORDING_IN_PROGRESS, kLocalNow, 1004));
    EXPECT_FALSE(engine.FlagExistRecordItem());
    Store(Booking(REMINDER_RESERVE_RECORDING_READY, kLocalNow, 1003));
    EXPECT_TRUE(engine.FlagExistRecordItem());

    // A booked channel by service id, by channel type and numbers, or both; each attribute only
    // when the caller gave it.
    CRemindInfo manual = Booking(kRecording, kLocalNow + 2 * kHour, 5001);
    manual.m_nChannelType = 7, manual.m_nMajor = 101, manual.m_nMinor = 0;
    Store(manual);
    const int id = SERVICE_ATTR_SERVICE_ID, major = SERVICE_ATTR_MAJOR, minor = SERVICE_ATTR_MINOR;
    const std::pair<std::vector<std::pair<int, long long>>, bool> cases[] = {
        {{{id, 5001}}, true},
        {{{SERVICE_ATTR_CHANNEL_TYPE, 7}, {major, 101}, {minor, 0}}, true},
        {{{id, 5001}, {major, 101}, {SERVICE_ATTR_PTC, 9}}, true},
        {{{id, 5002}}, false},
        {{{id, 5001}, {minor, 1}}, false},
        {{{SERVICE_ATTR_PTC, 1}}, false},
    };
    for (const auto& [attributes, expected] : cases) {
        TCServiceData data;
        for (const auto& [key, value] : attributes) data.SetAttribute(key, value);
        EXPECT_EQ(engine.IsChannelScheduled(data), expected) << attributes.size();
    }
}

TEST_F(EngineQueryTest, OverlapSearchesSkipFailedAndSeriesEntries) {
    const uint32_t t = kLocalNow + 2 * kHour;
    Restore({Booking(kFailed, t, 1001), Booking(REMINDER_RESERVE_SERIES, t - 7862400, 1002),
             Booking(kRecording, t + 1800, 1003), FromList(Booking(kWaiting, t - 1800, 1004)),
             Booking(kViewing, t + kHour, 1006)});  // starts as the candidate ends

    const CRemindInfo candidate = Booking(kRecording, t, 1005);
    std::vector<CRemindInfo> out;
    EXPECT_TRUE(engine.GetOverlappingRemindItems(candidate, out, false));
    EXPECT_EQ(Starts(out), (std::vector<uint32_t>{t - 1800, t + 1800}));

    // The same-time check wants the same kind of booking (record list or not).
    CRemindInfo same;
    EXPECT_TRUE(engine.ExistSameTimeRemindItem(candidate, same));
    EXPECT_EQ(same.m_nServiceId, 1003u);
    EXPECT_TRUE(engine.ExistSameTimeRemindItem(FromList(candidate), &same));
    EXPECT_EQ(same.m_nServiceId, 1004u);
    EXPECT_FALSE(engine.ExistSameTimeRemindItem(Booking(kRecording, t + 5 * kHour), &same));

    // Deletion removes exactly the overlapping ones and announces nothing.
    tvsim::ClearLogs();
    EXPECT_TRUE(engine.DeleteOverlappingRemindItems(candidate));
    EXPECT_EQ(Notifications(), 0u);
    EXPECT_EQ(Services(Stored()), (std::vector<unsigned long long>{1001, 1002, 1006}));
    EXPECT_FALSE(engine.DeleteOverlappingRemindItems(candidate));

    ClearStore();
    EXPECT_FALSE(engine.GetOverlappingRemindItems(candidate, out, true));
    EXPECT_TRUE(out.empty());
}

TEST_F(EngineQueryTest, OverlapSearchTrimsBackToBackMarginsOnlyWhenAsked) {
    // A stored recording ends where the candidate begins, on the same service, and its end
    // margin reaches into the candidate.
    const uint32_t t = kLocalNow + 2 * kHour;
    CRemindInfo before = Booking(kRecording, t - kHour, 1005);
    before.m_nEndMarginTime = 300;
    Store(before);
    const CRemindInfo candidate = Booking(kRecording, t, 1005);
    std::vector<CRemindInfo> out;
    EXPECT_TRUE(engine.GetOverlappingRemindItems(candidate, out, false));
    EXPECT_EQ(Stored().at(0).m_nEndMarginTime, 300u);
    // Trimming takes the stored neighbour's end margin off, in the store too.
    EXPECT_FALSE(engine.GetOverlappingRemindItems(candidate, out, true));
    EXPECT_EQ(Stored().at(0).m_nEndMarginTime, 0u);

    // The same-time check and the deletion always trim.
    Restore({before});
    CRemindInfo same;
    EXPECT_FALSE(engine.ExistSameTimeRemindItem(candidate, same));
    Restore({before});
    EXPECT_FALSE(engine.DeleteOverlappingRemindItems(candidate));
    EXPECT_EQ(Stored().size(), 1u);
}

TEST_F(EngineQueryTest, TextOfARecordingFailureComesFromTheCatalogue) {
    // The build tree's catalogue holds English texts; the C locale translates nothing.
    ASSERT_NE(setlocale(LC_ALL, "C.UTF-8"), nullptr);
    setenv("LANGUAGE", "en", 1);
    const std::tuple<unsigned short, bool, const char*, const char*> cases[] = {
        {1000, true, "The recording failed because the TV's time was changed.",
         "TV_SID_RECORDING_FAILED_TIME_CONSISTENT_MSG"},
        {1001, true, "The channel of this recording is no longer available.",
         "TV_SID_RECORDING_FAILED_CHANNEL_REMOVED_MSG"},
        {999, false, "untouched", "untouched"},
    };
    // Without a catalogue the message id is shown.
    for (const char* dir : {REMINDER_BUILD_LOCALE_DIR, "/nonexistent"}) {
        setenv("REMINDER_LOCALE_DIR", dir, 1);
        for (const auto& [error, known, text, id] : cases) {
            std::string out = "untouched";
            EXPECT_EQ(engine.GetTextForTimerRecordingErrorByTimeChange(error, out), known) << error;
            EXPECT_EQ(out, dir == std::string("/nonexistent") ? id : text) << error;
        }
    }
    setenv("REMINDER_LOCALE_DIR", REMINDER_BUILD_LOCALE_DIR, 1);
}

}  // namespace
