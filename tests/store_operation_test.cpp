// How engine operations meet the store: one snapshot per operation, kept current by its writes
// and sorted as SQLite sorts; a failed write rolling the operation back; the list kept between
// reads only while the file is unchanged; the per-thread store status; the limit across processes.
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "DataControl.h"
#include "RawDb.h"
#include "ReminderAPIImp.h"
#include "TestSupport.h"

namespace {

constexpr uint32_t kLocalNow = 1795456800u + 3600u;

CRemindInfo Viewing(uint32_t start, const std::string& title, uint16_t eventId) {
    CRemindInfo item;
    item.m_nReserveType = REMINDER_RESERVE_VIEWING, item.m_nServiceId = 1001;
    item.m_nEventId = eventId, item.m_nDuration = 600, item.m_sTitle = title;
    item.SetStartTime(start);
    return item;
}

std::vector<unsigned long> Uids(const std::vector<CRemindInfo>& list) {
    std::vector<unsigned long> uids;
    for (const CRemindInfo& e : list) uids.push_back(e.m_nUid);
    return uids;
}

class StoreOperationTest : public ::testing::Test {
protected:
    void SetUp() override {
        testsupport::LoadSampleTelevision();
        testsupport::ClearStore();
        tvsim::ClearLogs();
    }
    std::vector<CRemindInfo> List(EOrderByType order = REM_ORDER_BY_START_TIME) {
        std::vector<CRemindInfo> list;
        engine.t_GetScheduledList(list, order);
        return list;
    }
    CReminderAPIImp engine;
    testsupport::CRawDb raw;
};

TEST_F(StoreOperationTest, SnapshotIsReadOnceAndOrdersLikeSqlite) {
    // Rows with equal start times and equal titles, stored out of order, so that every order
    // has ties to break.
    const std::tuple<uint32_t, const char*, unsigned long long> rows[] = {
        {600, "b", 1002}, {60, "a", 1001}, {600, "B", 1001},
        {60, "b", 1002},  {600, "", 1001}, {120, "ab", 1002}};
    uint16_t event = 1;
    for (const auto& [start, title, service] : rows) {
        CRemindInfo item = Viewing(kLocalNow + start, title, event++);
        item.Set(service);  // service and channel numbers from the television
        ASSERT_TRUE(engine.t_AddRemindItem(item, false));
    }
    for (EOrderByType order : {REM_ORDER_BY_START_TIME, REM_ORDER_BY_TITLE,
                               REM_ORDER_BY_CHANNEL_NUMBER, static_cast<EOrderByType>(7)}) {
        std::vector<CRemindInfo> fromSqlite, first, second;
        ASSERT_TRUE(engine.t_ReadScheduledList(fromSqlite, order));
        CReminderAPIImp::COperation op(engine, false);
        ASSERT_TRUE(engine.t_ReadScheduledList(first, REM_ORDER_BY_START_TIME));
        tvsim::ClearLogs();
        ASSERT_TRUE(engine.t_ReadScheduledList(second, order));
        EXPECT_TRUE(testsupport::LogLinesContaining("Select operation success!").empty());
        EXPECT_EQ(Uids(second), Uids(fromSqlite)) << "order " << order;
    }

    // Writes keep the snapshot current and commit together.
    const size_t before = List().size();
    CReminderAPIImp::COperation op(engine, true);
    ASSERT_TRUE(op.Ok());
    const std::vector<CRemindInfo> list = List();
    ASSERT_TRUE(engine.t_AddRemindItem(Viewing(kLocalNow + 300, "new", 40), false));
    CRemindInfo moved = list[0];
    moved.SetStartTime(kLocalNow + 900);
    ASSERT_TRUE(engine.t_UpdateRemindItemByUid(moved.m_nUid, moved));
    ASSERT_TRUE(engine.t_DeleteRemindItemByUid(list[1].m_nUid));
    // The operation holds the file: another connection cannot write until it commits.
    EXPECT_FALSE(raw.Exec("DELETE FROM Items"));
    const std::vector<CRemindInfo> snapshot = List(REM_ORDER_BY_TITLE);
    ASSERT_TRUE(op.Commit());
    // What the snapshot showed is what the file holds, in the same order.
    const std::vector<CRemindInfo> stored = List(REM_ORDER_BY_TITLE);
    ASSERT_EQ(snapshot.size(), stored.size());
    for (size_t i = 0; i < stored.size(); ++i)
        EXPECT_EQ(snapshot[i].Serialize(), stored[i].Serialize());
    EXPECT_EQ(stored.size(), before);
}

TEST_F(StoreOperationTest, AFailedWriteRollsBackTheWholeOperation) {
    ASSERT_TRUE(engine.t_AddRemindItem(Viewing(kLocalNow + 60, "kept", 1), false));
    ASSERT_TRUE(
        raw.Exec("CREATE TRIGGER refuse BEFORE INSERT ON Items WHEN NEW.Title = 'bad' "
                 "BEGIN SELECT RAISE(ABORT, 'refused'); END;"));
    {
        CReminderAPIImp::COperation op(engine, true);
        ASSERT_TRUE(engine.t_DeleteRemindItemByUid(List()[0].m_nUid));
        EXPECT_FALSE(engine.t_AddRemindItem(Viewing(kLocalNow + 120, "bad", 2), false));
        EXPECT_NE(CDBControl::LastStoreError(), 0);
        EXPECT_FALSE(op.Ok() || op.Commit());
    }
    ASSERT_EQ(List().size(), 1u);
    EXPECT_EQ(List()[0].m_sTitle, "kept");

    // A public operation says so too (the status a C caller reads), and leaves no COMMIT line
    // where none was tried.
    tvsim::ClearLogs();
    CRemindInfo bad = Viewing(kLocalNow + 120, "bad", 2);
    EXPECT_FALSE(engine.AddRemindItem(bad, false, false));
    EXPECT_EQ(CDBControl::LastStoreError(), SQLITE_CONSTRAINT);
    EXPECT_FALSE(testsupport::Logged("COMMIT failed."));
    EXPECT_EQ(List().size(), 1u);
}

TEST_F(StoreOperationTest, AnUnreadableListRefusesTheBookingAndTheStatusIsPerThread) {
    // Another connection holds the file for longer than the store waits.
    ASSERT_TRUE(raw.Exec("BEGIN EXCLUSIVE"));
    CRemindInfo item = Viewing(kLocalNow + 60, "refused", 1);
    EXPECT_FALSE(engine.AddRemindItem(item, false, false));
    EXPECT_EQ(CDBControl::LastStoreError(), SQLITE_BUSY);
    std::vector<CRemindInfo> list;
    EXPECT_FALSE(engine.t_ReadScheduledList(list, REM_ORDER_BY_START_TIME));
    int other = -1;
    std::thread([&other] { other = CDBControl::LastStoreError(); }).join();
    EXPECT_EQ(std::pair(other, CDBControl::LastStoreError()), std::pair(0, SQLITE_BUSY));

    EXPECT_TRUE(raw.Exec("COMMIT"));
    EXPECT_TRUE(engine.t_ReadScheduledList(list, REM_ORDER_BY_START_TIME) && list.empty());
    EXPECT_EQ(CDBControl::LastStoreError(), 0);
}

TEST_F(StoreOperationTest, KeptListIsReadAgainWhenAnotherProcessChangedTheFile) {
    ASSERT_TRUE(engine.t_AddRemindItem(Viewing(kLocalNow + 60, "one", 1), false));
    ASSERT_EQ(List().size(), 1u);
    ASSERT_EQ(List().size(), 1u);  // kept between the reads
    // Another process inserts a row (and holds the file for no time).
    const std::string locker = std::string("'") + REMINDER_DB_LOCKER + "' '" +
                               CDBControl::DatabasePath() + "' 0 > /dev/null";
    ASSERT_EQ(std::system(locker.c_str()), 0);
    ASSERT_EQ(List().size(), 2u);
    EXPECT_EQ(List()[0].m_sTitle, "held by locker");

    // A transaction of this connection that rolled back leaves nothing behind in the kept list.
    CDBControl* store = CDBControl::GetInstance();
    CRemindInfo extra = Viewing(kLocalNow + 120, "rolled back", 2);
    ASSERT_TRUE(store->BeginTransaction() && store->AddItem(extra));
    EXPECT_EQ(List().size(), 3u);
    store->MarkTransactionFailed();
    EXPECT_FALSE(store->EndTransaction());
    EXPECT_EQ(List().size(), 2u);
}

constexpr int kAddsEach = 6;

// Four processes add bookings at once to a list with room for ten more: exactly ten are stored,
// and every booking a process was told is stored is in the file.
TEST_F(StoreOperationTest, TheLimitHoldsWithFourProcessesAdding) {
    for (uint16_t i = 0; i < 20; ++i) {
        ASSERT_TRUE(engine.t_AddRemindItem(Viewing(kLocalNow + 60 * i, "old", i), false));
    }
    FILE* children[4];
    for (int p = 0; p < 4; ++p) {
        // Each child is this test binary running the adding half below: a process with a
        // store of its own, as another application would be.
        const std::string command =
            "REMINDER_LIMIT_CHILD=" + std::to_string(p) + " /proc/" + std::to_string(getpid()) +
            "/exe --gtest_also_run_disabled_tests --gtest_filter=DISABLED_LimitChild.Adds";
        children[p] = popen(command.c_str(), "r");
        ASSERT_NE(children[p], nullptr);
    }
    std::multiset<unsigned> acknowledged, stored;
    for (FILE* child : children) {
        char line[512];
        while (fgets(line, sizeof line, child) != nullptr) {
            unsigned event = 0;
            if (std::sscanf(line, "stored %u", &event) == 1) acknowledged.insert(event);
        }
        EXPECT_EQ(pclose(child), 0);
    }
    for (const CRemindInfo& e : List()) {
        if (e.m_sTitle == "new") stored.insert(e.m_nEventId);
    }
    EXPECT_EQ(stored.size(), 10u);
    EXPECT_EQ(acknowledged, stored);
    EXPECT_EQ(engine.GetRemindItemCnt(), 30);
}

TEST(DISABLED_LimitChild, Adds) {
    const char* index = std::getenv("REMINDER_LIMIT_CHILD");
    ASSERT_NE(index, nullptr);
    testsupport::LoadSampleTelevision();
    const int p = std::atoi(index);
    CReminderAPIImp own;
    for (int a = 0; a < kAddsEach; ++a) {
        const uint16_t event = static_cast<uint16_t>(100 + p * kAddsEach + a);
        CRemindInfo item = Viewing(kLocalNow + 5000 + 60 * event, "new", event);
        if (own.AddRemindItem(item, false, false)) std::printf("stored %u\n", event);
    }
}

}  // namespace
