// The booking store on a real SQLite file: start-up, the row format of every column, the four
// operations, and rows that another writer left malformed.
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "DataControl.h"
#include "TestSupport.h"

namespace {

using C = CDBCriteria;

// A second connection to a database file, for looking behind the store's back.
class RawDb {
public:
    explicit RawDb(const std::string& path) {
        sqlite3* db = nullptr;
        sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
        m_db.reset(db);
    }
    bool Exec(const std::string& sql) {
        return sqlite3_exec(m_db.get(), sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
    }
    // First column of the first row as text; "<none>" without a row.
    std::string Text(const std::string& sql) {
        sqlite3_stmt* raw = nullptr;
        sqlite3_prepare_v2(m_db.get(), sql.c_str(), -1, &raw, nullptr);
        const std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)> stmt(raw,
                                                                              &sqlite3_finalize);
        if (!stmt || sqlite3_step(stmt.get()) != SQLITE_ROW) return "<none>";
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt.get(), 0));
        return text != nullptr ? text : "<null>";
    }

private:
    std::unique_ptr<sqlite3, decltype(&sqlite3_close)> m_db{nullptr, &sqlite3_close};
};

// Every field away from its default and from the other fields of its type, so that two columns
// swapped on the way show. Unsigned values beyond the int range and a 64-bit service id with the
// top bit set check the signed storage of the integer columns.
CRemindInfo FullRecord() {
    CRemindInfo r;
    uint16_t n16 = 10;
    for (uint16_t* f : {&r.m_nChannelType, &r.m_nMajor, &r.m_nMinor, &r.m_nPTC, &r.m_nProgramNumber,
                        &r.m_nTransportStreamId, &r.m_nTimeMargin, &r.m_nDevice, &r.m_nEventId,
                        &r.m_nErrno, &r.m_nSeriesId, &r.m_nExpiredDate}) {
        *f = n16++;
    }
    uint32_t n32 = 0xFFFFFFF0u;
    for (uint32_t* f :
         {&r.m_nBookingOrder, &r.m_nUTCStartTime, &r.m_nEventTime, &r.m_nStartMarginTime,
          &r.m_nEndMarginTime, &r.m_nRCTExpiryTime, &r.m_nAddedTime, &r.m_nActivationTime,
          &r.m_nExpiryTime, &r.m_nPublishedDuration, &r.m_nUTCDuration, &r.m_nDuration}) {
        *f = n32++;
    }
    uint8_t n8 = 250;
    for (uint8_t* f : {&r.m_cManualRepeat, &r.m_cContentVersion, &r.m_cGenre, &r.m_cRepeatLabel}) {
        *f = n8++;
    }
    int32_t n = -7;
    for (int32_t* f : {&r.m_nServiceProfile, &r.m_nSource, &r.m_nManual, &r.m_nStreamType}) {
        *f = n++;
    }
    r.m_nReserveType = REMINDER_RESERVE_RECORDING_MONITORED;
    r.m_nRepeatType = REMINDER_REPEAT_MANUAL;
    r.m_nEpisodeNumber = -1;
    r.m_nLastEpisodeNumber = 12;
    bool flag = true;
    for (bool* f :
         {&r.m_bIsHD, &r.m_bRemoteChannel, &r.m_bAlarmed, &r.m_bRecordingSpaceAlarmed,
          &r.m_bRecording, &r.m_bUnresolvedConflict, &r.m_bRecommended, &r.m_bRecordListBooking}) {
        *f = (flag = !flag);
    }
    int k = 0;
    for (std::string* f : {&r.m_sTitle, &r.m_sChannelName, &r.m_sProgramCrid, &r.m_sSeriesCrid,
                           &r.m_sGroupCrid, &r.m_sSynopsis, &r.m_sGuidance, &r.m_sPrivateData}) {
        *f = "text " + std::to_string(k++) + " \xC3\xA9 it's \"quoted\"";
    }
    r.m_nServiceId = 0xF000000000000001ULL;
    r.m_frequency = 474.25f;
    r.m_vCompList = {{0x0203, 1, 0x656E67}, {0x0501, 2, 0x646575}};
    r.m_extProgramId.nUTCStartTime = 1700000000;
    r.m_extProgramId.nUTCDuration = 1800;
    r.m_extProgramId.cEITNumber = 3;
    r.m_extProgramId.nEITTableId = -2;
    return r;
}

CRemindInfo TitledRecord(const std::string& title, uint32_t eventTime) {
    CRemindInfo r;
    r.m_sTitle = title;
    r.m_nEventTime = eventTime;
    return r;
}

bool Add(CRemindInfo item) {
    return CDBControl::GetInstance()->AddItem(item);
}

std::vector<CRemindInfo> AllRows(const CDBCriteria& criteria = CDBCriteria()) {
    std::vector<CRemindInfo> rows;
    CDBControl::GetInstance()->FindItem(criteria, rows);
    return rows;
}

CDBCriteria ByTitle(const std::string& title) {
    CDBCriteria criteria;
    criteria.Where<std::string>(C::CRITERIA_TITLE, title);
    return criteria;
}

class StoreTest : public ::testing::Test {
protected:
    void SetUp() override {
        testsupport::ClearStore();
        tvsim::ClearLogs();
    }
    CDBControl& store = *CDBControl::GetInstance();
    RawDb raw{CDBControl::DatabasePath()};
};

TEST_F(StoreTest, EveryColumnRoundTrips) {
    CRemindInfo written = FullRecord();
    ASSERT_TRUE(store.AddItem(written));

    const std::vector<CRemindInfo> rows = AllRows();
    ASSERT_EQ(rows.size(), 1u);
    // The UID comes from SQLite; everything else, component list and extended id included,
    // comes back exactly as written.
    written.m_nUid = rows[0].m_nUid;
    EXPECT_EQ(rows[0].Serialize(), written.Serialize());
}

TEST_F(StoreTest, StartTimeIsWrittenFromTheRecordAndNeverReadBack) {
    CRemindInfo item;
    item.m_nEventTime = 1000;
    item.m_nStartMarginTime = 120;
    ASSERT_TRUE(store.AddItem(item));
    EXPECT_EQ(raw.Text("SELECT StartTime FROM Items"), "880");

    // Whatever the column holds, the record's own start fields stand.
    ASSERT_TRUE(raw.Exec("UPDATE Items SET StartTime = 5"));
    const std::vector<CRemindInfo> rows = AllRows();
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].m_nEventTime, 1000u);
    EXPECT_EQ(rows[0].m_nStartMarginTime, 120u);
}

TEST_F(StoreTest, AddItemIgnoresTheRecordsOwnUid) {
    CRemindInfo item = TitledRecord("twice", 60);
    item.m_nUid = 777;
    ASSERT_TRUE(store.AddItem(item));
    ASSERT_TRUE(store.AddItem(item));
    EXPECT_EQ(item.m_nUid, 777u);  // not written back

    const std::vector<CRemindInfo> rows = AllRows();
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_NE(rows[0].m_nUid, 777u);
    EXPECT_NE(rows[1].m_nUid, 777u);
}

TEST_F(StoreTest, FindItemOnAnEmptyTableIsFalseAndEmptiesTheList) {
    std::vector<CRemindInfo> rows(1);
    EXPECT_FALSE(store.FindItem(CDBCriteria(), rows));
    EXPECT_TRUE(rows.empty());
}

TEST_F(StoreTest, CriteriaSelectOrderUpdateAndDelete) {
    ASSERT_TRUE(Add(TitledRecord("B", 300)));
    CRemindInfo a = TitledRecord("A", 200);
    a.m_sProgramCrid = "CRID://Mixed/Case";
    ASSERT_TRUE(Add(a));
    ASSERT_TRUE(Add(TitledRecord("C", 100)));

    // Ordering by the stored start.
    CDBCriteria byStart;
    byStart.OrderBy(C::CRITERIA_START_TIME, C::CRITERIA_UID);
    std::vector<CRemindInfo> rows = AllRows(byStart);
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0].m_sTitle + rows[1].m_sTitle + rows[2].m_sTitle, "CAB");

    // A less-than condition on a number and a case-blind text match.
    CDBCriteria early;
    early.WhereLess<unsigned long>(C::CRITERIA_START_TIME, 250);
    early.OrderBy(C::CRITERIA_TITLE);
    rows = AllRows(early);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].m_sTitle + rows[1].m_sTitle, "AC");
    CDBCriteria crid;
    crid.Where<std::string>(C::CRITERIA_PROGRAM_CRID, "crid://mixed/case");
    crid.IgnoreStrCase();
    EXPECT_EQ(AllRows(crid).size(), 1u);

    // Update rewrites every column of the selected row only; no match is still a success.
    CRemindInfo changed = TitledRecord("A2", 400);
    changed.m_nStartMarginTime = 50;
    ASSERT_TRUE(store.UpdateItem(ByTitle("A"), changed));
    EXPECT_EQ(raw.Text("SELECT StartTime FROM Items WHERE Title = 'A2'"), "350");
    EXPECT_EQ(raw.Text("SELECT count(*) FROM Items WHERE ProgramCrid = ''"), "3");
    EXPECT_TRUE(store.UpdateItem(ByTitle("nothing"), changed));

    // Delete removes the selected rows only; no match is still a success.
    EXPECT_TRUE(store.DeleteItem(ByTitle("nothing")));
    ASSERT_TRUE(store.DeleteItem(ByTitle("B")));
    rows = AllRows(byStart);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].m_sTitle + rows[1].m_sTitle, "CA2");
}

TEST_F(StoreTest, QuotesInTextValuesNeitherBreakNorWidenTheSelection) {
    ASSERT_TRUE(Add(TitledRecord("It's News", 60)));
    ASSERT_TRUE(Add(TitledRecord("Other", 120)));
    EXPECT_EQ(AllRows(ByTitle("It's News")).size(), 1u);
    EXPECT_TRUE(store.DeleteItem(ByTitle("x' OR '1'='1")));
    EXPECT_EQ(AllRows().size(), 2u);
}

TEST_F(StoreTest, RepeatedStatementsFollowTheFileAndHoldNoLock) {
    ASSERT_TRUE(Add(TitledRecord("A", 60)));
    ASSERT_TRUE(Add(TitledRecord("B", 120)));
    CRemindInfo changed = TitledRecord("A", 90);
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(AllRows(ByTitle("A")).size(), 1u);
        EXPECT_TRUE(store.UpdateItem(ByTitle("A"), changed));
        EXPECT_TRUE(store.DeleteItem(ByTitle("none")));
    }
    // Nothing the store ran is left holding the file.
    ASSERT_TRUE(raw.Exec("BEGIN EXCLUSIVE"));
    ASSERT_TRUE(raw.Exec("ROLLBACK"));

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
    EXPECT_EQ(AllRows(ByTitle("A")).size(), 1u);
    EXPECT_EQ(AllRows().size(), 2u);
}

TEST_F(StoreTest, MalformedRowsReadBackAsFarAsTheyCan) {
    // JSON columns that are not JSON, and text where numbers belong: the numbers read as 0 and
    // the JSON members as absent, the rest of the row as written.
    ASSERT_TRUE(raw.Exec(
        "INSERT INTO Items (UID, Major, EventTime, Title, ComponentList, ExtProgramId, "
        "StreamType) VALUES (5, 'abc', 'soon', 'Broken', 'garbage{', '[{\"nUTCStartTime\":', 1)"));
    std::vector<CRemindInfo> rows = AllRows();
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].m_nUid, 5u);
    EXPECT_EQ(rows[0].m_nMajor, 0u);
    EXPECT_EQ(rows[0].m_sTitle, "Broken");
    EXPECT_EQ(rows[0].m_sChannelName, "");  // NULL text
    EXPECT_TRUE(rows[0].m_vCompList.empty());
    EXPECT_EQ(rows[0].m_nStreamType, 1);

    // JSON nested beyond the reader's limit throws inside the reader: logged, and the members
    // gathered before it still reach the record.
    testsupport::ClearStore();
    tvsim::ClearLogs();
    ASSERT_TRUE(
        raw.Exec("INSERT INTO Items (UID, Title, ComponentList, StreamType) VALUES "
                 "(6, 'Deep', '" +
                 std::string(3000, '[') + "', 2)"));
    rows = AllRows();
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].m_sTitle, "Deep");
    EXPECT_EQ(rows[0].m_nStreamType, 0);  // its column comes after the failing one
    EXPECT_FALSE(testsupport::LogLinesContaining("Exception Handled : ").empty());
}

// ---------------------------------------------------------------------------------------------
// Start-up. The store keeps the path of its first GetInstance, so each start runs in a fresh
// process: this binary again, running only the disabled child test below.

std::string SelfPath() {
    std::array<char, 4096> buffer{};
    const ssize_t length = readlink("/proc/self/exe", buffer.data(), buffer.size() - 1);
    return length > 0 ? std::string(buffer.data(), static_cast<size_t>(length)) : "";
}

// Runs the child test with `mode` on `path`; true when it ran and passed.
bool StartStoreInChild(const std::string& mode, const std::string& path) {
    const std::string command = "REMINDER_DB_PATH='" + path +
                                "' REMINDER_STORE_CHILD_MODE=" + mode + " '" + SelfPath() +
                                "' --gtest_also_run_disabled_tests"
                                " --gtest_filter=DISABLED_StoreStartupChild.* 2>&1";
    FILE* child = popen(command.c_str(), "r");
    if (child == nullptr) return false;
    std::string output;
    std::array<char, 512> chunk{};
    while (fgets(chunk.data(), chunk.size(), child) != nullptr) output += chunk.data();
    const int status = pclose(child);
    const bool passed = status == 0 && output.find("[  PASSED  ] 1 test.") != std::string::npos;
    if (!passed) ADD_FAILURE() << "child '" << mode << "' failed:\n" << output;
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
    const char* modeValue = std::getenv("REMINDER_STORE_CHILD_MODE");
    ASSERT_NE(modeValue, nullptr);
    const std::string mode = modeValue;
    const std::string path = CDBControl::DatabasePath();
    CDBControl& store = *CDBControl::GetInstance();
    std::vector<CRemindInfo> rows;

    if (mode == "create") {
        EXPECT_TRUE(testsupport::Logged("Table was not created before..."));
        EXPECT_EQ(access(path.c_str(), F_OK), 0);
        CRemindInfo item = TitledRecord("kept", 60);
        EXPECT_TRUE(store.AddItem(item));
    } else if (mode == "reopen") {
        EXPECT_TRUE(testsupport::Logged("Table has already been created."));
        EXPECT_FALSE(testsupport::Logged("Table was not created before..."));
        ASSERT_TRUE(store.FindItem(CDBCriteria(), rows));
        ASSERT_EQ(rows.size(), 1u);
        EXPECT_EQ(rows[0].m_sTitle, "kept");
    } else if (mode == "unopenable") {
        EXPECT_TRUE(testsupport::LoggedOn(2, "Open DB file [" + path + "] failed."));
        CRemindInfo item;
        EXPECT_FALSE(store.AddItem(item));
        EXPECT_FALSE(store.FindItem(CDBCriteria(), rows));
        EXPECT_FALSE(testsupport::LogLinesContaining("Prepare statement failed.").empty());
    } else {
        FAIL() << "unknown mode " << mode;
    }
}

}  // namespace
