// The file under stress: another process holding it, a file-size limit that makes writes fail,
// and files that are read-only, corrupt or no database at all. Whatever the library answers, an
// acknowledged booking must be in the file, and nothing may crash.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <functional>
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
// half seconds fail and say so (a status the caller can tell from an empty answer).
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
    struct SCase {
        const char* name;
        // Prepares the file at `path` and gives the worker's arguments.
        std::function<std::vector<std::string>(const std::string& path)> prepare;
        bool untouched;  // nothing may be acknowledged, the file keeps every byte
    };
    const auto seed = [](const std::string& path, const char* count, const char* bytes) {
        int status = -1;
        RunAdds(path, {"add", count, bytes}, &status);
        EXPECT_EQ(status, 0);
    };
    const SCase cases[] = {
        // Room for a handful of 4 KB bookings, then every write hits the limit.
        {"file-size limit",
         [&](const std::string& path) {
             seed(path, "2", "100");
             struct stat info = {};
             stat(path.c_str(), &info);
             return std::vector<std::string>{"add", "40", "4096",
                                             std::to_string(info.st_size + 24 * 1024)};
         },
         false},
        // Root writes any file, so the worker gives up root first.
        {"read-only",
         [&](const std::string& path) {
             seed(path, "2", "100");
             chmod(path.c_str(), 0444);
             return std::vector<std::string>{"--as-nobody", "add", "5", "100"};
         },
         true},
        // Garbage over the table's pages, past the file header and the schema page.
        {"corrupt",
         [&](const std::string& path) {
             seed(path, "10", "2000");
             std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
             file.seekp(4096);
             file << std::string(8192, '\xA5');
             return std::vector<std::string>{"add", "5", "100"};
         },
         false},
        {"not a database",
         [](const std::string& path) {
             std::ofstream text(path, std::ios::binary);
             for (int i = 0; i < 200; ++i) text << "This is a text file, not a booking database.\n";
             return std::vector<std::string>{"add", "5", "100"};
         },
         true},
    };
    for (const SCase& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = DatabasePath() + "-" + std::to_string(&c - cases);
        std::remove(path.c_str());
        const std::vector<std::string> args = c.prepare(path);
        const std::string before = FileBytes(path);
        int status = -1;
        const std::vector<std::string> lines = RunAdds(path, args, &status);
        chmod(path.c_str(), 0644);
        const std::set<std::string> acked = Titles(lines, "ack ");
        const long refused = static_cast<long>(Titles(lines, "nack ").size());
        const long lost = Missing(path, acked);
        Figures({{"case", std::string(c.name)},
                 {"acknowledged", acked.size()},
                 {"refused", refused},
                 {"acknowledged_writes_lost", lost},
                 {"crashed", status > 128}});
        ASSERT_NE(status, 4) << "could not drop root";
        EXPECT_EQ(status, 0);
        EXPECT_EQ(lost, 0);
        if (c.untouched) {
            EXPECT_EQ(acked.size(), 0u);
            EXPECT_EQ(FileBytes(path), before);
        } else if (std::string(c.name) == "file-size limit") {
            EXPECT_GT(refused, 0) << "the limit never bit";
            EXPECT_EQ(IntegrityCheck(path), "ok");
        }
        std::remove(path.c_str());
    }
}

}  // namespace
}  // namespace reliability
