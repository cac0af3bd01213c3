// Processes killed with SIGKILL in the middle of their work, processes racing for the last place
// of the list, and four threads of one process: nothing acknowledged may be missing, nothing may
// crash, and the file stays sound.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "DataControl.h"
#include "ReliabilitySupport.h"

namespace reliability {
namespace {

using Clock = std::chrono::steady_clock;

TEST(StormTest, WritersKilledEveryEighthOfASecondLoseNoAcknowledgedBooking) {
    constexpr size_t kWriters = 3;
    CDBControl::GetInstance();  // the file and its table exist before the writers start
    // Each writer keeps at most 8 bookings of its own, so the list never fills.
    const auto start = [](size_t id) {
        return std::make_unique<Child>(Worker({"storm", std::to_string(id), "8"}));
    };
    std::vector<std::unique_ptr<Child>> writers;
    for (size_t id = 0; id < kWriters; ++id) writers.push_back(start(id));
    std::vector<std::string> lines;
    const auto take = [&lines](Child& writer) {
        for (std::string& line : writer.ReadAvailable()) lines.push_back(std::move(line));
    };
    long kills = 0;
    long crashes = 0;
    for (const auto end = Clock::now() + std::chrono::seconds(6); Clock::now() < end; ++kills) {
        for (const auto next = Clock::now() + std::chrono::milliseconds(125);
             Clock::now() < next;) {
            for (auto& writer : writers) take(*writer);
            usleep(5000);
        }
        std::unique_ptr<Child>& victim = writers[kills % kWriters];
        if (victim->Wait(0) != 128 + SIGKILL) ++crashes;  // it ended before we killed it
        take(*victim);
        victim = start(kills % kWriters);
    }
    for (auto& writer : writers) {
        writer->Wait(0);
        take(*writer);
    }

    const std::set<std::string> added = Titles(lines, "add "), deleted = Titles(lines, "del ");
    std::set<std::string> kept;  // acknowledged adds that no delete was tried on
    const std::set<std::string> deleting = Titles(lines, "deleting ");
    std::set_difference(added.begin(), added.end(), deleting.begin(), deleting.end(),
                        std::inserter(kept, kept.end()));
    const long lost = Missing(DatabasePath(), kept);
    const long undone = static_cast<long>(deleted.size()) - Missing(DatabasePath(), deleted);
    const std::string integrity = IntegrityCheck(DatabasePath());
    Figures({{"acknowledged_adds", added.size()},
             {"acknowledged_deletes", deleted.size()},
             {"kills", kills},
             {"acknowledged_adds_lost", lost},
             {"acknowledged_deletes_undone", undone},
             {"crashes", crashes},
             {"integrity", integrity}});
    EXPECT_GT(added.size(), 20u) << "the writers hardly wrote";
    EXPECT_EQ(lost, 0);
    EXPECT_EQ(undone, 0);
    EXPECT_EQ(crashes, 0);
    EXPECT_EQ(integrity, "ok");
}

TEST(StormTest, FourProcessesRacingForTheLastPlaceNeverOverfillTheList) {
    constexpr int kTrials = 8;
    CDBControl::GetInstance();
    long overfilled = 0, lost = 0, crashes = 0, largest = 0;
    for (int trial = 0; trial < kTrials; ++trial) {
        // 29 bookings: one place is left.
        ASSERT_TRUE(ExecSql(DatabasePath(),
                            "DELETE FROM Items; WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT "
                            "x + 1 FROM n WHERE x < 29) INSERT INTO Items (Title, ReserveType, "
                            "RepeatType, EventTime, StartTime) SELECT 'pre' || x, 0, 0, "
                            "2000000000 + 3600 * x, 2000000000 + 3600 * x FROM n"));
        std::vector<std::unique_ptr<Child>> racers;
        for (int p = 0; p < 4; ++p) {
            const std::string title = "race-" + std::to_string(trial) + "-" + std::to_string(p);
            racers.push_back(std::make_unique<Child>(Worker({"limit", title})));
        }
        std::set<std::string> acked;
        for (int p = 0; p < 4; ++p) {
            if (racers[p]->ReadLine(20000) == "ack") {
                acked.insert("race-" + std::to_string(trial) + "-" + std::to_string(p));
            }
            crashes += racers[p]->Wait(10000) != 0;
        }
        std::multiset<std::string> stored;
        ASSERT_TRUE(StoredTitles(DatabasePath(), &stored));
        largest = std::max(largest, static_cast<long>(stored.size()));
        overfilled += stored.size() > 30;
        lost += Missing(DatabasePath(), acked);
    }
    Figures({{"trials", kTrials},
             {"trials_over_30", overfilled},
             {"largest_list", largest},
             {"acknowledged_adds_lost", lost},
             {"crashes", crashes}});
    EXPECT_EQ(overfilled, 0);
    EXPECT_EQ(lost, 0);
    EXPECT_EQ(crashes, 0);
}

// In a worker process, so that a crash or a hang is counted instead of ending the suite.
TEST(ThreadsTest, FourThreadsOfMixedOperationsNeitherCrashNorLoseWrites) {
    constexpr int kRuns = 4;
    CDBControl::GetInstance();
    long crashes = 0, hangs = 0, acknowledged = 0, lost = 0, badFiles = 0;
    for (int run = 0; run < kRuns; ++run) {
        ASSERT_TRUE(ExecSql(DatabasePath(), "DELETE FROM Items"));
        Child worker(Worker({"threads", "24"}));
        const auto start = Clock::now();
        const int status = worker.Wait(30000);
        const bool hung = Clock::now() - start >= std::chrono::seconds(30);
        hangs += hung;
        crashes += !hung && status != 0;
        const std::set<std::string> acked = Titles(worker.ReadAvailable(), "ack ");
        acknowledged += static_cast<long>(acked.size());
        lost += Missing(DatabasePath(), acked);
        badFiles += IntegrityCheck(DatabasePath()) != "ok";
    }
    Figures({{"runs", kRuns},
             {"crashes", crashes},
             {"hangs", hangs},
             {"acknowledged_adds", acknowledged},
             {"acknowledged_adds_lost", lost},
             {"files_failing_integrity", badFiles}});
    EXPECT_EQ(crashes, 0);
    EXPECT_EQ(hangs, 0);
    EXPECT_EQ(lost, 0);
    EXPECT_EQ(badFiles, 0);
}

}  // namespace
}  // namespace reliability
