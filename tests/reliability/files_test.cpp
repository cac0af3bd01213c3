// The file under stress: another process holding it, a file-size limit that makes writes fail,
// and files that are read-only, corrupt or no database at all. Whatever the library answers, an
// acknowledged booking must be in the file, and nothing may crash.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Booking.h"
#include "ReliabilitySupport.h"
#include "ReminderAPI.h"

namespace reliability {
namespace {

std::string StoredSynopsis(unsigned long uid) {
    CDBCriteria criteria;
    criteria.Where(CDBCriteria::CRITERIA_UID, uid);
    std::vector<CRemindInfo> rows;
    CDBControl::GetInstance()->FindItem(criteria, rows);
    return rows.empty() ? "<none>" : rows.front().m_sSynopsis;
}

// An add and an update while db_locker holds the file: half a second is waited out, four and a
// half seconds fail and say so (a status the caller can tell from an empty answer), and leave
// nothing behind once the file is free again.
TEST(FilesTest, WritesWhileAnotherProcessHoldsTheFileAreAcknowledgedOnlyWhenStored) {
    CReminderAPI* api = CReminderAPI::GetInstance();
    for (const int holdMs : {500, 4500}) {
        SCOPED_TRACE(holdMs);
        const bool expected = holdMs < 1000;
        const std::string first = "held-" + std::to_string(holdMs);
        CRemindInfo item = Booking(first, static_cast<unsigned>(holdMs));
        ASSERT_TRUE(api->AddRemindItem(item, false, false));
        const unsigned long uid = UidOf(first);

        Child locker({RELIABILITY_DB_LOCKER, DatabasePath(), std::to_string(holdMs)});
        ASSERT_EQ(locker.ReadLine(10000), "ready");
        CRemindInfo second = Booking(first + "-second", static_cast<unsigned>(holdMs) + 1);
        const bool added = api->AddRemindItem(second, false, false);
        item.m_sSynopsis = "changed while held";
        const bool updated = api->UpdateRemindItemByUid(uid, item, false, false, false);
        const int status = CReminderAPI::LastStoreError();
        EXPECT_EQ(locker.Wait(20000), 0);

        const long lost = (added && UidOf(first + "-second") == 0) +
                          (updated && StoredSynopsis(uid) != "changed while held");
        Figures({{"hold_ms", holdMs},
                 {"add_acknowledged", added},
                 {"update_acknowledged", updated},
                 {"acknowledged_writes_lost", lost}});
        EXPECT_EQ(added, expected);
        EXPECT_EQ(updated, expected);
        EXPECT_EQ(status == 0, expected);
        EXPECT_EQ(lost, 0);
        // A refusal is honest too: what was refused is not in the file either.
        EXPECT_EQ(UidOf(first + "-second") != 0, added);
        EXPECT_EQ(StoredSynopsis(uid) == "changed while held", updated);
        EXPECT_EQ(IntegrityCheck(DatabasePath()), "ok");
    }
}

std::string FileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

// Worker lines of adds to the file at `path`; `status` is how the worker ended.
std::vector<std::string> RunAdds(const std::string& path, const std::vector<std::string>& args,
                                 int* status) {
    Child worker(Worker(args), {{"REMINDER_DB_PATH", path}});
    *status = worker.Wait(60000);
    return worker.ReadAvailable();
}

TEST(FilesTest, DamagedFilesNeitherCrashNorLoseAcknowledgedWrites) {
    const struct {
        std::string name;
        const char* seedRows;  // written first, with a synopsis of `seedBytes` each
        const char* seedBytes;
        std::vector<std::string> args;  // of the worker's run on the damaged file
    } cases[] = {
        // Room for a handful of 4 KB bookings, then every write hits the limit.
        {"file-size limit", "2", "100", {"add", "40", "4096", "<24 KB more>"}},
        // Root writes any file, so the worker gives up root first.
        {"read-only", "2", "100", {"--as-nobody", "add", "5", "100"}},
        // Garbage over the table's pages, past the file header and the schema page.
        {"corrupt", "10", "2000", {"add", "5", "100"}},
        {"not a database", "0", "0", {"add", "5", "100"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = DatabasePath() + "-damaged";
        std::remove(path.c_str());
        std::remove((path + "-journal").c_str());
        int status = -1;
        RunAdds(path, {"add", c.seedRows, c.seedBytes}, &status);
        ASSERT_EQ(status, 0);
        std::vector<std::string> args = c.args;
        struct stat info = {};
        stat(path.c_str(), &info);
        if (c.name == "file-size limit") args.back() = std::to_string(info.st_size + 24 * 1024);
        if (c.name == "read-only") chmod(path.c_str(), 0444);
        if (c.name == "corrupt") {
            std::fstream(path, std::ios::in | std::ios::out | std::ios::binary).seekp(4096)
                << std::string(8192, '\xA5');
        }
        if (c.name == "not a database") {
            std::ofstream text(path, std::ios::binary);
            for (int i = 0; i < 200; ++i) text << "This is a text file, not a booking database.\n";
        }
        const std::string before = FileBytes(path);
        const std::vector<std::string> lines = RunAdds(path, args, &status);
        chmod(path.c_str(), 0644);
        const std::set<std::string> acked = Titles(lines, "ack ");
        const long refused = static_cast<long>(Titles(lines, "nack ").size());
        const long lost = Missing(path, acked);
        Figures({{"case", c.name},
                 {"acknowledged", acked.size()},
                 {"refused", refused},
                 {"acknowledged_writes_lost", lost},
                 {"crashed", status > 128}});
        ASSERT_NE(status, 4) << "could not drop root";
        EXPECT_EQ(status, 0);
        EXPECT_EQ(lost, 0);
        // A file that cannot be written keeps every byte and acknowledges nothing.
        if (c.name == "read-only" || c.name == "not a database") {
            EXPECT_EQ(acked.size(), 0u);
            EXPECT_EQ(FileBytes(path), before);
        }
        if (c.name == "file-size limit") {
            EXPECT_GT(refused, 0) << "the limit never bit";
            EXPECT_EQ(IntegrityCheck(path), "ok");
        }
        std::remove(path.c_str());
    }
}

}  // namespace
}  // namespace reliability
