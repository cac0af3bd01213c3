// The booking store on a real SQLite file: start-up, the four operations and statements that
// follow the file. The row format of every column, damaged rows included, is held to the
// record's JSON form in store_codec_test.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "DataControl.h"
#include "RawDb.h"
#include "TestSupport.h"

namespace {

using C = CDBCriteria;
using RawDb = testsupport::CRawDb;

CRemindInfo Titled(const std::string& title, uint32_t eventTime, uint32_t startMargin = 0) {
    CRemindInfo r;
    r.m_sTitle = title, r.m_nEventTime = eventTime, r.m_nStartMarginTime = startMargin;
    return r;
}

bool Add(CRemindInfo item) {
    return CDBControl::GetInstance()->AddItem(item);
}

std::vector<CRemindInfo> Rows(const CDBCriteria& criteria = CDBCriteria()) {
    std::vector<CRemindInfo> rows;
    CDBControl::GetInstance()->FindItem(criteria, rows);
    return rows;
}

CDBCriteria ByTitle(const std::string& title) {
    CDBCriteria criteria;
    criteria.Where<std::string>(C::CRITERIA_TITLE, title);
    return criteria;
}

std::string Titles(const std::vector<CRemindInfo>& rows) {
    std::string titles;
    for (const CRemindInfo& r : rows) titles += r.m_sTitle + ",";
    return titles;
}

class StoreTest : public ::testing::Test {
protected:
    void SetUp() override {
        testsupport::ClearStore();
        tvsim::ClearLogs();
    }
    CDBControl& store = *CDBControl::GetInstance();
    RawDb raw;
};

TEST_F(StoreTest, AddTakesAFreshUidAndWritesTheStartWhichIsNeverReadBack) {
    std::vector<CRemindInfo> rows(1);
    EXPECT_FALSE(store.FindItem(CDBCriteria(), rows));  // an empty table
    EXPECT_TRUE(rows.empty());

    CRemindInfo item = Titled("twice", 1000, 120);
    item.m_nUid = 777;
    ASSERT_TRUE(store.AddItem(item));
    ASSERT_TRUE(store.AddItem(item));
    EXPECT_EQ(item.m_nUid, 777u);  // not written back
    EXPECT_EQ(raw.Text("SELECT group_concat(StartTime) FROM Items"), "880,880");
    // Whatever the StartTime column holds, the record's own start fields stand.
    ASSERT_TRUE(raw.Exec("UPDATE Items SET StartTime = 5"));
    rows = Rows();
    ASSERT_EQ(rows.size(), 2u);
    for (const CRemindInfo& row : rows) {
        EXPECT_NE(row.m_nUid, 777u);
        EXPECT_EQ(std::pair(row.m_nEventTime, row.m_nStartMarginTime), std::pair(1000u, 120u));
    }
}

TEST_F(StoreTest, CriteriaSelectOrderUpdateAndDelete) {
    CRemindInfo a = Titled("A", 200);
    a.m_sProgramCrid = "CRID://Mixed/Case";
    ASSERT_TRUE(Add(Titled("B", 300)) && Add(a) && Add(Titled("C", 100)));
    ASSERT_TRUE(Add(Titled("It's News", 400)));

    CDBCriteria byStart;
    byStart.OrderBy(C::CRITERIA_START_TIME, C::CRITERIA_UID);
    EXPECT_EQ(Titles(Rows(byStart)), "C,A,B,It's News,");
    // A less-than condition on a number and a case-blind text match.
    CDBCriteria early;
    early.WhereLess<unsigned long>(C::CRITERIA_START_TIME, 250);
    early.OrderBy(C::CRITERIA_TITLE);
    EXPECT_EQ(Titles(Rows(early)), "A,C,");
    CDBCriteria crid;
    crid.Where<std::string>(C::CRITERIA_PROGRAM_CRID, "crid://mixed/case");
    crid.IgnoreStrCase();
    EXPECT_EQ(Rows(crid).size(), 1u);
    // Quotes in text values neither break nor widen a deletion.
    EXPECT_TRUE(store.DeleteItem(ByTitle("x' OR '1'='1")));

    // Update rewrites every column of the selected row only.
    const CRemindInfo changed = Titled("A2", 400, 50);
    ASSERT_TRUE(store.UpdateItem(ByTitle("A"), changed));
    EXPECT_EQ(raw.Text("SELECT StartTime FROM Items WHERE Title = 'A2'"), "350");
    EXPECT_EQ(raw.Text("SELECT count(*) FROM Items WHERE ProgramCrid = ''"), "4");
    // No match is still a success for an update and a deletion.
    EXPECT_TRUE(store.UpdateItem(ByTitle("nothing"), changed) &&
                store.DeleteItem(ByTitle("nothing")));
    ASSERT_TRUE(store.DeleteItem(ByTitle("B")));
    EXPECT_EQ(Titles(Rows(byStart)), "C,A2,It's News,");
}

TEST_F(StoreTest, RepeatedStatementsFollowTheFileAndHoldNoLock) {
    ASSERT_TRUE(Add(Titled("A", 60)) && Add(Titled("B", 120)));
    const CRemindInfo changed = Titled("A", 90);
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(Rows(ByTitle("A")).size(), 1u);
        EXPECT_TRUE(store.UpdateItem(ByTitle("A"), changed));
        EXPECT_TRUE(store.DeleteItem(ByTitle("none")));
    }
    // Nothing the store ran is left holding the file.
    ASSERT_TRUE(raw.Exec("BEGIN EXCLUSIVE") && raw.Exec("ROLLBACK"));

    // A schema changed by another connection is seen by the same statement text.
    ASSERT_TRUE(
        raw.Exec("CREATE TRIGGER refuse BEFORE UPDATE ON Items "
                 "BEGIN SELECT RAISE(ABORT, 'refused'); END;"));
    EXPECT_FALSE(store.UpdateItem(ByTitle("A"), changed));
    EXPECT_NE(CDBControl::LastStoreError(), 0);
    ASSERT_TRUE(raw.Exec("DROP TRIGGER refuse"));
    EXPECT_TRUE(store.UpdateItem(ByTitle("A"), changed));

    // A table gone fails as a prepare does, and comes back with the table.
    ASSERT_TRUE(raw.Exec("ALTER TABLE Items RENAME TO Gone"));
    tvsim::ClearLogs();
    std::vector<CRemindInfo> rows;
    EXPECT_FALSE(store.FindItem(ByTitle("A"), rows));
    EXPECT_EQ(store.LastResult(), SQLITE_ERROR);
    EXPECT_FALSE(store.UpdateItem(ByTitle("A"), changed));
    EXPECT_EQ(testsupport::LogLinesContaining("Prepare statement failed.").size(), 2u);
    EXPECT_TRUE(testsupport::LogLinesContaining("operation failed").empty());
    ASSERT_TRUE(raw.Exec("ALTER TABLE Gone RENAME TO Items"));
    EXPECT_EQ(Titles(Rows()), "A,B,");
}

// Start-up. The store keeps the path of its first GetInstance, so each start runs in a fresh
// process: this binary again, running only the disabled child test below.
bool StartStoreInChild(const std::string& mode, const std::string& path) {
    const std::string command = "REMINDER_DB_PATH='" + path +
                                "' REMINDER_STORE_CHILD_MODE=" + mode + " /proc/" +
                                std::to_string(getpid()) +
                                "/exe --gtest_also_run_disabled_tests"
                                " --gtest_filter=DISABLED_StoreStartupChild.* 2>&1";
    const testsupport::SCommandRun run = testsupport::RunShell(command);
    const bool passed =
        run.status == 0 && run.output.find("[  PASSED  ] 1 test.") != std::string::npos;
    if (!passed) ADD_FAILURE() << "child '" << mode << "' failed:\n" << run.output;
    return passed;
}

TEST(StoreStartupTest, FirstStartCreatesTheTableAndLaterStartsKeepTheData) {
    const std::string path = testsupport::WriteTempFile("startup.db", "");
    std::remove(path.c_str());
    ASSERT_TRUE(StartStoreInChild("create", path));
    {
        // Rows are read by column index, so the columns stand in the criteria's order; the
        // last type keeps the spelling that existing files carry.
        RawDb file(path);
        std::string names;
        for (const std::string& name : CDBCriteria().m_vColumnNames) names += name + ",";
        EXPECT_EQ(
            file.Text("SELECT group_concat(name, ',') || ',' FROM pragma_table_info('Items')"),
            names);
        const std::string sql = file.Text("SELECT sql FROM sqlite_master WHERE name = 'Items'");
        EXPECT_EQ(sql.rfind("CREATE TABLE [Items] ( \t[UID] INTEGER PRIMARY KEY NOT NULL, ", 0),
                  0u);
        EXPECT_NE(sql.find(", \t[StreamType] INTEGET )"), std::string::npos) << sql;
    }
    EXPECT_TRUE(StartStoreInChild("reopen", path));
    std::remove(path.c_str());
    std::remove((path + "-journal").c_str());
    // A file that cannot be opened leaves a store whose every operation fails.
    EXPECT_TRUE(StartStoreInChild("unopenable", "/nonexistent-dir/store.db"));
}

TEST(DISABLED_StoreStartupChild, OpensTheStoreFromTheEnvironment) {
    const char* env = std::getenv("REMINDER_STORE_CHILD_MODE");
    const std::string mode = env != nullptr ? env : "";
    CDBControl& store = *CDBControl::GetInstance();  // opens the file
    std::vector<CRemindInfo> rows;
    if (mode == "create") {
        EXPECT_TRUE(Add(Titled("kept", 60)));
    } else if (mode == "reopen") {
        EXPECT_EQ(Titles(Rows()), "kept,");
    } else if (mode == "unopenable") {
        EXPECT_TRUE(
            testsupport::LoggedOn(2, "Open DB file [" + CDBControl::DatabasePath() + "] failed."));
        EXPECT_FALSE(Add(CRemindInfo()));
        EXPECT_FALSE(store.FindItem(CDBCriteria(), rows));
        EXPECT_FALSE(testsupport::LogLinesContaining("Prepare statement failed.").empty());
    } else {
        FAIL() << "unknown mode " << mode;
    }
}

}  // namespace
