// Tuner counts, the one-tuner rules and the conflict set of a booking, on each typical set: one
// tuner, two tuners with one recordable, two recordable tuners, satellite on one cable.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <future>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "EngineTest.h"
#include "ReminderAPI.h"
#include "ReminderAPIUtil.h"

namespace {

using U = CReminderAPIUtil;
using namespace testsupport;  // kLocalNow: 19:00 on the sample evening
constexpr const char* kSatelliteKey =
    "db/menu/Broadcast/setting/SatelliteSystem/SatelliteAntConnectionType";

// Local time of hhmm on the sample evening.
constexpr uint32_t At(int hhmm) {
    return kLocalNow + static_cast<uint32_t>((hhmm / 100 - 19) * 3600 + hhmm % 100 * 60);
}

// Channels of the sample: 1001-1003 digital, 1004 digital and scrambled, 2001 analogue.
struct SChannel {
    unsigned long long serviceId;
    uint16_t type;
};
constexpr SChannel c1{1001, 2}, c2{1002, 2}, c3{1003, 2}, cScr{1004, 4}, cAna{2001, 1};

CRemindInfo Booking(EReserveType type, SChannel channel, int from, int to) {
    static uint16_t nextEvent = 9000;
    CRemindInfo item = testsupport::Booking(type, channel.serviceId, nextEvent++, At(from),
                                            type == kViewing ? 0 : At(to) - At(from));
    item.m_nChannelType = channel.type;
    return item;
}
CRemindInfo R(SChannel channel, int from, int to) {
    return Booking(kRecording, channel, from, to);
}
CRemindInfo V(SChannel channel, int at) {
    return Booking(kViewing, channel, at, at);
}

// The typical sets: one tuner, two with one recordable, two recordable, satellite on one cable.
enum ESet { One, TwoOneRec, TwoRec, SatCable };

void UseSet(ESet set) {
    const int recordable[] = {1, 1, 2, 2};
    tvsim::SetTunerCounts(set == One ? 1 : 2, recordable[set]);
    if (set == SatCable) tvsim::SetSatelliteSingleCable(true);
}

std::set<uint32_t> Uids(const std::vector<CRemindInfo>& items) {
    std::set<uint32_t> uids;
    for (const CRemindInfo& e : items) uids.insert(e.m_nUid);
    return uids;
}

class ConflictsTest : public CEngineTest {
protected:
    void SetUp() override { Reset(One); }

    void Reset(ESet set) {
        CEngineTest::SetUp();
        UseSet(set);
    }

    bool Conflicts(const CRemindInfo& item, std::vector<CRemindInfo>& out) {
        return CReminderAPI::GetInstance()->ExistConflicts(item, out);
    }
};

TEST_F(ConflictsTest, TunerCountsOnEveryKindOfSet) {
    // Tuners, recordable ones, TV mode, single cable (-1: the setting cannot be read), and the
    // tuners available and recordable.
    const std::tuple<const char*, int, int, int, int, int, int> cases[] = {
        {"one tuner", 1, 1, 1, 1, 1, 1},
        {"two, one recordable", 2, 1, 1, 1, 2, 1},
        {"two recordable", 2, 2, 1, 1, 2, 2},
        {"recordable above tuners", 1, 2, 1, 1, 1, 1},
        {"satellite, single cable", 2, 2, 2, 0, 1, 1},
        {"satellite, a cable per tuner", 2, 2, 2, 1, 2, 2},
        {"satellite, connection unreadable", 2, 2, 2, -1, 2, 2},
        {"single cable, not satellite", 2, 2, 1, 0, 2, 2},
        {"single cable with three tuners", 3, 2, 2, 0, 3, 2},
    };
    for (const auto& [name, tuners, recordable, tvMode, connection, available, canRecord] : cases) {
        SCOPED_TRACE(name);
        tvsim::SetTunerCounts(tuners, recordable);
        tvsim::SetTvMode(tvMode, 12);
        if (connection >= 0) tvsim::SetVconfBool(kSatelliteKey, connection != 0);
        tvsim::SetFailure(std::string("vconf_get_bool:") + kSatelliteKey, connection < 0);
        tvsim::ClearLogs();
        EXPECT_EQ(U::NumOfAvailableTuner(), available);
        EXPECT_EQ(U::NumOfRecordableTuner(), canRecord);
        EXPECT_EQ(LoggedOn(kSystemLog, "Get Antenna Connection Type failed"), connection < 0);
    }
}

TEST_F(ConflictsTest, CountsWhenThePlatformCannotTell) {
    tvsim::SetFailure("system_info_get_value_int:18");
    EXPECT_EQ(U::NumOfAvailableTuner(), 0);
    EXPECT_EQ(U::NumOfRecordableTuner(), 0);
    tvsim::SetFailure("system_info_get_value_int:18", false);

    // Without the navigation interface the platform's count stands, single cable or not.
    UseSet(SatCable);
    tvsim::SetFailure("CreateServiceNavigation");
    EXPECT_EQ(U::NumOfAvailableTuner(), 2);
    EXPECT_TRUE(LoggedOn(kSystemLog, "Create Service Navigation failed."));

    // The sample has a working module in slot 0 and an empty slot 1.
    EXPECT_EQ(U::NumOfWorkingCAM(), 1);
    tvsim::SetCaDevice(1, 1);
    tvsim::SetCaDevice(2, 3);
    EXPECT_EQ(U::NumOfWorkingCAM(), 2);
    tvsim::SetFailure("CAGeneralInstance");
    EXPECT_EQ(U::NumOfWorkingCAM(), 0);
    EXPECT_TRUE(LoggedOn(kSystemLog, "CAService::CAGeneralInstance failed"));
}

TEST_F(ConflictsTest, OneTunerPairs) {
    tvsim::SetChannelScrambled(c3.serviceId, true);
    // The item's channel, the other's, the working modules, and whether they take one tuner.
    const std::tuple<const char*, SChannel, SChannel, int, bool> cases[] = {
        {"both scrambled, one module", cScr, c3, 1, true},
        {"both scrambled, two modules", cScr, c3, 2, false},
        {"one scrambled", cScr, c1, 1, false},
        {"analogue item", cAna, c1, 2, true},
        {"analogue other", c1, cAna, 2, true},
        {"both digital", c1, c2, 1, false},
    };
    for (const auto& [name, item, other, modules, expected] : cases) {
        SCOPED_TRACE(name);
        tvsim::SetCaDevice(1, modules >= 2 ? 1 : 0);
        EXPECT_EQ(U::FlagOneTunerCase(R(item, 2000, 2100), R(other, 2000, 2100)), expected);
    }
}

TEST_F(ConflictsTest, OneTunerLists) {
    CRemindInfo fromList = R(c2, 2000, 2100);
    fromList.m_bRecordListBooking = true;  // takes no recordable tuner
    // The set, the item, the others, and whether it is one tuner's case.
    const std::tuple<ESet, CRemindInfo, std::vector<CRemindInfo>, bool> cases[] = {
        {One, V(c1, 2000), {V(c2, 2000)}, true},
        {TwoOneRec, R(c1, 2000, 2100), {V(c3, 2000), R(c2, 2000, 2100)}, true},
        {TwoOneRec, R(c1, 2000, 2100), {V(c2, 2000)}, false},
        {TwoOneRec, R(c1, 2000, 2100), {fromList}, false},
        {TwoRec, R(c1, 2000, 2100), {R(c2, 2000, 2100)}, false},
        {SatCable, R(c1, 2000, 2100), {R(c2, 2000, 2100)}, true},
        {TwoRec, R(cScr, 2000, 2100), {R(c1, 2000, 2100), R(cScr, 2000, 2100)}, true},
        {TwoRec, V(cAna, 2000), {V(c1, 2000)}, true},
        {TwoRec, V(c1, 2000), {V(c2, 2000), V(cAna, 2000)}, true},
    };
    int row = 0;
    for (const auto& [set, item, others, expected] : cases) {
        SCOPED_TRACE("row " + std::to_string(row++));
        Reset(set);
        EXPECT_EQ(U::FlagOneTunerCase(item, others), expected);
    }
}

// Each row: the set, the bookings stored, those excluded, the booking asked about; then which
// stored bookings are in its conflict set ("01": the first two) and whether conflicts remain
// apart from the excluded ones (-1: not asked).
TEST_F(ConflictsTest, ConflictSetAndConflictsApartFromExclusions) {
    const std::vector<CRemindInfo> ignored = {Booking(kFailed, c1, 2000, 2100),
                                              Booking(REMINDER_RESERVE_SERIES, c3, 2000, 2100)};
    const std::vector<CRemindInfo> overlapping = {R(c1, 2000, 2100), R(c3, 2015, 2115)};
    const std::vector<CRemindInfo> inARow = {R(c1, 2000, 2040), R(c3, 2045, 2130)};
    const std::vector<CRemindInfo> three = {overlapping[0], overlapping[1], R(c1, 2130, 2200)};
    const std::vector<CRemindInfo> analogFirst = {R(cAna, 2000, 2100), R(c3, 2015, 2115)};
    using Stored = std::vector<CRemindInfo>;
    const std::tuple<ESet, Stored, const char*, CRemindInfo, const char*, int> cases[] = {
        // One tuner: any overlap; never two reminders; back to back is none; failed and series
        // entries are ignored.
        {One, {R(c1, 2000, 2100)}, "", V(c2, 2030), "0", -1},
        {One, {V(c1, 2000)}, "", V(c2, 2000), "", -1},
        {One, {R(c1, 2000, 2100)}, "", R(c2, 2100, 2200), "", 0},
        {One, ignored, "", R(c2, 2000, 2100), "", -1},
        {One, {R(c1, 2000, 2100)}, "0", R(c2, 2030, 2130), nullptr, 0},
        {One, {V(c1, 2030)}, "", R(c2, 2000, 2100), nullptr, 1},
        // One recordable: two recordings; a recording and a reminder.
        {TwoOneRec, {R(c1, 2000, 2100)}, "", R(c2, 2030, 2130), "0", 1},
        {TwoOneRec, {V(c1, 2030)}, "", R(c2, 2000, 2100), "0", 0},
        // Two recordable: one overlapping recording is allowed, two that overlap each other are
        // not, two one after the other are; a reminder within one, within two.
        {TwoRec, {R(c1, 2000, 2100)}, "", R(c2, 2030, 2130), "", 0},
        {TwoRec, overlapping, "", R(c2, 2030, 2130), "01", 1},
        {TwoRec, inARow, "", R(c2, 2000, 2130), "", 0},
        {TwoRec, {R(c1, 2000, 2100)}, "", V(c2, 2030), "", -1},
        {TwoRec, overlapping, "", V(c2, 2030), "01", -1},
        {TwoRec, three, "1", R(c2, 2030, 2145), nullptr, 0},
        // The first member (set order puts the analogue channel first) decides alone.
        {TwoRec, analogFirst, "", R(c2, 2030, 2130), "", -1},
        // An analogue item, and two scrambled channels with one module, take a whole tuner.
        {TwoRec, {R(c1, 2000, 2100)}, "", R(cAna, 2030, 2130), nullptr, 1},
        {TwoRec, {R(c3, 2000, 2100)}, "", R(cScr, 2030, 2130), nullptr, 1},
        {SatCable, {R(c1, 2000, 2100)}, "", R(c2, 2030, 2130), "0", -1},
    };
    int row = 0;
    for (const auto& [set, bookings, excludedIndices, item, conflicts, remain] : cases) {
        SCOPED_TRACE("row " + std::to_string(row++));
        Reset(set);
        tvsim::SetChannelScrambled(c3.serviceId, item.m_nServiceId == cScr.serviceId);
        std::vector<CRemindInfo> stored, excluded;
        for (const CRemindInfo& s : bookings) {
            stored.push_back(s);
            stored.back().m_nUid = Store(s);
        }
        for (const char* i = excludedIndices; *i != 0; ++i) excluded.push_back(stored[*i - '0']);
        if (conflicts != nullptr) {
            std::set<uint32_t> expected;
            for (const char* i = conflicts; *i != 0; ++i) expected.insert(stored[*i - '0'].m_nUid);
            std::vector<CRemindInfo> found;
            EXPECT_EQ(Conflicts(item, found), !expected.empty());
            EXPECT_EQ(Uids(found), expected);
            EXPECT_EQ(Uids(found).size(), found.size());
        }
        if (remain >= 0) {
            EXPECT_EQ(U::ExistConflictsWithExclusions(item, excluded, false), remain == 1);
        }
    }
}

TEST_F(ConflictsTest, PartsOfASplitEventEachTakeATuner) {
    // The film on 1002 runs 21:00-21:50, then 22:00-22:50 and 23:00-23:45 (local) after news.
    const CRemindInfo film = FromGuide(1002, 500);
    const uint32_t late = Store(R(c3, 2310, 2330));
    const uint32_t across = Store(R(c1, 2130, 2230));  // across two parts: met twice, kept once
    Store(R(c1, 1910, 1940));

    std::vector<CRemindInfo> found;
    ASSERT_TRUE(Conflicts(film, found));
    EXPECT_EQ(Uids(found), (std::set<uint32_t>{late, across}));
    EXPECT_EQ(found.size(), 2u);

    // Without the guide only the film's own slot is tested.
    tvsim::SetFailure("GetProgramsOfEvent");
    ASSERT_TRUE(Conflicts(film, found));
    EXPECT_EQ(Uids(found), std::set<uint32_t>{across});
}

TEST_F(ConflictsTest, TheResultIsEmptiedFirstOrLeftAloneAndTheItemIsNoConflict) {
    const CRemindInfo stale = R(c1, 2000, 2100);
    const CRemindInfo item = R(c2, 2200, 2300);
    std::vector<CRemindInfo> found{stale};
    EXPECT_FALSE(Conflicts(item, found));
    EXPECT_TRUE(found.empty());

    // Where CRIDs are not served, or the channel is unknown, nothing is computed or touched.
    found = {stale};
    tvsim::SetCridSupport(false);
    EXPECT_FALSE(Conflicts(item, found));
    EXPECT_EQ(found.size(), 1u);
    tvsim::SetCridSupport(true);
    EXPECT_FALSE(Conflicts(R({777, 2}, 2200, 2300), found));
    EXPECT_EQ(found.size(), 1u);

    CRemindInfo stored = stale;
    stored.m_nUid = Store(stored);
    EXPECT_FALSE(Conflicts(stale, found));
    EXPECT_FALSE(U::ExistConflictsWithExclusions(stored, {}, false));
}

TEST_F(ConflictsTest, HasConflictsApartFromOne) {
    const CRemindInfo item = R(c2, 2030, 2130);
    EXPECT_FALSE(U::m_HasConflicts(item, nullptr));

    Store(R(c1, 2000, 2100));
    std::vector<CRemindInfo> found;
    ASSERT_TRUE(Conflicts(item, found));
    const CRemindInfo first = found.front();
    const CRemindInfo unrelated = R(c3, 100, 200);
    EXPECT_TRUE(U::m_HasConflicts(item, nullptr));
    EXPECT_FALSE(U::m_HasConflicts(item, &first));
    EXPECT_TRUE(U::m_HasConflicts(item, &unrelated));

    Store(R(c3, 2100, 2200));
    EXPECT_TRUE(U::m_HasConflicts(item, &first));

    tvsim::SetCridSupport(false);
    EXPECT_FALSE(U::m_HasConflicts(item, nullptr));
}

// A facade call made while another facade call is under way on the same thread (the alternative
// search asks for conflicts this way) completes and answers as it would alone.
TEST_F(ConflictsTest, FacadeCallInsideAFacadeCall) {
    Store(R(c1, 2000, 2100));
    const CRemindInfo item = R(c2, 2030, 2130);
    auto run = std::async(std::launch::async, [&] {
        bool inner = false;
        tvsim::OnNextCall("GetProgramsOfEvent", [&] { inner = U::m_HasConflicts(item, nullptr); });
        std::vector<CRemindInfo> outer;
        const bool answered = CReminderAPI::GetInstance()->ExistConflicts(item, outer);
        return std::make_pair(inner, answered && outer.size() == 1);
    });
    if (run.wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
        // The thread is stuck on the facade's lock; nothing can unwind it.
        ADD_FAILURE() << "the inner facade call did not return";
        std::_Exit(1);
    }
    const auto [inner, outer] = run.get();
    EXPECT_TRUE(inner);
    EXPECT_TRUE(outer);
}

}  // namespace
