// Another process holding the booking file: short holds are waited out, long ones fail the
// transaction without harming the other process's work.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "DataControl.h"
#include "TestSupport.h"

namespace {

using Clock = std::chrono::steady_clock;

// db_locker running against the store's file; it holds the file from the moment it is started
// until it commits after `holdMs`.
class Locker {
public:
    explicit Locker(int holdMs) {
        const std::string command = std::string("'") + REMINDER_DB_LOCKER + "' '" +
                                    CDBControl::DatabasePath() + "' " + std::to_string(holdMs);
        m_pipe = popen(command.c_str(), "r");
    }
    ~Locker() { Finish(); }
    Locker(const Locker&) = delete;
    Locker& operator=(const Locker&) = delete;

    // Blocks until the helper reports that it holds the exclusive lock.
    bool WaitUntilHeld() {
        char line[32] = {};
        return m_pipe != nullptr && fgets(line, sizeof line, m_pipe) != nullptr &&
               std::string(line) == "ready\n";
    }
    // Waits for the helper to commit and exit; true when it succeeded.
    bool Finish() {
        if (m_pipe == nullptr) return false;
        const int status = pclose(m_pipe);
        m_pipe = nullptr;
        return status == 0;
    }

private:
    FILE* m_pipe = nullptr;
};

long MillisecondsSince(Clock::time_point start) {
    return static_cast<long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}

// What SQLite's own consistency check says of the file, read by a connection of its own.
std::string IntegrityCheck(const std::string& path) {
    sqlite3* raw = nullptr;
    sqlite3_open_v2(path.c_str(), &raw, SQLITE_OPEN_READONLY, nullptr);
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> db(raw, &sqlite3_close);
    char** table = nullptr;
    int rows = 0;
    int columns = 0;
    std::string result = "<failed>";
    if (sqlite3_get_table(db.get(), "PRAGMA integrity_check", &table, &rows, &columns, nullptr) ==
            SQLITE_OK &&
        rows > 0) {
        result = table[columns];
    }
    sqlite3_free_table(table);
    return result;
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
    item.m_sTitle = "after the wait";
    EXPECT_TRUE(store.AddItem(item));
    EXPECT_TRUE(store.EndTransaction());
    EXPECT_TRUE(locker.Finish());

    // The wait was real, and reported with its retry count.
    EXPECT_GE(waited, 150);
    EXPECT_FALSE(testsupport::LogLinesContaining("Start transaction succeded after: ").empty());

    // Both processes' rows are there.
    std::vector<CRemindInfo> rows;
    ASSERT_TRUE(store.FindItem(CDBCriteria(), rows));
    EXPECT_EQ(rows.size(), 2u);
}

TEST_F(ConcurrencyTest, LongHoldFailsTheTransactionAndLeavesTheFileIntact) {
    Locker locker(2500);
    ASSERT_TRUE(locker.WaitUntilHeld());

    const auto start = Clock::now();
    EXPECT_FALSE(store.BeginTransaction());
    const long waited = MillisecondsSince(start);
    EXPECT_TRUE(testsupport::LoggedOn(2, "Start transaction failed."));
    // About 100 retries 10 ms apart before giving up.
    EXPECT_GE(waited, 800);

    // The file is intact, the other process's work survived and the store works again.
    ASSERT_TRUE(locker.Finish());
    EXPECT_EQ(IntegrityCheck(CDBControl::DatabasePath()), "ok");
    std::vector<CRemindInfo> rows;
    ASSERT_TRUE(store.FindItem(CDBCriteria(), rows));
    EXPECT_EQ(rows.size(), 1u);
    CRemindInfo item;
    EXPECT_TRUE(store.AddItem(item));
}

}  // namespace
