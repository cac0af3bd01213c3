// Series and group lookups, alternative showings of a clashing booking, the refresh passes that
// follow a channel rescan and a guide update, and whether a booking can still record by its CRID.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>

#include <algorithm>
#include <functional>
#include <iterator>
#include <list>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "FCAPI.h"
#include "ReminderAPI.h"
#include "ReminderAPIImp.h"
#include "ReminderAPIUtil.h"
#include "TestSupport.h"

namespace {

constexpr uint32_t kNow = 1795456800u;  // the sample television's clock (UTC)
constexpr unsigned short kEveryChannelType = 0xFFFF;
const std::string kDetectiveSeries = "crid://broadcaster.example/Series/DETECTIVE";

std::string Example(const std::string& name) {
    const std::string sample = testsupport::SampleProfilePath();
    return sample.substr(0, sample.rfind('/') + 1) + name;
}

std::string Upper(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(), ::toupper);
    return s;
}

class OpenOpsTest : public ::testing::Test {
protected:
    void SetUp() override {
        testsupport::LoadSampleTelevision();
        testsupport::ClearStore();
        tvsim::ClearLogs();
    }

    // The programme as the guide has it, booked as `type`.
    static CRemindInfo FromGuide(unsigned long long serviceId, unsigned short eventId,
                                 EReserveType type = REMINDER_RESERVE_RECORDING) {
        TCProgramData program;
        EXPECT_TRUE(tvsim::FindProgramme(serviceId, eventId, program))
            << serviceId << "/" << eventId;
        CRemindInfo item;
        item.Set(program, type);
        // As a booking made from the guide keeps it.
        std::list<std::string> series;
        if (program.GetCRIDs(series, CRID_TYPE_SERIES) && !series.empty()) {
            item.m_sSeriesCrid = series.front();
        }
        return item;
    }

    uint32_t Store(const CRemindInfo& item) {
        EXPECT_TRUE(engine.t_AddRemindItem(item, false));
        std::vector<CRemindInfo> list;
        engine.t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
        uint32_t newest = 0;
        for (const CRemindInfo& e : list) newest = std::max(newest, e.m_nUid);
        return newest;
    }

    bool Row(uint32_t uid, CRemindInfo& out) { return engine.t_GetRemindItemByUid(uid, out); }

    std::vector<CRemindInfo> Stored() {
        std::vector<CRemindInfo> list;
        engine.t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
        return list;
    }

    static size_t Notifications() { return testsupport::LogLinesContaining(": Notify(").size(); }

    CReminderAPIImp engine;
};

// --- Series and group lookups ---

TEST_F(OpenOpsTest, SeriesAndGroupLookupsMatchTheirOwnKindIgnoringCase) {
    CRemindInfo base;
    base.m_nReserveType = REMINDER_RESERVE_SERIES;
    base.m_sSeriesCrid = kDetectiveSeries;
    Store(base);
    CRemindInfo group;
    group.m_nReserveType = REMINDER_RESERVE_GROUP;
    group.m_sGroupCrid = "crid://broadcaster.example/Group/Films";
    Store(group);
    // A recording that carries the series CRID is not the series' base entry.
    CRemindInfo episode = FromGuide(1001, 121);
    episode.m_sGroupCrid = "crid://broadcaster.example/Group/Other";
    Store(episode);

    enum class EWhich { Series, Group };
    const struct {
        EWhich which;
        std::string crid;
        bool found;
    } cases[] = {
        {EWhich::Series, kDetectiveSeries, true},
        {EWhich::Series, Upper(kDetectiveSeries), true},
        {EWhich::Series, "crid://broadcaster.example/series/detective", true},
        {EWhich::Series, "crid://broadcaster.example/Series/DETECTIV", false},
        {EWhich::Series, "crid://broadcaster.example/Group/Films", false},
        {EWhich::Series, "", false},
        {EWhich::Group, "CRID://BROADCASTER.EXAMPLE/GROUP/FILMS", true},
        {EWhich::Group, "crid://broadcaster.example/Group/Other", false},
        {EWhich::Group, kDetectiveSeries, false},
        {EWhich::Group, "", false},
    };
    for (const auto& c : cases) {
        CRemindInfo out;
        const bool found = c.which == EWhich::Series ? engine.FindSeriesBooking(c.crid, out)
                                                     : engine.FindGroupBooking(c.crid, out);
        EXPECT_EQ(found, c.found) << c.crid;
        if (found) {
            EXPECT_EQ(out.m_nReserveType,
                      c.which == EWhich::Series ? REMINDER_RESERVE_SERIES : REMINDER_RESERVE_GROUP);
        }
    }
}

TEST_F(OpenOpsTest, AnEpisodeBelongsToAStoredSeriesWhateverTheCaseOfItsCrid) {
    CRemindInfo base;
    base.m_nReserveType = REMINDER_RESERVE_SERIES;
    base.m_sSeriesCrid = Upper(kDetectiveSeries);
    Store(base);

    CRemindInfo episode = FromGuide(1001, 103);
    const CRemindInfo before = episode;
    EXPECT_TRUE(engine.IsBasicSeries(episode));
    EXPECT_TRUE(episode == before) << "the item is not changed";

    CRemindInfo kitchen = FromGuide(1003, 102);  // a series with no base entry
    EXPECT_FALSE(engine.IsBasicSeries(kitchen));
    CRemindInfo film = FromGuide(1005, 102);  // not part of any series
    EXPECT_FALSE(engine.IsBasicSeries(film));

    TCProgramData program;
    ASSERT_TRUE(tvsim::FindProgramme(1002, 124, program));
    EXPECT_TRUE(engine.IsRecordAsBasicSeries(program));
    ASSERT_TRUE(tvsim::FindProgramme(1003, 121, program));
    EXPECT_FALSE(engine.IsRecordAsBasicSeries(program));
    ASSERT_TRUE(tvsim::FindProgramme(1005, 108, program));
    EXPECT_FALSE(engine.IsRecordAsBasicSeries(program));
}

TEST_F(OpenOpsTest, TheLatestEpisodeIsTheOneNoWaitingOrRunningEpisodeFollows) {
    // Episode 2 stored as an event recording; only episodes of the same series that record
    // (waiting for their event or running) count.
    CRemindInfo second = FromGuide(1001, 121, REMINDER_RESERVE_RECORDING_MONITORED);
    second.m_sSeriesCrid = Upper(second.m_sSeriesCrid);
    const uint32_t secondUid = Store(second);
    Store(FromGuide(1003, 121, REMINDER_RESERVE_RECORDING_MONITORED));  // another series, later

    CRemindInfo first = FromGuide(1001, 103);
    CRemindInfo third = FromGuide(1001, 138);
    CRemindInfo stored;
    ASSERT_TRUE(Row(secondUid, stored));
    EXPECT_FALSE(engine.IsLatestSeriesProgram(first));
    EXPECT_TRUE(engine.IsLatestSeriesProgram(third));
    EXPECT_TRUE(engine.IsLatestSeriesProgram(stored))
        << "the stored episode is not its own follower";

    // A later episode that is only a reminder to watch, or already failed, does not count.
    for (const EReserveType type : {REMINDER_RESERVE_VIEWING, REMINDER_RESERVE_RECORDING_FAILED}) {
        testsupport::ClearStore();
        Store(FromGuide(1001, 121, type));
        EXPECT_TRUE(engine.IsLatestSeriesProgram(first)) << type;
    }
    CRemindInfo film = FromGuide(1005, 102);
    EXPECT_FALSE(engine.IsLatestSeriesProgram(film)) << "not part of a series";
}

// --- Alternative showings ---

std::set<unsigned> Events(const std::vector<CRemindInfo>& items) {
    std::set<unsigned> events;
    for (const CRemindInfo& e : items) events.insert(e.m_nEventId);
    return events;
}

class AlternativesTest : public OpenOpsTest {
protected:
    void SetUp() override {
        OpenOpsTest::SetUp();
        std::string error;
        ASSERT_TRUE(tvsim::LoadProfileFile(Example("tv-one-tuner.json"), &error)) << error;
    }

    bool Alternatives(const CRemindInfo& item, std::vector<CRemindInfo>& conflicts,
                      std::map<ERemAlterativeType, std::vector<CRemindInfo>>& out) {
        EXPECT_TRUE(CReminderAPI::GetInstance()->ExistConflicts(item, conflicts));
        return CReminderAPI::GetInstance()->ExistAlternatives(item, conflicts, out);
    }
};

TEST_F(AlternativesTest, OtherShowingsOfTheNewItemThatClashThemselvesAreLeftOut) {
    // The detective at 20:00 meets the film's first showing; its third showing meets a
    // documentary also booked, so only the second is offered.
    Store(FromGuide(1001, 103));
    Store(FromGuide(1002, 109));
    const CRemindInfo film = FromGuide(1005, 102);
    std::vector<CRemindInfo> conflicts;
    std::map<ERemAlterativeType, std::vector<CRemindInfo>> out;
    EXPECT_TRUE(Alternatives(film, conflicts, out));
    EXPECT_EQ(Events(out[REM_ALTERNATIVE_FOR_ITEM]), (std::set<unsigned>{117}));
    for (const CRemindInfo& showing : out[REM_ALTERNATIVE_FOR_ITEM]) {
        EXPECT_EQ(showing.m_nServiceId, 1005u);
        EXPECT_EQ(showing.m_nReserveType, REMINDER_RESERVE_RECORDING);
        CRemindInfo replaced;
        EXPECT_FALSE(Row(showing.m_nUid, replaced))
            << "an alternative for the new item replaces nothing";
    }
}

TEST_F(AlternativesTest, ShowingsAlreadyBegunAreNotOffered) {
    Store(FromGuide(1001, 103));
    tvsim::SetCurrentTime(1795491000u + 60);  // the film's second showing has begun
    const CRemindInfo film = FromGuide(1005, 102);
    std::vector<CRemindInfo> conflicts{FromGuide(1001, 103)};
    std::map<ERemAlterativeType, std::vector<CRemindInfo>> out;
    EXPECT_TRUE(CReminderAPI::GetInstance()->ExistAlternatives(film, conflicts, out));
    EXPECT_EQ(Events(out[REM_ALTERNATIVE_FOR_ITEM]), (std::set<unsigned>{117}));
}

TEST_F(AlternativesTest, AConflictingBookingsShowingsCarryTheUidOfTheBookingTheyWouldReplace) {
    const uint32_t filmUid = Store(FromGuide(1005, 102));
    const CRemindInfo detective = FromGuide(1001, 103);
    std::vector<CRemindInfo> conflicts;
    std::map<ERemAlterativeType, std::vector<CRemindInfo>> out;
    EXPECT_TRUE(Alternatives(detective, conflicts, out));
    ASSERT_EQ(conflicts.size(), 1u);
    EXPECT_EQ(Events(out[REM_ALTERNATIVE_FOR_ITEM]), (std::set<unsigned>{124}));
    EXPECT_EQ(Events(out[REM_ALTERNATIVE_FOR_CONFLICTING]), (std::set<unsigned>{108, 117}));
    for (const CRemindInfo& showing : out[REM_ALTERNATIVE_FOR_CONFLICTING]) {
        EXPECT_EQ(showing.m_nUid, filmUid);
        EXPECT_EQ(showing.m_nServiceId, 1005u);
    }

    // A booked telenovela meets the detective's repeat: the new item has nothing left, the
    // film keeps both its other showings.
    Store(FromGuide(1003, 124));
    conflicts.clear();
    EXPECT_TRUE(Alternatives(detective, conflicts, out));
    EXPECT_TRUE(out[REM_ALTERNATIVE_FOR_ITEM].empty());
    EXPECT_EQ(Events(out[REM_ALTERNATIVE_FOR_CONFLICTING]), (std::set<unsigned>{108, 117}));
}

TEST_F(AlternativesTest, AConflictingBookingsShowingThatMeetsTheNewItemIsLeftOut) {
    // A long manual recording meets the stored film's first showing and its second: moving the
    // film onto the second would not free the tuner.
    Store(FromGuide(1005, 102));
    CRemindInfo manual;
    manual.m_nReserveType = REMINDER_RESERVE_RECORDING;
    manual.m_nManual = 1;
    manual.m_nServiceId = 1001;
    manual.m_nChannelType = 2;
    manual.SetStartTime(1795460000u + 3600u);  // local time: the sample runs at UTC + 1 h
    manual.m_nDuration = 1795495000u - 1795460000u;
    manual.m_sTitle = "Long night";
    std::vector<CRemindInfo> conflicts;
    std::map<ERemAlterativeType, std::vector<CRemindInfo>> out;
    EXPECT_TRUE(Alternatives(manual, conflicts, out));
    EXPECT_TRUE(out[REM_ALTERNATIVE_FOR_ITEM].empty()) << "no CRID: no other showing known";
    EXPECT_EQ(Events(out[REM_ALTERNATIVE_FOR_CONFLICTING]), (std::set<unsigned>{117}));
}

TEST_F(AlternativesTest, NothingToOfferIsFalseWithBothKeysPresent) {
    const CRemindInfo news = FromGuide(1001, 105);  // no programme CRID: no other showing known
    std::vector<CRemindInfo> conflicts;
    std::map<ERemAlterativeType, std::vector<CRemindInfo>> out;
    EXPECT_FALSE(CReminderAPI::GetInstance()->ExistAlternatives(news, conflicts, out));
    ASSERT_EQ(out.size(), 2u);
    EXPECT_TRUE(out[REM_ALTERNATIVE_FOR_ITEM].empty());
    EXPECT_TRUE(out[REM_ALTERNATIVE_FOR_CONFLICTING].empty());
}

// --- Channel refresh after a rescan ---

TEST_F(OpenOpsTest, ARescanRenumbersRemovesAndLeavesAlone) {
    const uint32_t renumbered = Store(FromGuide(1005, 108));
    const uint32_t removedRecording = Store(FromGuide(1003, 105));
    const uint32_t removedViewing = Store(FromGuide(1003, 110, REMINDER_RESERVE_VIEWING));
    CRemindInfo failedBefore = FromGuide(1003, 113, REMINDER_RESERVE_RECORDING_FAILED);
    failedBefore.m_nErrno = 7;
    const uint32_t alreadyFailed = Store(failedBefore);
    const uint32_t untouched = Store(FromGuide(1001, 121));
    CRemindInfo named = FromGuide(1002, 110);
    named.m_sChannelName = "Zurich 1";  // as the channel was called when booked
    const uint32_t renamed = Store(named);
    CRemindInfo before;
    ASSERT_TRUE(Row(untouched, before));

    std::string error;
    ASSERT_TRUE(tvsim::LoadProfileFile(Example("tv-rescan.json"), &error)) << error;
    tvsim::ClearLogs();
    ASSERT_TRUE(engine.UpdateChannelInfoOfRemindItems(kEveryChannelType));
    EXPECT_EQ(Notifications(), 1u);

    CRemindInfo row;
    ASSERT_TRUE(Row(renumbered, row));
    EXPECT_EQ(row.m_nMajor, 15u);
    EXPECT_EQ(row.m_nServiceId, 1005u);
    EXPECT_EQ(row.m_nReserveType, REMINDER_RESERVE_RECORDING);
    ASSERT_TRUE(Row(removedRecording, row));
    EXPECT_EQ(row.m_nReserveType, REMINDER_RESERVE_RECORDING_FAILED);
    EXPECT_EQ(row.m_nErrno, 1001);
    EXPECT_FALSE(Row(removedViewing, row));
    ASSERT_TRUE(Row(alreadyFailed, row));
    EXPECT_EQ(row.m_nErrno, 7) << "a failed recording keeps its own error";
    ASSERT_TRUE(Row(untouched, row));
    EXPECT_TRUE(row == before) << "no name kept: none is added";
    ASSERT_TRUE(Row(renamed, row));
    EXPECT_EQ(row.m_sChannelName, "Zürich Eins");

    // The television has not changed since: a second pass writes nothing and says nothing.
    tvsim::ClearLogs();
    ASSERT_TRUE(engine.UpdateChannelInfoOfRemindItems(kEveryChannelType));
    EXPECT_EQ(Notifications(), 0u);
}

TEST_F(OpenOpsTest, ARescanThatChangedNothingKeepsEveryKindOfChannel) {
    // Digital, analogue (found by frequency), IP, virtual and satellite channels, with and
    // without a 64-bit service id.
    for (const unsigned long long service :
         {1001ull, 1006ull, 2001ull, 2002ull, 3001ull, 4001ull, 5001ull, 4294967296ull}) {
        CRemindInfo item;
        item.Set(service);
        item.m_nReserveType = REMINDER_RESERVE_VIEWING;
        item.SetStartTime(kNow + 3600 * 5 + static_cast<uint32_t>(service % 1000) * 60);
        item.m_sTitle = "On " + std::to_string(service);
        Store(item);
    }
    const std::vector<CRemindInfo> before = Stored();
    ASSERT_EQ(before.size(), 8u);
    tvsim::ClearLogs();
    ASSERT_TRUE(engine.UpdateChannelInfoOfRemindItems(kEveryChannelType));
    EXPECT_EQ(Notifications(), 0u);
    const std::vector<CRemindInfo> after = Stored();
    std::string gone;
    for (const CRemindInfo& e : before) {
        CRemindInfo row;
        if (!Row(e.m_nUid, row)) gone += e.m_sTitle + " ";
    }
    ASSERT_EQ(after.size(), before.size()) << "gone: " << gone;
    for (size_t i = 0; i < after.size(); ++i) {
        EXPECT_TRUE(after[i] == before[i]) << before[i].ToString();
    }
}

TEST_F(OpenOpsTest, ARescanThatCannotReadAnyChannelChangesNothing) {
    Store(FromGuide(1005, 108));
    Store(FromGuide(1003, 110, REMINDER_RESERVE_VIEWING));
    const std::vector<CRemindInfo> before = Stored();
    const std::function<void()> failures[] = {
        [] { tvsim::SetFailure("FindService"); },
        [] { tvsim::SetFailure("CreateService"); },
        [] { ASSERT_TRUE(tvsim::LoadProfile(R"({"channels": []})")); },
    };
    for (size_t i = 0; i < std::size(failures); ++i) {
        testsupport::LoadSampleTelevision();
        failures[i]();
        tvsim::ClearLogs();
        EXPECT_FALSE(engine.UpdateChannelInfoOfRemindItems(kEveryChannelType)) << i;
        EXPECT_EQ(Notifications(), 0u) << i;
        EXPECT_TRUE(Stored() == before) << i;
    }
}

TEST_F(OpenOpsTest, ARescanOfOneChannelTypeLeavesTheOthers) {
    const uint32_t digital = Store(FromGuide(1005, 108));
    std::string error;
    ASSERT_TRUE(tvsim::LoadProfileFile(Example("tv-rescan.json"), &error)) << error;
    tvsim::ClearLogs();
    ASSERT_TRUE(engine.UpdateChannelInfoOfRemindItems(1));  // analogue only
    EXPECT_EQ(Notifications(), 0u);
    CRemindInfo row;
    ASSERT_TRUE(Row(digital, row));
    EXPECT_EQ(row.m_nMajor, 5u);
    ASSERT_TRUE(engine.UpdateChannelInfoOfRemindItems(2));
    ASSERT_TRUE(Row(digital, row));
    EXPECT_EQ(row.m_nMajor, 15u);
}

TEST_F(OpenOpsTest, TheFailureOfARemovedChannelHasItsOwnText) {
    ASSERT_NE(setlocale(LC_ALL, "C.UTF-8"), nullptr);
    setenv("LANGUAGE", "en", 1);
    setenv("REMINDER_LOCALE_DIR", REMINDER_BUILD_LOCALE_DIR, 1);
    const struct {
        unsigned short error;
        bool known;
        const char* text;
    } cases[] = {
        {1000, true, "The recording failed because the TV's time was changed."},
        {1001, true, "The channel of this recording is no longer available."},
        {1002, false, "untouched"},
        {0, false, "untouched"},
    };
    for (const auto& c : cases) {
        std::string text = "untouched";
        EXPECT_EQ(CReminderAPIUtil::GetTextForTimerRecordingErrorByTimeChange(c.error, text),
                  c.known)
            << c.error;
        EXPECT_EQ(text, c.text) << c.error;
    }
    setenv("REMINDER_LOCALE_DIR", "/nonexistent", 1);
    std::string text;
    EXPECT_TRUE(CReminderAPIUtil::GetTextForTimerRecordingErrorByTimeChange(1001, text));
    EXPECT_EQ(text, "TV_SID_RECORDING_FAILED_CHANNEL_REMOVED_MSG");
    setenv("REMINDER_LOCALE_DIR", REMINDER_BUILD_LOCALE_DIR, 1);
}

// --- Guide refresh ---

TEST_F(OpenOpsTest, AGuideUpdateMovesAndRetitlesTheBookingsOfItsProgrammes) {
    const uint32_t moved = Store(FromGuide(1001, 121));
    CRemindInfo padded = FromGuide(1003, 105, REMINDER_RESERVE_VIEWING);
    const uint32_t retitled = Store(padded);
    CRemindInfo manual = FromGuide(1001, 121);
    manual.m_nManual = 1;
    const uint32_t manualUid = Store(manual);
    CRemindInfo gone = FromGuide(1001, 122);
    gone.m_nEventId = 999;  // no longer in the guide
    const uint32_t goneUid = Store(gone);
    CRemindInfo movedBefore, manualBefore, goneBefore;
    ASSERT_TRUE(Row(moved, movedBefore));
    ASSERT_TRUE(Row(manualUid, manualBefore));
    ASSERT_TRUE(Row(goneUid, goneBefore));

    std::string error;
    ASSERT_TRUE(tvsim::LoadProfileFile(Example("tv-guide-update.json"), &error)) << error;
    tvsim::ClearLogs();
    ASSERT_TRUE(engine.UpdateReminditemToMeta());
    EXPECT_EQ(Notifications(), 1u);

    CRemindInfo row;
    ASSERT_TRUE(Row(moved, row));
    EXPECT_EQ(row.m_nUTCStartTime, movedBefore.m_nUTCStartTime + 1800);
    EXPECT_EQ(row.m_nEventTime, movedBefore.m_nEventTime + 1800);
    EXPECT_EQ(row.m_nDuration, movedBefore.m_nDuration);
    EXPECT_EQ(row.m_nReserveType, movedBefore.m_nReserveType);
    EXPECT_EQ(row.m_nStartMarginTime, movedBefore.m_nStartMarginTime);
    EXPECT_EQ(row.m_nEndMarginTime, movedBefore.m_nEndMarginTime);
    ASSERT_TRUE(Row(retitled, row));
    EXPECT_EQ(row.m_sTitle, "Planeta Azul: Océanos");
    ASSERT_TRUE(Row(manualUid, row));
    EXPECT_TRUE(row == manualBefore) << "a manual booking keeps its own time";
    ASSERT_TRUE(Row(goneUid, row));
    EXPECT_TRUE(row == goneBefore) << "a programme gone from the guide leaves its booking";

    tvsim::ClearLogs();
    ASSERT_TRUE(engine.UpdateReminditemToMeta());
    EXPECT_EQ(Notifications(), 0u);
}

TEST_F(OpenOpsTest, AGuideThatHasNotChangedWritesNothing) {
    Store(FromGuide(1001, 121));
    Store(FromGuide(1003, 105, REMINDER_RESERVE_VIEWING));
    Store(FromGuide(1005, 108, REMINDER_RESERVE_RECORDING_MONITORED));
    // One episode booked on its own: the guide's series CRID does not make it part of a series.
    CRemindInfo single = FromGuide(1001, 138);
    single.m_sSeriesCrid.clear();
    Store(single);
    // A series CRID kept in other letters is still the programme's.
    CRemindInfo shouting = FromGuide(1002, 124);
    shouting.m_sSeriesCrid = Upper(shouting.m_sSeriesCrid);
    Store(shouting);
    const std::vector<CRemindInfo> before = Stored();
    tvsim::ClearLogs();
    ASSERT_TRUE(engine.UpdateReminditemToMeta());
    EXPECT_EQ(Notifications(), 0u);
    const std::vector<CRemindInfo> after = Stored();
    ASSERT_EQ(after.size(), before.size());
    for (size_t i = 0; i < after.size(); ++i) {
        EXPECT_TRUE(after[i] == before[i]) << before[i].ToString() << "\n" << after[i].ToString();
    }
}

TEST_F(OpenOpsTest, AGuideUpdateLeavesRunningFailedAndSeriesEntriesAlone) {
    std::vector<uint32_t> uids;
    for (const EReserveType type :
         {REMINDER_RESERVE_RECORDING_IN_PROGRESS, REMINDER_RESERVE_RECORDING_FAILED,
          REMINDER_RESERVE_SERIES, REMINDER_RESERVE_GROUP}) {
        uids.push_back(Store(FromGuide(1001, 121, type)));
    }
    const std::vector<CRemindInfo> before = Stored();
    std::string error;
    ASSERT_TRUE(tvsim::LoadProfileFile(Example("tv-guide-update.json"), &error)) << error;
    tvsim::ClearLogs();
    ASSERT_TRUE(engine.UpdateReminditemToMeta());
    EXPECT_EQ(Notifications(), 0u);
    EXPECT_TRUE(Stored() == before);
}

TEST_F(OpenOpsTest, AVirtualChannelBookingTakesItsProgrammesNewTitle) {
    CRemindInfo weather;
    weather.Set(FCVirtualProgramId(4001, kNow, 3600), REMINDER_RESERVE_VIEWING);
    const uint32_t uid = Store(weather);
    Store(FromGuide(1001, 121));  // a broadcast booking: not this pass's
    tvsim::ClearLogs();
    ASSERT_TRUE(engine.UpdateVCItems());
    EXPECT_EQ(Notifications(), 0u) << "the guide has not changed";

    std::string error;
    ASSERT_TRUE(tvsim::LoadProfile(R"({"base": ")" + testsupport::SampleProfilePath() +
                                       R"(", "virtual_programmes": [{"service_id": 4001,
                                       "start": 1795456800, "title": "Météo du soir",
                                       "description": "Orages."}]})",
                                   &error))
        << error;
    tvsim::ClearLogs();
    ASSERT_TRUE(engine.UpdateVCItems());
    EXPECT_EQ(Notifications(), 1u);
    CRemindInfo row;
    ASSERT_TRUE(Row(uid, row));
    EXPECT_EQ(row.m_sTitle, "Météo du soir");
    EXPECT_EQ(row.m_sSynopsis, "Orages.");

    tvsim::SetFailure("GetVirtualChannelsAPI");
    EXPECT_FALSE(engine.UpdateVCItems());
}

// --- Recordability by CRID ---

TEST_F(OpenOpsTest, EachRecordabilityAnswer) {
    // At the sample's clock 1003 shows Cocina de Noche (EP7) and 1001 shows a report followed
    // by the detective's first episode.
    CRemindInfo suffixed = FromGuide(1001, 103);
    suffixed.m_sProgramCrid = Upper(suffixed.m_sProgramCrid) + "#2";
    const struct {
        const char* name;
        CRemindInfo booking;
        int answer;
    } cases[] = {
        {"present programme", FromGuide(1003, 102), 1},
        {"following programme", FromGuide(1001, 103), 1},
        {"other case and an instance suffix", suffixed, 1},
        {"no CRID: records by time", FromGuide(1001, 104), 2},
        {"a later episode", FromGuide(1001, 121), 0},
    };
    for (const auto& c : cases) {
        testsupport::ClearStore();
        const uint32_t uid = Store(c.booking);
        tvsim::ClearLogs();
        EXPECT_EQ(engine.CheckRemindItemIsRecordable(uid), c.answer) << c.name;
        EXPECT_EQ(Notifications(), 0u) << c.name;
    }
    EXPECT_EQ(engine.CheckRemindItemIsRecordable(424242), -1) << "no such booking";
}

TEST_F(OpenOpsTest, RecordabilityIsUnknownWhenTheGuideCannotBeAsked) {
    const uint32_t uid = Store(FromGuide(1001, 103));
    const uint32_t byTime = Store(FromGuide(1001, 104));
    tvsim::SetFailure("GetPresentProgram");
    tvsim::SetFailure("GetFollowingProgram");
    EXPECT_EQ(engine.CheckRemindItemIsRecordable(uid), -1);
    EXPECT_EQ(engine.CheckRemindItemIsRecordable(byTime), 2) << "no CRID: the guide is not asked";
    tvsim::SetFailure("GetPresentProgram", false);
    tvsim::SetFailure("GetFollowingProgram", false);
    tvsim::SetFailure("CreateServiceGuide");
    EXPECT_EQ(engine.CheckRemindItemIsRecordable(uid), -1);
}

TEST_F(OpenOpsTest, ABookingIsBroughtUpToDateWithTheProgrammeItsCridMatches) {
    CRemindInfo stale = FromGuide(1001, 103);
    const CRemindInfo fresh = stale;
    stale.m_nEventId = 90;
    stale.m_nUTCStartTime -= 600;
    stale.m_nEventTime -= 600;
    const uint32_t uid = Store(stale);
    tvsim::ClearLogs();
    EXPECT_EQ(engine.CheckRemindItemIsRecordable(uid), 1);
    EXPECT_TRUE(testsupport::Logged("CRID info is updated."));
    EXPECT_EQ(Notifications(), 1u);
    CRemindInfo row;
    ASSERT_TRUE(Row(uid, row));
    EXPECT_EQ(row.m_nEventId, 103);
    EXPECT_EQ(row.m_nUTCStartTime, fresh.m_nUTCStartTime);
    EXPECT_EQ(row.m_nEventTime, fresh.m_nEventTime);
    EXPECT_EQ(row.m_nReserveType, REMINDER_RESERVE_RECORDING);
}

}  // namespace
