// Another process holding the booking file: short holds are waited out, long ones fail the
// transaction without harming the other process's work.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "DataControl.h"
#include "RawDb.h"
#include "TestSupport.h"

namespace {

using Clock = std::chrono::steady_clock;

// db_locker running against the store's file; it holds the file from the moment it is started
// until it commits after `holdMs`.
class Locker {
public:
    explicit Locker(int holdMs)
        : m_pipe(popen((std::string("'") + REMINDER_DB_LOCKER + "' '" + CDBControl::DatabasePath() +
                        "' " + std::to_string(holdMs))
                           .c_str(),
                       "r")) {}
    ~Locker() { Finish(); }
    // Blocks until the helper reports that it holds the exclusive lock.
    bool WaitUntilHeld() {
        char line[32] = {};
        return m_pipe != nullptr && fgets(line, sizeof line, m_pipe) != nullptr &&
               std::string(line) == "ready\n";
    }
    // Waits for the helper to commit and exit; true when it succeeded.
    bool Finish() {
        const bool ok = m_pipe != nullptr && pclose(m_pipe) == 0;
        m_pipe = nullptr;
        return ok;
    }

private:
    FILE* m_pipe;
};

long MillisecondsSince(Clock::time_point start) {
    return static_cast<long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}

size_t RowCount() {
    std::vector<CRemindInfo> rows;
    CDBControl::GetInstance()->FindItem(CDBCriteria(), rows);
    return rows.size();
}

class ConcurrencyTest : public ::testing::Test {
protected:
    void SetUp() override {
        testsupport::ClearStore();
        tvsim::ClearLogs();
    }
    CDBControl& store = *CDBControl::GetInstance();
};

TEST_F(ConcurrencyTest, ShortHoldDelaysButDoesNotFailAnInsert) {
    Locker locker(300);
    ASSERT_TRUE(locker.WaitUntilHeld());
    const auto start = Clock::now();
    ASSERT_TRUE(store.BeginTransaction());
    const long waited = MillisecondsSince(start);
    CRemindInfo item;
    EXPECT_TRUE(store.AddItem(item));
    EXPECT_TRUE(store.EndTransaction());
    EXPECT_TRUE(locker.Finish());
    // The wait was real, and reported with its retry count; both processes' rows are there.
    EXPECT_GE(waited, 150);
    EXPECT_FALSE(testsupport::LogLinesContaining("Start transaction succeded after: ").empty());
    EXPECT_EQ(RowCount(), 2u);
}

TEST_F(ConcurrencyTest, LongHoldFailsTheTransactionAndLeavesTheFileIntact) {
    Locker locker(2500);
    ASSERT_TRUE(locker.WaitUntilHeld());
    const auto start = Clock::now();
    EXPECT_FALSE(store.BeginTransaction());
    // About 100 retries 10 ms apart before giving up.
    EXPECT_GE(MillisecondsSince(start), 800);
    EXPECT_TRUE(testsupport::LoggedOn(2, "Start transaction failed."));
    // The file is intact, the other process's work survived and the store works again.
    ASSERT_TRUE(locker.Finish());
    EXPECT_EQ(testsupport::CRawDb().Text("PRAGMA integrity_check"), "ok");
    EXPECT_EQ(RowCount(), 1u);
    CRemindInfo item;
    EXPECT_TRUE(store.AddItem(item));
}

}  // namespace
