// Writer processes killed with SIGKILL in the middle of their work, and processes racing for the
// last place of the list: nothing acknowledged may be missing, the file stays sound.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "DataControl.h"
#include "ReliabilitySupport.h"

namespace reliability {
namespace {

using Clock = std::chrono::steady_clock;

// What the writers reported: titles whose add or delete was acknowledged.
struct Ledger {
    std::set<std::string> added;
    std::set<std::string> deleted;
    std::set<std::string> deleting;  // a delete was tried, acknowledged or not
    void Take(const std::vector<std::string>& lines) {
        for (const std::string& line : lines) {
            if (line.rfind("add ", 0) == 0) added.insert(line.substr(4));
            if (line.rfind("del ", 0) == 0) deleted.insert(line.substr(4));
            if (line.rfind("deleting ", 0) == 0) deleting.insert(line.substr(9));
        }
    }
};

TEST(StormTest, WritersKilledEveryEighthOfASecondLoseNoAcknowledgedBooking) {
    constexpr int kWriters = 3;
    constexpr auto kStorm = std::chrono::seconds(6);
    constexpr auto kKillEvery = std::chrono::milliseconds(125);
    CDBControl::GetInstance();  // the file and its table exist before the writers start
    const std::string path = DatabasePath();

    std::vector<std::unique_ptr<Child>> writers(kWriters);
    // Each writer keeps at most 8 bookings of its own, so the list never fills.
    auto start = [&](int id) {
        writers[id] = std::make_unique<Child>(Worker({"storm", std::to_string(id), "8"}));
    };
    for (int id = 0; id < kWriters; ++id) start(id);

    Ledger ledger;
    long kills = 0;
    long crashes = 0;
    const auto end = Clock::now() + kStorm;
    while (Clock::now() < end) {
        const auto next = Clock::now() + kKillEvery;
        while (Clock::now() < next) {
            for (auto& writer : writers) ledger.Take(writer->ReadAvailable());
            usleep(5000);
        }
        const int victim = static_cast<int>(kills % kWriters);
        writers[victim]->Signal(SIGKILL);
        const int status = writers[victim]->Wait(5000);
        ledger.Take(writers[victim]->ReadAvailable());
        if (status != 128 + SIGKILL) ++crashes;  // it ended before we killed it
        ++kills;
        start(victim);
    }
    for (auto& writer : writers) {
        writer->Signal(SIGKILL);
        writer->Wait(5000);
        ledger.Take(writer->ReadAvailable());
    }

    std::multiset<std::string> stored;
    ASSERT_TRUE(StoredTitles(path, &stored));
    long lost = 0;
    long undeleted = 0;
    for (const std::string& title : ledger.added) {
        if (ledger.deleting.count(title) == 0 && stored.count(title) == 0) ++lost;
    }
    for (const std::string& title : ledger.deleted) undeleted += stored.count(title) > 0 ? 1 : 0;
    const std::string integrity = IntegrityCheck(path);

    Figure("acknowledged_adds", static_cast<long>(ledger.added.size()));
    Figure("acknowledged_deletes", static_cast<long>(ledger.deleted.size()));
    Figure("kills", kills);
    Figure("acknowledged_adds_lost", lost);
    Figure("acknowledged_deletes_undone", undeleted);
    Figure("crashes", crashes);
    Figure("integrity", integrity);
    EXPECT_GT(ledger.added.size(), 20u) << "the writers hardly wrote";
    EXPECT_EQ(lost, 0);
    EXPECT_EQ(undeleted, 0);
    EXPECT_EQ(crashes, 0);
    EXPECT_EQ(integrity, "ok");
}

TEST(StormTest, FourProcessesRacingForTheLastPlaceNeverOverfillTheList) {
    constexpr int kTrials = 8;
    constexpr int kProcesses = 4;
    CDBControl::GetInstance();
    const std::string path = DatabasePath();
    long overfilled = 0;
    long lost = 0;
    long crashes = 0;
    long largest = 0;
    for (int trial = 0; trial < kTrials; ++trial) {
        // 29 bookings: one place is left.
        ASSERT_TRUE(ExecSql(path,
                            "DELETE FROM Items; WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT "
                            "x + 1 FROM n WHERE x < 29) INSERT INTO Items (Title, ReserveType, "
                            "RepeatType, EventTime, StartTime) SELECT 'pre' || x, 0, 0, "
                            "2000000000 + 3600 * x, 2000000000 + 3600 * x FROM n"));
        std::vector<std::unique_ptr<Child>> racers;
        for (int p = 0; p < kProcesses; ++p) {
            racers.push_back(std::make_unique<Child>(
                Worker({"limit", "race-" + std::to_string(trial) + "-" + std::to_string(p)})));
        }
        std::set<std::string> acknowledged;
        for (int p = 0; p < kProcesses; ++p) {
            const std::string answer = racers[p]->ReadLine(20000);
            if (answer == "ack")
                acknowledged.insert("race-" + std::to_string(trial) + "-" + std::to_string(p));
            if (racers[p]->Wait(10000) != 0) ++crashes;
        }
        std::multiset<std::string> stored;
        ASSERT_TRUE(StoredTitles(path, &stored));
        largest = std::max(largest, static_cast<long>(stored.size()));
        if (stored.size() > 30) ++overfilled;
        for (const std::string& title : acknowledged) lost += stored.count(title) == 0 ? 1 : 0;
    }
    Figure("trials", kTrials);
    Figure("trials_over_30", overfilled);
    Figure("largest_list", largest);
    Figure("acknowledged_adds_lost", lost);
    Figure("crashes", crashes);
    EXPECT_EQ(overfilled, 0);
    EXPECT_EQ(lost, 0);
    EXPECT_EQ(crashes, 0);
}

}  // namespace
}  // namespace reliability
