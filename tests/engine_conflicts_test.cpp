// Tuner counts, the one-tuner rules and the conflict set of a booking, on each typical set: one
// tuner, two tuners with one recordable, two recordable tuners, satellite on one cable.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <future>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "ReminderAPI.h"
#include "ReminderAPIImp.h"
#include "ReminderAPIUtil.h"
#include "TestSupport.h"

namespace {

// The sample television's clock is 19:00 local (UTC + 1 h) on its evening.
constexpr uint32_t kLocalNow = 1795456800u + 3600u;
constexpr int kSystemLog = 2;
constexpr const char* kSatelliteKey =
    "db/menu/Broadcast/setting/SatelliteSystem/SatelliteAntConnectionType";

// Local time of hh:mm on the sample evening.
constexpr uint32_t At(int hour, int minute = 0) {
    return kLocalNow + static_cast<uint32_t>((hour - 19) * 3600 + minute * 60);
}

// Channels of the sample: 1001-1003 digital, 1004 digital and scrambled, 2001 analogue.
struct SChannel {
    unsigned long long serviceId;
    uint16_t type;
};
constexpr SChannel kOne{1001, 2};
constexpr SChannel kTwo{1002, 2};
constexpr SChannel kThree{1003, 2};
constexpr SChannel kScrambled{1004, 4};
constexpr SChannel kAnalog{2001, 1};

CRemindInfo Booking(EReserveType type, SChannel channel, uint32_t start, uint32_t end) {
    static uint16_t nextEvent = 9000;
    CRemindInfo item;
    item.m_nReserveType = type;
    item.m_nServiceId = channel.serviceId;
    item.m_nChannelType = channel.type;
    item.m_nEventId = nextEvent++;
    item.SetStartTime(start);
    item.m_nDuration = type == REMINDER_RESERVE_VIEWING ? 0 : end - start;
    item.m_sTitle = "Booking " + std::to_string(item.m_nEventId);
    return item;
}

CRemindInfo Recording(SChannel channel, uint32_t start, uint32_t end) {
    return Booking(REMINDER_RESERVE_RECORDING, channel, start, end);
}

CRemindInfo Viewing(SChannel channel, uint32_t start) {
    return Booking(REMINDER_RESERVE_VIEWING, channel, start, start);
}

enum class ESet { OneTuner, TwoOneRecordable, TwoRecordable, SatelliteSingleCable };

void UseSet(ESet set) {
    switch (set) {
        case ESet::OneTuner:
            tvsim::SetTunerCounts(1, 1);
            break;
        case ESet::TwoOneRecordable:
            tvsim::SetTunerCounts(2, 1);
            break;
        case ESet::TwoRecordable:
            tvsim::SetTunerCounts(2, 2);
            break;
        case ESet::SatelliteSingleCable:
            tvsim::SetTunerCounts(2, 2);
            tvsim::SetSatelliteSingleCable(true);
            break;
    }
}

std::set<uint32_t> Uids(const std::vector<CRemindInfo>& items) {
    std::set<uint32_t> uids;
    for (const CRemindInfo& e : items) uids.insert(e.m_nUid);
    return uids;
}

class ConflictsTest : public ::testing::Test {
protected:
    void SetUp() override {
        testsupport::LoadSampleTelevision();
        testsupport::ClearStore();
        tvsim::ClearLogs();
    }

    // Stores the booking as it stands and answers its UID.
    uint32_t Store(const CRemindInfo& item) {
        EXPECT_TRUE(engine.t_AddRemindItem(item, false));
        std::vector<CRemindInfo> list;
        engine.t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
        uint32_t newest = 0;
        for (const CRemindInfo& e : list) newest = std::max(newest, e.m_nUid);
        return newest;
    }

    bool Conflicts(const CRemindInfo& item, std::vector<CRemindInfo>& out) {
        return CReminderAPI::GetInstance()->ExistConflicts(item, out);
    }

    CRemindInfo FromGuide(unsigned long long service, uint16_t eventId, EReserveType type) {
        TCProgramData programme;
        EXPECT_TRUE(tvsim::FindProgramme(service, eventId, programme));
        CRemindInfo item;
        item.Set(programme, type);
        return item;
    }

    CReminderAPIImp engine;
};

TEST_F(ConflictsTest, TunerCountsOnEveryKindOfSet) {
    struct SCase {
        const char* name;
        int tuners, recordable;
        int tvMode;
        int connection;  // -1: the setting cannot be read
        int available, recordableExpected;
    };
    const SCase cases[] = {
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
    for (const SCase& c : cases) {
        SCOPED_TRACE(c.name);
        tvsim::SetTunerCounts(c.tuners, c.recordable);
        tvsim::SetTvMode(c.tvMode, 12);
        if (c.connection >= 0) tvsim::SetVconfBool(kSatelliteKey, c.connection != 0);
        tvsim::SetFailure(std::string("vconf_get_bool:") + kSatelliteKey, c.connection < 0);
        tvsim::ClearLogs();
        EXPECT_EQ(CReminderAPIUtil::NumOfAvailableTuner(), c.available);
        EXPECT_EQ(CReminderAPIUtil::NumOfRecordableTuner(), c.recordableExpected);
        EXPECT_EQ(testsupport::Logged("Connection = [0] SatelliteAntConnectionType is Single"),
                  c.available < c.tuners);
        EXPECT_EQ(testsupport::LoggedOn(kSystemLog, "Get Antenna Connection Type failed"),
                  c.connection < 0);
    }
}

TEST_F(ConflictsTest, UnreadableTunerCountsAreZero) {
    tvsim::SetFailure("system_info_get_value_int:18");
    EXPECT_EQ(CReminderAPIUtil::NumOfAvailableTuner(), 0);
    EXPECT_EQ(CReminderAPIUtil::NumOfRecordableTuner(), 0);
    tvsim::SetFailure("system_info_get_value_int:18", false);

    // Without the navigation interface the platform's count stands, single cable or not.
    UseSet(ESet::SatelliteSingleCable);
    tvsim::SetFailure("CreateServiceNavigation");
    EXPECT_EQ(CReminderAPIUtil::NumOfAvailableTuner(), 2);
    EXPECT_TRUE(testsupport::LoggedOn(kSystemLog, "Create Service Navigation failed."));
}

TEST_F(ConflictsTest, WorkingModulesAreTheInsertedOnes) {
    // The sample has a working module in slot 0 and an empty slot 1.
    EXPECT_EQ(CReminderAPIUtil::NumOfWorkingCAM(), 1);
    EXPECT_TRUE(testsupport::Logged("Total CA Device Number: [2]"));
    EXPECT_TRUE(testsupport::Logged("CA Device is Inserted: [0]"));

    tvsim::SetCaDevice(1, 1);
    tvsim::SetCaDevice(2, 3);
    EXPECT_EQ(CReminderAPIUtil::NumOfWorkingCAM(), 2);

    tvsim::SetFailure("GetCADevices");
    EXPECT_EQ(CReminderAPIUtil::NumOfWorkingCAM(), 0);
    tvsim::SetFailure("CAGeneralInstance");
    EXPECT_EQ(CReminderAPIUtil::NumOfWorkingCAM(), 0);
    EXPECT_TRUE(testsupport::LoggedOn(kSystemLog, "CAService::CAGeneralInstance failed"));
}

TEST_F(ConflictsTest, OneTunerPairs) {
    tvsim::SetChannelScrambled(kThree.serviceId, true);
    const SChannel scrambledToo{kThree.serviceId, 2};
    struct SCase {
        const char* name;
        SChannel item, other;
        int modules;
        bool expected;
    };
    const SCase cases[] = {
        {"both scrambled, one module", kScrambled, scrambledToo, 1, true},
        {"both scrambled, two modules", kScrambled, scrambledToo, 2, false},
        {"one scrambled", kScrambled, kOne, 1, false},
        {"analogue item", kAnalog, kOne, 2, true},
        {"analogue other", kOne, kAnalog, 2, true},
        {"both digital", kOne, kTwo, 1, false},
    };
    for (const SCase& c : cases) {
        SCOPED_TRACE(c.name);
        tvsim::SetCaDevice(1, c.modules >= 2 ? 1 : 0);
        tvsim::ClearLogs();
        EXPECT_EQ(CReminderAPIUtil::FlagOneTunerCase(Recording(c.item, At(20), At(21)),
                                                     Recording(c.other, At(20), At(21))),
                  c.expected);
        EXPECT_EQ(testsupport::LoggedOn(kSystemLog, "Not one tuner case"), !c.expected);
    }
}

TEST_F(ConflictsTest, OneTunerLists) {
    CRemindInfo recordListBooking = Recording(kTwo, At(20), At(21));
    recordListBooking.m_bRecordListBooking = true;
    struct SCase {
        const char* name;
        ESet set;
        CRemindInfo item;
        std::vector<CRemindInfo> others;
        bool expected;
        const char* log;
    };
    const std::vector<SCase> cases = {
        {"one tuner, whatever the channels",
         ESet::OneTuner,
         Viewing(kOne, At(20)),
         {Viewing(kTwo, At(20))},
         true,
         nullptr},
        {"two recordings, one recordable",
         ESet::TwoOneRecordable,
         Recording(kOne, At(20), At(21)),
         {Viewing(kThree, At(20)), Recording(kTwo, At(20), At(21))},
         true,
         "2 recording conflict in 1 recordable tuner"},
        {"a recording and a reminder, one recordable",
         ESet::TwoOneRecordable,
         Recording(kOne, At(20), At(21)),
         {Viewing(kTwo, At(20))},
         false,
         "Not one tuner case"},
        {"a record-list booking takes no recordable tuner",
         ESet::TwoOneRecordable,
         Recording(kOne, At(20), At(21)),
         {recordListBooking},
         false,
         "Not one tuner case"},
        {"two recordings, two recordable",
         ESet::TwoRecordable,
         Recording(kOne, At(20), At(21)),
         {Recording(kTwo, At(20), At(21))},
         false,
         "Not one tuner case"},
        {"two recordings, satellite on one cable",
         ESet::SatelliteSingleCable,
         Recording(kOne, At(20), At(21)),
         {Recording(kTwo, At(20), At(21))},
         true,
         nullptr},
        {"scrambled against scrambled, one module",
         ESet::TwoRecordable,
         Recording(kScrambled, At(20), At(21)),
         {Recording(kOne, At(20), At(21)), Recording(kScrambled, At(20), At(21))},
         true,
         "Both are scrambled channel, it is one tuner case."},
        {"analogue item",
         ESet::TwoRecordable,
         Viewing(kAnalog, At(20)),
         {Viewing(kOne, At(20))},
         true,
         "Booking an analog item, it is one tuner case."},
        {"analogue among the others",
         ESet::TwoRecordable,
         Viewing(kOne, At(20)),
         {Viewing(kTwo, At(20)), Viewing(kAnalog, At(20))},
         true,
         "Conflicting an analog item, it is one tuner case."},
    };
    for (const SCase& c : cases) {
        SCOPED_TRACE(c.name);
        testsupport::LoadSampleTelevision();
        UseSet(c.set);
        tvsim::ClearLogs();
        EXPECT_EQ(CReminderAPIUtil::FlagOneTunerCase(c.item, c.others), c.expected);
        if (c.log != nullptr) {
            EXPECT_TRUE(testsupport::Logged(c.log));
        }
    }
}

// One row: the bookings stored, the booking asked about, and which stored ones conflict (by
// their index in `stored`); an empty list means no conflict.
struct SConflictCase {
    const char* name;
    ESet set;
    std::vector<CRemindInfo> stored;
    CRemindInfo item;
    std::vector<size_t> expected;
};

TEST_F(ConflictsTest, ConflictSetOnEveryKindOfSet) {
    const std::vector<SConflictCase> cases = {
        {"one tuner: a reminder within a recording",
         ESet::OneTuner,
         {Recording(kOne, At(20), At(21))},
         Viewing(kTwo, At(20, 30)),
         {0}},
        {"one tuner: two reminders never conflict",
         ESet::OneTuner,
         {Viewing(kOne, At(20))},
         Viewing(kTwo, At(20)),
         {}},
        {"one tuner: recordings back to back",
         ESet::OneTuner,
         {Recording(kOne, At(20), At(21))},
         Recording(kTwo, At(21), At(22)),
         {}},
        {"one tuner: failed and series entries are ignored",
         ESet::OneTuner,
         {Booking(REMINDER_RESERVE_RECORDING_FAILED, kOne, At(20), At(21)),
          Booking(REMINDER_RESERVE_SERIES, kThree, At(20), At(21))},
         Recording(kTwo, At(20), At(21)),
         {}},
        {"one recordable: two recordings",
         ESet::TwoOneRecordable,
         {Recording(kOne, At(20), At(21))},
         Recording(kTwo, At(20, 30), At(21, 30)),
         {0}},
        {"one recordable: a recording and a reminder",
         ESet::TwoOneRecordable,
         {Viewing(kOne, At(20, 30))},
         Recording(kTwo, At(20), At(21)),
         {0}},
        {"two recordable: one overlapping recording is allowed",
         ESet::TwoRecordable,
         {Recording(kOne, At(20), At(21))},
         Recording(kTwo, At(20, 30), At(21, 30)),
         {}},
        {"two recordable: two recordings that overlap each other",
         ESet::TwoRecordable,
         {Recording(kOne, At(20), At(21)), Recording(kThree, At(20, 15), At(21, 15))},
         Recording(kTwo, At(20, 30), At(21, 30)),
         {0, 1}},
        {"two recordable: two recordings one after the other",
         ESet::TwoRecordable,
         {Recording(kOne, At(20), At(20, 40)), Recording(kThree, At(20, 45), At(21, 30))},
         Recording(kTwo, At(20), At(21, 30)),
         {}},
        {"two recordable: a reminder within one recording is allowed",
         ESet::TwoRecordable,
         {Recording(kOne, At(20), At(21))},
         Viewing(kTwo, At(20, 30)),
         {}},
        {"two recordable: a reminder within two recordings",
         ESet::TwoRecordable,
         {Recording(kOne, At(20), At(21)), Recording(kThree, At(20, 15), At(21, 15))},
         Viewing(kTwo, At(20, 30)),
         {0, 1}},
        // The first member (set order puts the analogue channel first) decides alone.
        {"two recordable: an analogue first member ends the question",
         ESet::TwoRecordable,
         {Recording(kAnalog, At(20), At(21)), Recording(kThree, At(20, 15), At(21, 15))},
         Recording(kTwo, At(20, 30), At(21, 30)),
         {}},
        {"satellite on one cable: one overlapping recording",
         ESet::SatelliteSingleCable,
         {Recording(kOne, At(20), At(21))},
         Recording(kTwo, At(20, 30), At(21, 30)),
         {0}},
    };
    for (const SConflictCase& c : cases) {
        SCOPED_TRACE(c.name);
        testsupport::LoadSampleTelevision();
        testsupport::ClearStore();
        UseSet(c.set);
        std::vector<uint32_t> uids;
        for (const CRemindInfo& s : c.stored) uids.push_back(Store(s));
        std::set<uint32_t> expected;
        for (size_t i : c.expected) expected.insert(uids[i]);

        std::vector<CRemindInfo> found;
        EXPECT_EQ(Conflicts(c.item, found), !expected.empty());
        EXPECT_EQ(Uids(found), expected);
        EXPECT_EQ(Uids(found).size(), found.size());
    }
}

TEST_F(ConflictsTest, PartsOfASplitEventEachTakeATuner) {
    UseSet(ESet::OneTuner);
    // The film on 1002 runs 21:00-21:50, then 22:00-22:50 and 23:00-23:45 (local) after news.
    const CRemindInfo film = FromGuide(1002, 500, REMINDER_RESERVE_RECORDING);
    const uint32_t late = Store(Recording(kThree, At(23, 10), At(23, 30)));
    // Across the first two parts: met twice, kept once.
    const uint32_t across = Store(Recording(kOne, At(21, 30), At(22, 30)));
    Store(Recording(kOne, At(19, 10), At(19, 40)));

    std::vector<CRemindInfo> found;
    ASSERT_TRUE(Conflicts(film, found));
    EXPECT_EQ(Uids(found), (std::set<uint32_t>{late, across}));
    EXPECT_EQ(found.size(), 2u);
    EXPECT_TRUE(testsupport::Logged("conflict item is already existed."));

    // Without the guide only the film's own slot is tested.
    tvsim::SetFailure("GetProgramsOfEvent");
    ASSERT_TRUE(Conflicts(film, found));
    EXPECT_EQ(Uids(found), std::set<uint32_t>{across});
}

TEST_F(ConflictsTest, TheResultIsEmptiedFirstOrLeftAlone) {
    UseSet(ESet::OneTuner);
    const CRemindInfo stale = Recording(kOne, At(20), At(21));
    const CRemindInfo item = Recording(kTwo, At(22), At(23));
    std::vector<CRemindInfo> found{stale};
    EXPECT_FALSE(Conflicts(item, found));
    EXPECT_TRUE(found.empty());

    // Where CRIDs are not served, or the channel is unknown, nothing is computed or touched.
    found = {stale};
    tvsim::SetCridSupport(false);
    EXPECT_FALSE(Conflicts(item, found));
    EXPECT_EQ(found.size(), 1u);
    tvsim::SetCridSupport(true);
    CRemindInfo unknown = item;
    unknown.m_nServiceId = 777;
    EXPECT_FALSE(Conflicts(unknown, found));
    EXPECT_EQ(found.size(), 1u);
}

TEST_F(ConflictsTest, TheItemItselfIsNoConflict) {
    UseSet(ESet::OneTuner);
    const CRemindInfo item = Recording(kOne, At(20), At(21));
    Store(item);
    std::vector<CRemindInfo> found;
    EXPECT_FALSE(Conflicts(item, found));
}

TEST_F(ConflictsTest, HasConflictsApartFromOne) {
    UseSet(ESet::OneTuner);
    const CRemindInfo item = Recording(kTwo, At(20, 30), At(21, 30));
    EXPECT_FALSE(CReminderAPIUtil::m_HasConflicts(item, nullptr));

    Store(Recording(kOne, At(20), At(21)));
    std::vector<CRemindInfo> found;
    ASSERT_TRUE(Conflicts(item, found));
    const CRemindInfo first = found.front();
    const CRemindInfo unrelated = Recording(kThree, At(1, 0), At(2, 0));
    EXPECT_TRUE(CReminderAPIUtil::m_HasConflicts(item, nullptr));
    EXPECT_FALSE(CReminderAPIUtil::m_HasConflicts(item, &first));
    EXPECT_TRUE(CReminderAPIUtil::m_HasConflicts(item, &unrelated));

    Store(Recording(kThree, At(21), At(22)));
    EXPECT_TRUE(CReminderAPIUtil::m_HasConflicts(item, &first));

    tvsim::SetCridSupport(false);
    EXPECT_FALSE(CReminderAPIUtil::m_HasConflicts(item, nullptr));
}

// One row for the question asked with exclusions: stored bookings, which of them are excluded
// (by index), the booking asked about, the answer and the line that explains it.
struct SExclusionCase {
    const char* name;
    ESet set;
    std::vector<CRemindInfo> stored;
    std::vector<size_t> excluded;
    CRemindInfo item;
    bool expected;
    const char* log;
};

TEST_F(ConflictsTest, ConflictsApartFromExclusions) {
    tvsim::SetChannelScrambled(kThree.serviceId, true);
    const SChannel scrambledToo{kThree.serviceId, 2};
    const std::vector<SExclusionCase> cases = {
        {"nothing overlaps",
         ESet::OneTuner,
         {Recording(kOne, At(20), At(21))},
         {},
         Recording(kTwo, At(21), At(22)),
         false,
         "No conflicts"},
        {"the one overlapping booking is excluded",
         ESet::OneTuner,
         {Recording(kOne, At(20), At(21))},
         {0},
         Recording(kTwo, At(20, 30), At(21, 30)),
         false,
         "No remaining conflicts"},
        {"one tuner: any overlap",
         ESet::OneTuner,
         {Viewing(kOne, At(20, 30))},
         {},
         Recording(kTwo, At(20), At(21)),
         true,
         "One tuner case, exist conflicts."},
        {"one recordable: two recordings",
         ESet::TwoOneRecordable,
         {Recording(kOne, At(20), At(21))},
         {},
         Recording(kTwo, At(20, 30), At(21, 30)),
         true,
         "One tuner case, exist conflicts."},
        {"one recordable: a recording and a reminder",
         ESet::TwoOneRecordable,
         {Viewing(kOne, At(20, 30))},
         {},
         Recording(kTwo, At(20), At(21)),
         false,
         "One tuner case, one conflict."},
        {"two recordable: one overlapping recording",
         ESet::TwoRecordable,
         {Recording(kOne, At(20), At(21))},
         {},
         Recording(kTwo, At(20, 30), At(21, 30)),
         false,
         "One tuner case, one conflict."},
        {"two recordable: two that overlap each other",
         ESet::TwoRecordable,
         {Recording(kOne, At(20), At(21)), Recording(kThree, At(20, 15), At(21, 15))},
         {},
         Recording(kTwo, At(20, 30), At(21, 30)),
         true,
         "Two tuner case, exist conflicts."},
        {"two recordable: two one after the other",
         ESet::TwoRecordable,
         {Recording(kOne, At(20), At(20, 40)), Recording(kThree, At(20, 45), At(21, 30))},
         {},
         Recording(kTwo, At(20), At(21, 30)),
         false,
         "No conflicts"},
        {"two recordable: the third is excluded",
         ESet::TwoRecordable,
         {Recording(kOne, At(20), At(21)), Recording(kThree, At(20, 15), At(21, 15)),
          Recording(kOne, At(21, 30), At(22))},
         {1},
         Recording(kTwo, At(20, 30), At(21, 45)),
         false,
         "No conflicts"},
        {"two recordable: analogue item",
         ESet::TwoRecordable,
         {Recording(kOne, At(20), At(21))},
         {},
         Recording(kAnalog, At(20, 30), At(21, 30)),
         true,
         "One tuner case, exist conflicts."},
        {"two recordable: both scrambled, one module",
         ESet::TwoRecordable,
         {Recording(scrambledToo, At(20), At(21))},
         {},
         Recording(kScrambled, At(20, 30), At(21, 30)),
         true,
         "One tuner case, exist conflicts."},
    };
    for (const SExclusionCase& c : cases) {
        SCOPED_TRACE(c.name);
        testsupport::ClearStore();
        tvsim::SetTunerCounts(2, 2);
        tvsim::SetTvMode(1, 12);
        UseSet(c.set);
        std::vector<CRemindInfo> exclusions;
        for (size_t i = 0; i < c.stored.size(); ++i) {
            CRemindInfo stored = c.stored[i];
            stored.m_nUid = Store(stored);
            for (size_t e : c.excluded) {
                if (e == i) exclusions.push_back(stored);
            }
        }
        tvsim::ClearLogs();
        EXPECT_EQ(CReminderAPIUtil::ExistConflictsWithExclusions(c.item, exclusions, false),
                  c.expected);
        EXPECT_TRUE(testsupport::LoggedOn(kSystemLog, c.log));
    }
}

TEST_F(ConflictsTest, TheItemIsNotItsOwnConflict) {
    UseSet(ESet::OneTuner);
    CRemindInfo item = Recording(kOne, At(20), At(21));
    item.m_nUid = Store(item);
    EXPECT_FALSE(CReminderAPIUtil::ExistConflictsWithExclusions(item, {}, false));
    EXPECT_TRUE(testsupport::LoggedOn(kSystemLog, "No remaining conflicts"));
}

// A facade call made while another facade call is under way on the same thread (the alternative
// search asks for conflicts this way) completes and answers as it would alone.
TEST_F(ConflictsTest, FacadeCallInsideAFacadeCall) {
    UseSet(ESet::OneTuner);
    Store(Recording(kOne, At(20), At(21)));
    const CRemindInfo item = Recording(kTwo, At(20, 30), At(21, 30));

    auto run = std::async(std::launch::async, [&] {
        bool inner = false;
        tvsim::OnNextCall("GetProgramsOfEvent",
                          [&] { inner = CReminderAPIUtil::m_HasConflicts(item, nullptr); });
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
