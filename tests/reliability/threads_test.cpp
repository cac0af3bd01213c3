// Four threads of one process calling the facade at once, in a worker process so that a crash or
// a hang is counted instead of ending the suite.
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <set>
#include <string>

#include "DataControl.h"
#include "ReliabilitySupport.h"

namespace reliability {
namespace {

TEST(ThreadsTest, FourThreadsOfMixedOperationsNeitherCrashNorLoseWrites) {
    constexpr int kRuns = 4;
    CDBControl::GetInstance();
    const std::string path = DatabasePath();
    long crashes = 0;
    long hangs = 0;
    long acknowledged = 0;
    long lost = 0;
    long badFiles = 0;
    for (int run = 0; run < kRuns; ++run) {
        ASSERT_TRUE(ExecSql(path, "DELETE FROM Items"));
        Child worker(Worker({"threads", "24"}));
        const auto start = std::chrono::steady_clock::now();
        const int status = worker.Wait(30000);
        const bool timedOut = std::chrono::steady_clock::now() - start >= std::chrono::seconds(30);
        std::set<std::string> acked;
        for (const std::string& line : worker.ReadAvailable()) {
            if (line.rfind("ack ", 0) == 0) acked.insert(line.substr(4));
        }
        if (timedOut) {
            ++hangs;
        } else if (status != 0) {
            ++crashes;
        }
        acknowledged += static_cast<long>(acked.size());
        std::multiset<std::string> stored;
        if (!StoredTitles(path, &stored)) stored.clear();
        for (const std::string& title : acked) lost += stored.count(title) == 0 ? 1 : 0;
        if (IntegrityCheck(path) != "ok") ++badFiles;
    }
    Figure("runs", kRuns);
    Figure("crashes", crashes);
    Figure("hangs", hangs);
    Figure("acknowledged_adds", acknowledged);
    Figure("acknowledged_adds_lost", lost);
    Figure("files_failing_integrity", badFiles);
    EXPECT_EQ(crashes, 0);
    EXPECT_EQ(hangs, 0);
    EXPECT_EQ(lost, 0);
    EXPECT_EQ(badFiles, 0);
}

}  // namespace
}  // namespace reliability
