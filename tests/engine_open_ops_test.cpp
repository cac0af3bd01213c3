// Series and group lookups, alternative showings of a clashing booking, the refresh passes that
// follow a channel rescan and a guide update, and whether a booking can still record by its CRID.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <set>
#include <tuple>

#include "EngineTest.h"
#include "FCAPI.h"
#include "ReminderAPI.h"

namespace {

using namespace testsupport;
constexpr uint32_t kNow = 1795456800u;  // the sample television's clock (UTC)
constexpr unsigned short kEveryChannelType = 0xFFFF;

std::string Upper(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(), ::toupper);
    return s;
}

// Loads a television profile of examples/ next to the sample one.
void LoadExample(const std::string& name) {
    const std::string sample = SampleProfilePath();
    std::string error;
    ASSERT_TRUE(tvsim::LoadProfileFile(sample.substr(0, sample.rfind('/') + 1) + name, &error))
        << error;
}

std::set<unsigned> Events(const std::vector<CRemindInfo>& items) {
    std::set<unsigned> events;
    for (const CRemindInfo& e : items) events.insert(e.m_nEventId);
    return events;
}

class OpenOpsTest : public CEngineTest {
protected:
    // Runs a refresh pass that should change nothing: it succeeds, writes and announces nothing.
    void ExpectNoChange(const std::function<bool()>& pass) {
        const std::vector<CRemindInfo> before = Stored();
        tvsim::ClearLogs();
        ASSERT_TRUE(pass());
        EXPECT_EQ(Notifications(), 0u);
        EXPECT_TRUE(Stored() == before);
    }
};

TEST_F(OpenOpsTest, SeriesAndGroupLookupsMatchTheirOwnKindIgnoringCase) {
    const std::string detective = "crid://broadcaster.example/Series/DETECTIVE";
    CRemindInfo base, group;
    base.m_nReserveType = REMINDER_RESERVE_SERIES, base.m_sSeriesCrid = Upper(detective);
    group.m_nReserveType = REMINDER_RESERVE_GROUP;
    group.m_sGroupCrid = "crid://broadcaster.example/Group/Films";
    // A recording that carries the series CRID is not the series' base entry.
    CRemindInfo episode = FromGuide(1001, 121);
    episode.m_sGroupCrid = "crid://broadcaster.example/Group/Other";
    for (const CRemindInfo& item : {base, group, episode}) Store(item);

    // The series lookup (false: the group lookup), the CRID, and whether it is found.
    const std::tuple<bool, std::string, bool> cases[] = {
        {true, "crid://broadcaster.example/series/detective", true},
        {true, "crid://broadcaster.example/Series/DETECTIV", false},
        {true, "crid://broadcaster.example/Group/Films", false},
        {true, "", false},
        {false, "CRID://BROADCASTER.EXAMPLE/GROUP/FILMS", true},
        {false, "crid://broadcaster.example/Group/Other", false},
    };
    for (const auto& [series, crid, expected] : cases) {
        CRemindInfo out;
        const bool found =
            series ? engine.FindSeriesBooking(crid, out) : engine.FindGroupBooking(crid, out);
        EXPECT_EQ(found, expected) << crid;
        EXPECT_TRUE(!found || out.m_nReserveType ==
                                  (series ? REMINDER_RESERVE_SERIES : REMINDER_RESERVE_GROUP));
    }

    // An episode (its CRID in the guide's letters) belongs to the stored series.
    CRemindInfo first = FromGuide(1001, 103), kitchen = FromGuide(1003, 102);
    CRemindInfo film = FromGuide(1005, 102);
    EXPECT_TRUE(engine.IsBasicSeries(first));
    EXPECT_FALSE(engine.IsBasicSeries(kitchen)) << "a series with no base entry";
    EXPECT_FALSE(engine.IsBasicSeries(film)) << "not part of any series";
    TCProgramData repeat = Programme(1002, 124), otherSeries = Programme(1003, 121);
    EXPECT_TRUE(engine.IsRecordAsBasicSeries(repeat));
    EXPECT_FALSE(engine.IsRecordAsBasicSeries(otherSeries));
}

TEST_F(OpenOpsTest, TheLatestEpisodeIsTheOneNoWaitingOrRunningEpisodeFollows) {
    // Episode 2 stored as an event recording; only episodes of the same series that record
    // (waiting for their event or running) count.
    CRemindInfo second = FromGuide(1001, 121, kWaiting);
    second.m_sSeriesCrid = Upper(second.m_sSeriesCrid);
    CRemindInfo stored = Row(Store(second));
    Store(FromGuide(1003, 121, kWaiting));  // another series, later

    CRemindInfo first = FromGuide(1001, 103), third = FromGuide(1001, 138);
    EXPECT_FALSE(engine.IsLatestSeriesProgram(first));
    EXPECT_TRUE(engine.IsLatestSeriesProgram(third));
    EXPECT_TRUE(engine.IsLatestSeriesProgram(stored)) << "not its own follower";

    // A later episode that is only a reminder to watch, or already failed, does not count.
    for (const EReserveType type : {kViewing, kFailed}) {
        Restore({FromGuide(1001, 121, type)});
        EXPECT_TRUE(engine.IsLatestSeriesProgram(first)) << type;
    }
}

class AlternativesTest : public OpenOpsTest {
protected:
    void SetUp() override {
        OpenOpsTest::SetUp();
        LoadExample("tv-one-tuner.json");
    }

    // Asks for the item's conflicts, then for the alternatives; `ask` false keeps `conflicts`.
    bool Alternatives(const CRemindInfo& item, bool ask = true) {
        EXPECT_TRUE(!ask || CReminderAPI::GetInstance()->ExistConflicts(item, conflicts));
        return CReminderAPI::GetInstance()->ExistAlternatives(item, conflicts, out);
    }
    std::set<unsigned> ForItem() { return Events(out[REM_ALTERNATIVE_FOR_ITEM]); }
    std::set<unsigned> ForConflicting() { return Events(out[REM_ALTERNATIVE_FOR_CONFLICTING]); }

    std::vector<CRemindInfo> conflicts;
    std::map<ERemAlterativeType, std::vector<CRemindInfo>> out;
};

TEST_F(AlternativesTest, OtherShowingsOfTheNewItemThatClashOrHaveBegunAreLeftOut) {
    // The detective at 20:00 meets the film's first showing; its third showing meets a
    // documentary also booked, so only the second is offered, replacing nothing.
    Store(FromGuide(1001, 103));
    Store(FromGuide(1002, 109));
    const CRemindInfo film = FromGuide(1005, 102);
    EXPECT_TRUE(Alternatives(film));
    EXPECT_EQ(ForItem(), (std::set<unsigned>{117}));
    CRemindInfo replaced;
    EXPECT_FALSE(engine.t_GetRemindItemByUid(out[REM_ALTERNATIVE_FOR_ITEM][0].m_nUid, replaced));

    Restore({FromGuide(1001, 103)});
    tvsim::SetCurrentTime(1795491000u + 60);  // the film's second showing has begun
    conflicts = {FromGuide(1001, 103)};
    EXPECT_TRUE(Alternatives(film, false));
    EXPECT_EQ(ForItem(), (std::set<unsigned>{117}));
}

TEST_F(AlternativesTest, AConflictingBookingsShowingsCarryTheUidOfTheBookingTheyWouldReplace) {
    const uint32_t filmUid = Store(FromGuide(1005, 102));
    const CRemindInfo detective = FromGuide(1001, 103);
    EXPECT_TRUE(Alternatives(detective));
    ASSERT_EQ(conflicts.size(), 1u);
    EXPECT_EQ(ForItem(), (std::set<unsigned>{124}));
    EXPECT_EQ(ForConflicting(), (std::set<unsigned>{108, 117}));
    for (const CRemindInfo& showing : out[REM_ALTERNATIVE_FOR_CONFLICTING])
        EXPECT_EQ(showing.m_nUid, filmUid) << "the UID of the booking it would replace";

    // A booked telenovela meets the detective's repeat: the new item has nothing left, the
    // film keeps both its other showings.
    Store(FromGuide(1003, 124));
    conflicts.clear();
    EXPECT_TRUE(Alternatives(detective));
    EXPECT_TRUE(ForItem().empty());
    EXPECT_EQ(ForConflicting(), (std::set<unsigned>{108, 117}));
}

TEST_F(AlternativesTest, ShowingsThatMeetTheNewItemOrAreUnknownAreLeftOut) {
    // A long manual recording meets the stored film's first showing and its second: moving the
    // film onto the second would not free the tuner.
    Store(FromGuide(1005, 102));
    CRemindInfo manual =
        Booking(kRecording, 1001, 0, 1795460000u + 3600u, 1795495000u - 1795460000u);
    manual.m_nManual = 1, manual.m_nChannelType = 2;
    EXPECT_TRUE(Alternatives(manual));
    EXPECT_TRUE(ForItem().empty()) << "no CRID: no other showing known";
    EXPECT_EQ(ForConflicting(), (std::set<unsigned>{117}));

    // Nothing to offer: false, with both keys present.
    out.clear();
    conflicts.clear();
    EXPECT_FALSE(Alternatives(FromGuide(1001, 105), false));  // news: no programme CRID
    EXPECT_EQ(out.size(), 2u);
    EXPECT_TRUE(ForItem().empty() && ForConflicting().empty());
}

TEST_F(OpenOpsTest, ARescanRenumbersRemovesAndLeavesAlone) {
    const uint32_t renumbered = Store(FromGuide(1005, 108));
    const uint32_t removedRecording = Store(FromGuide(1003, 105));
    const uint32_t removedViewing = Store(FromGuide(1003, 110, kViewing));
    CRemindInfo failedBefore = FromGuide(1003, 113, kFailed);
    failedBefore.m_nErrno = 7;
    const uint32_t alreadyFailed = Store(failedBefore);
    const uint32_t untouched = Store(FromGuide(1001, 121));
    CRemindInfo named = FromGuide(1002, 110);
    named.m_sChannelName = "Zurich 1";  // as the channel was called when booked
    const uint32_t renamed = Store(named);
    const CRemindInfo before = Row(untouched);

    LoadExample("tv-rescan.json");
    ExpectNoChange([&] { return engine.UpdateChannelInfoOfRemindItems(1); });  // analogue only
    tvsim::ClearLogs();
    ASSERT_TRUE(engine.UpdateChannelInfoOfRemindItems(2));  // digital
    EXPECT_EQ(Notifications(), 1u);

    EXPECT_EQ(Row(renumbered).m_nMajor, 15u);
    EXPECT_EQ(Row(removedRecording).m_nReserveType, kFailed);
    EXPECT_EQ(Row(removedRecording).m_nErrno, 1001);
    CRemindInfo row;
    EXPECT_FALSE(engine.t_GetRemindItemByUid(removedViewing, row));
    EXPECT_EQ(Row(alreadyFailed).m_nErrno, 7) << "a failed recording keeps its own error";
    EXPECT_TRUE(Row(untouched) == before) << "no name kept: none is added";
    EXPECT_EQ(Row(renamed).m_sChannelName, "Zürich Eins");

    // The television has not changed since: a second pass writes nothing and says nothing.
    ExpectNoChange([&] { return engine.UpdateChannelInfoOfRemindItems(kEveryChannelType); });
}

TEST_F(OpenOpsTest, ARescanThatChangedOrCouldReadNothingKeepsEveryKindOfChannel) {
    // Digital, analogue (found by frequency), IP, virtual and satellite channels, with and
    // without a 64-bit service id; a rescan that cannot read the channels fails.
    for (const unsigned long long service :
         {1001ull, 1006ull, 2001ull, 2002ull, 3001ull, 4001ull, 5001ull, 4294967296ull}) {
        CRemindInfo item;
        item.Set(service);
        item.m_nReserveType = kViewing;
        item.SetStartTime(kNow + 3600 * 5 + static_cast<uint32_t>(service % 1000) * 60);
        Store(item);
    }
    ExpectNoChange([&] { return engine.UpdateChannelInfoOfRemindItems(kEveryChannelType); });
    const std::vector<CRemindInfo> before = Stored();
    for (const char* failure : {"FindService", "CreateService", ""}) {
        LoadSampleTelevision();
        tvsim::SetFailure(failure);
        if (*failure == 0) {
            ASSERT_TRUE(tvsim::LoadProfile(R"({"channels": []})"));
        }
        tvsim::ClearLogs();
        EXPECT_FALSE(engine.UpdateChannelInfoOfRemindItems(kEveryChannelType)) << failure;
        EXPECT_EQ(Notifications(), 0u) << failure;
        EXPECT_TRUE(Stored() == before) << failure;
    }
}

TEST_F(OpenOpsTest, AGuideUpdateMovesAndRetitlesTheBookingsOfItsProgrammesOnly) {
    const uint32_t moved = Store(FromGuide(1001, 121));
    const uint32_t retitled = Store(FromGuide(1003, 105, kViewing));
    CRemindInfo manual = FromGuide(1001, 121), gone = FromGuide(1001, 122);
    manual.m_nManual = 1;   // keeps its own time
    gone.m_nEventId = 999;  // no longer in the guide: the booking stays as it is
    std::vector<uint32_t> unchanged = {Store(manual), Store(gone)};
    // Running, failed and series entries are not refreshed either.
    for (const EReserveType type : {REMINDER_RESERVE_RECORDING_IN_PROGRESS, kFailed,
                                    REMINDER_RESERVE_SERIES, REMINDER_RESERVE_GROUP})
        unchanged.push_back(Store(FromGuide(1001, 121, type)));
    Store(FromGuide(1005, 108, kWaiting));
    // One episode booked on its own: the guide's series CRID does not make it part of a series.
    CRemindInfo single = FromGuide(1001, 138);
    single.m_sSeriesCrid.clear();
    Store(single);
    // A series CRID kept in other letters is still the programme's.
    CRemindInfo shouting = FromGuide(1002, 124);
    shouting.m_sSeriesCrid = Upper(shouting.m_sSeriesCrid);
    Store(shouting);
    ExpectNoChange([&] { return engine.UpdateReminditemToMeta(); });  // the guide as booked

    const CRemindInfo before = Row(moved);
    std::vector<CRemindInfo> unchangedBefore;
    for (uint32_t uid : unchanged) unchangedBefore.push_back(Row(uid));
    LoadExample("tv-guide-update.json");
    tvsim::ClearLogs();
    ASSERT_TRUE(engine.UpdateReminditemToMeta());
    EXPECT_EQ(Notifications(), 1u);
    const CRemindInfo row = Row(moved);  // margins and duration kept
    EXPECT_EQ(row.m_nUTCStartTime, before.m_nUTCStartTime + 1800);
    EXPECT_EQ(row.m_nEventTime, before.m_nEventTime + 1800);
    EXPECT_EQ(row.m_nDuration, before.m_nDuration);
    EXPECT_EQ(row.m_nStartMarginTime, before.m_nStartMarginTime);
    EXPECT_EQ(Row(retitled).m_sTitle, "Planeta Azul: Océanos");
    for (size_t i = 0; i < unchanged.size(); ++i)
        EXPECT_TRUE(Row(unchanged[i]) == unchangedBefore[i]) << unchangedBefore[i].ToString();
    ExpectNoChange([&] { return engine.UpdateReminditemToMeta(); });
}

TEST_F(OpenOpsTest, AVirtualChannelBookingTakesItsProgrammesNewTitle) {
    CRemindInfo weather;
    weather.Set(FCVirtualProgramId(4001, kNow, 3600), kViewing);
    const uint32_t uid = Store(weather);
    Store(FromGuide(1001, 121));  // a broadcast booking: not this pass's
    ExpectNoChange([&] { return engine.UpdateVCItems(); });

    ASSERT_TRUE(tvsim::LoadProfile(R"({"base": ")" + SampleProfilePath() +
                                   R"(", "virtual_programmes": [{"service_id": 4001,
                                   "start": 1795456800, "title": "Météo du soir",
                                   "description": "Orages."}]})"));
    tvsim::ClearLogs();
    ASSERT_TRUE(engine.UpdateVCItems());
    EXPECT_EQ(Notifications(), 1u);
    EXPECT_EQ(Row(uid).m_sTitle, "Météo du soir");
    EXPECT_EQ(Row(uid).m_sSynopsis, "Orages.");

    tvsim::SetFailure("GetVirtualChannelsAPI");
    EXPECT_FALSE(engine.UpdateVCItems());
}

TEST_F(OpenOpsTest, EachRecordabilityAnswer) {
    // At the sample's clock 1003 shows Cocina de Noche (EP7) and 1001 shows a report followed
    // by the detective's first episode.
    CRemindInfo suffixed = FromGuide(1001, 103);
    suffixed.m_sProgramCrid = Upper(suffixed.m_sProgramCrid) + "#2";
    const std::tuple<const char*, CRemindInfo, int> cases[] = {
        {"present programme", FromGuide(1003, 102), 1},
        {"following programme", FromGuide(1001, 103), 1},
        {"other case and an instance suffix", suffixed, 1},
        {"no CRID: records by time", FromGuide(1001, 104), 2},
        {"a later episode", FromGuide(1001, 121), 0},
    };
    for (const auto& [name, booking, answer] : cases) {
        ClearStore();
        const uint32_t uid = Store(booking);
        tvsim::ClearLogs();
        EXPECT_EQ(engine.CheckRemindItemIsRecordable(uid), answer) << name;
        EXPECT_EQ(Notifications(), 0u) << name;
    }
    EXPECT_EQ(engine.CheckRemindItemIsRecordable(424242), -1) << "no such booking";

    // When the guide cannot be asked, only a booking without a CRID has an answer.
    const uint32_t uid = Store(FromGuide(1001, 103));
    const uint32_t byTime = Store(FromGuide(1001, 104));
    tvsim::SetFailure("GetPresentProgram");
    tvsim::SetFailure("GetFollowingProgram");
    EXPECT_EQ(engine.CheckRemindItemIsRecordable(uid), -1);
    EXPECT_EQ(engine.CheckRemindItemIsRecordable(byTime), 2);
    LoadSampleTelevision();
    tvsim::SetFailure("CreateServiceGuide");
    EXPECT_EQ(engine.CheckRemindItemIsRecordable(uid), -1);
}

TEST_F(OpenOpsTest, ABookingIsBroughtUpToDateWithTheProgrammeItsCridMatches) {
    CRemindInfo stale = FromGuide(1001, 103);
    const CRemindInfo fresh = Row(Store(stale));
    ClearStore();
    stale.m_nEventId = 90;
    stale.m_nUTCStartTime -= 600;
    stale.m_nEventTime -= 600;
    const uint32_t uid = Store(stale);
    tvsim::ClearLogs();
    EXPECT_EQ(engine.CheckRemindItemIsRecordable(uid), 1);
    EXPECT_EQ(Notifications(), 1u);
    CRemindInfo row = Row(uid);
    row.m_nUid = fresh.m_nUid;
    EXPECT_TRUE(row == fresh) << row.ToString() << fresh.ToString();
}

}  // namespace
