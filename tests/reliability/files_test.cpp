// The file under stress: another process holding it, a file-size limit that makes writes fail,
// and files that are read-only, corrupt or no database at all. Whatever the library answers, an
// acknowledged booking must be in the file, and nothing may crash.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Booking.h"
#include "ReliabilitySupport.h"
#include "ReminderAPI.h"

namespace reliability {
namespace {

// db_locker holding the file from when it says "ready" until it commits after `holdMs`.
class Locker {
public:
    explicit Locker(int holdMs)
        : m_child({RELIABILITY_DB_LOCKER, DatabasePath(), std::to_string(holdMs)}) {}
    bool WaitUntilHeld() { return m_child.ReadLine(10000) == "ready"; }
    bool Finish() { return m_child.Wait(20000) == 0; }

private:
    Child m_child;
};

std::string StoredSynopsis(unsigned long uid) {
    CRemindInfo stored;
    CDBCriteria criteria;
    criteria.Where(CDBCriteria::CRITERIA_UID, uid);
    std::vector<CRemindInfo> rows;
    if (!CDBControl::GetInstance()->FindItem(criteria, rows) || rows.empty()) return "<none>";
    return rows.front().m_sSynopsis;
}

// One add and one update while another process holds the file for `holdMs`; the number of
// acknowledged writes that are not in the file afterwards. `status` is the store status that the
// update left for this thread.
long WritesLostWhileHeld(int holdMs, bool* added, bool* updated, int* status) {
    CReminderAPI* api = CReminderAPI::GetInstance();
    CRemindInfo first = Booking("held-first", 1);
    EXPECT_TRUE(api->AddRemindItem(first, false, false));
    const unsigned long uid = UidOf("held-first");

    Locker locker(holdMs);
    EXPECT_TRUE(locker.WaitUntilHeld());
    CRemindInfo second = Booking("held-second", 2);
    *added = api->AddRemindItem(second, false, false);
    CRemindInfo changed = first;
    changed.m_sSynopsis = "changed while held";
    *updated = api->UpdateRemindItemByUid(uid, changed, false, false, false);
    *status = CReminderAPI::LastStoreError();
    EXPECT_TRUE(locker.Finish());

    long lost = 0;
    if (*added && UidOf("held-second") == 0) ++lost;
    if (*updated && StoredSynopsis(uid) != "changed while held") ++lost;
    return lost;
}

TEST(FilesTest, HeldHalfASecondWritesSucceedLate) {
    bool added = false;
    bool updated = false;
    int status = -1;
    const long lost = WritesLostWhileHeld(500, &added, &updated, &status);
    Figure("add_acknowledged", added ? 1 : 0);
    Figure("update_acknowledged", updated ? 1 : 0);
    Figure("acknowledged_writes_lost", lost);
    EXPECT_TRUE(added);
    EXPECT_TRUE(updated);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(lost, 0);
    EXPECT_EQ(IntegrityCheck(DatabasePath()), "ok");
}

TEST(FilesTest, HeldFourAndAHalfSecondsWritesFailAndSaySo) {
    bool added = true;
    bool updated = true;
    int status = 0;
    const long lost = WritesLostWhileHeld(4500, &added, &updated, &status);
    Figure("add_acknowledged", added ? 1 : 0);
    Figure("update_acknowledged", updated ? 1 : 0);
    Figure("acknowledged_writes_lost", lost);
    EXPECT_FALSE(added);
    EXPECT_FALSE(updated);
    EXPECT_NE(status, 0) << "the failure must be told from an empty answer";
    EXPECT_EQ(lost, 0);
    EXPECT_EQ(IntegrityCheck(DatabasePath()), "ok");
}

// A worker adding to the file at `path`; the titles it acknowledged and refused, and how it
// ended.
struct AddRun {
    std::set<std::string> acked;
    long refused = 0;
    int status = -1;
};

AddRun RunAdds(const std::string& path, const std::vector<std::string>& args) {
    Child worker(Worker(args), {{"REMINDER_DB_PATH", path}});
    AddRun run;
    run.status = worker.Wait(60000);
    for (const std::string& line : worker.ReadAvailable()) {
        if (line.rfind("ack ", 0) == 0) run.acked.insert(line.substr(4));
        if (line.rfind("nack ", 0) == 0) ++run.refused;
    }
    return run;
}

long MissingFrom(const std::string& path, const std::set<std::string>& acked) {
    std::multiset<std::string> stored;
    if (!StoredTitles(path, &stored)) return static_cast<long>(acked.size());
    long missing = 0;
    for (const std::string& title : acked) missing += stored.count(title) == 0 ? 1 : 0;
    return missing;
}

std::string FileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

void ReportDamagedRun(const AddRun& run, long lost) {
    Figure("acknowledged", static_cast<long>(run.acked.size()));
    Figure("refused", run.refused);
    Figure("acknowledged_writes_lost", lost);
    Figure("crashed", run.status > 128 ? 1 : 0);
}

TEST(FilesTest, WriteErrorsFromAFileSizeLimitAreNeverAcknowledged) {
    const std::string path = TempDatabase("fsize.db");
    ASSERT_EQ(RunAdds(path, {"add", "2", "100"}).status, 0);
    struct stat info = {};
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    // Room for a handful of 4 KB bookings, then every write hits the limit.
    const long limit = static_cast<long>(info.st_size) + 24 * 1024;
    const AddRun run = RunAdds(path, {"add", "40", "4096", std::to_string(limit)});
    const long lost = MissingFrom(path, run.acked);
    ReportDamagedRun(run, lost);
    Figure("integrity", IntegrityCheck(path));
    EXPECT_EQ(run.status, 0);
    EXPECT_GT(run.refused, 0) << "the limit never bit";
    EXPECT_EQ(lost, 0);
    EXPECT_EQ(IntegrityCheck(path), "ok");
}

TEST(FilesTest, ReadOnlyFileRefusesWritesAndKeepsItsRows) {
    const std::string path = TempDatabase("readonly.db");
    ASSERT_EQ(RunAdds(path, {"add", "2", "100"}).status, 0);
    ASSERT_EQ(chmod(path.c_str(), 0444), 0);
    const std::string before = FileBytes(path);
    // Root writes any file, so the worker gives up root first.
    const AddRun run = RunAdds(path, {"--as-nobody", "add", "5", "100"});
    const long lost = MissingFrom(path, run.acked);
    ReportDamagedRun(run, lost);
    chmod(path.c_str(), 0644);
    ASSERT_NE(run.status, 4) << "could not drop root";
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(lost, 0);
    EXPECT_EQ(run.acked.size(), 0u);
    EXPECT_EQ(FileBytes(path), before);
}

TEST(FilesTest, CorruptFileNeitherCrashesNorAcknowledgesLostWrites) {
    const std::string path = TempDatabase("corrupt.db");
    ASSERT_EQ(RunAdds(path, {"add", "10", "2000"}).status, 0);
    {
        // Garbage over the table's pages, past the file header and the schema page.
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(4096);
        const std::string garbage(8192, '\xA5');
        file.write(garbage.data(), static_cast<std::streamsize>(garbage.size()));
    }
    const AddRun run = RunAdds(path, {"add", "5", "100"});
    const long lost = MissingFrom(path, run.acked);
    ReportDamagedRun(run, lost);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(lost, 0);
}

TEST(FilesTest, NonDatabaseFileIsLeftAloneAndNothingIsAcknowledged) {
    const std::string path = TempDatabase("notadb.db");
    std::string text;
    while (text.size() < 8192) text += "This is a text file, not a booking database.\n";
    std::ofstream(path, std::ios::binary) << text;
    const AddRun run = RunAdds(path, {"add", "5", "100"});
    const long lost = MissingFrom(path, run.acked);
    ReportDamagedRun(run, lost);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(lost, 0);
    EXPECT_EQ(run.acked.size(), 0u);
    EXPECT_EQ(FileBytes(path), text);
}

}  // namespace
}  // namespace reliability
