// Rows the library did not write: another program, an older release or a damaged file may leave
// any value of any type in any column of Items. The fuzzer writes such a row with a connection of
// its own, then reads it back through the store and the facade's list operations, which must
// never crash whatever the row holds.
#include <fuzzer/FuzzedDataProvider.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "DataControl.h"
#include "ReminderAPI.h"
#include "tvsim/tvsim.h"

namespace {

constexpr int kColumns = 58;  // UID and the 57 columns after it
sqlite3* g_db = nullptr;

std::string DatabaseFile() {
    const std::string dir = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    return dir + "/reminder-fuzz-" + std::to_string(getpid()) + ".db";
}

void RemoveDatabase() {
    const char* path = std::getenv("REMINDER_DB_PATH");
    if (path != nullptr) unlink(path);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    const std::string path = DatabaseFile();
    unlink(path.c_str());
    setenv("REMINDER_DB_PATH", path.c_str(), 1);
    setenv("TVSIM_PROFILE", REMINDER_SAMPLE_PROFILE, 0);
    // No bus: the list operations must not wait for one.
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/reminder-fuzz-bus", 1);
    atexit(RemoveDatabase);
    CDBControl::GetInstance();  // creates the table
    sqlite3_open_v2(path.c_str(), &g_db, SQLITE_OPEN_READWRITE, nullptr);
    sqlite3_exec(g_db, "PRAGMA synchronous = OFF", nullptr, nullptr, nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    sqlite3_exec(g_db, "DELETE FROM Items", nullptr, nullptr, nullptr);
    std::string sql = "INSERT INTO Items VALUES (";
    for (int i = 0; i < kColumns; ++i) sql += i == 0 ? "?" : ", ?";
    sql += ")";
    sqlite3_stmt* insert = nullptr;
    if (sqlite3_prepare_v2(g_db, sql.c_str(), -1, &insert, nullptr) != SQLITE_OK) return 0;
    for (int column = 1; column <= kColumns && input.remaining_bytes() > 0; ++column) {
        switch (input.ConsumeIntegralInRange<int>(0, 4)) {
            case 0:
                sqlite3_bind_int64(insert, column, input.ConsumeIntegral<int64_t>());
                break;
            case 1:
                sqlite3_bind_double(insert, column, input.ConsumeFloatingPoint<double>());
                break;
            case 2: {
                const std::string text = input.ConsumeRandomLengthString(512);
                sqlite3_bind_text(insert, column, text.data(), static_cast<int>(text.size()),
                                  SQLITE_TRANSIENT);
                break;
            }
            case 3: {
                const std::vector<uint8_t> blob =
                    input.ConsumeBytes<uint8_t>(input.ConsumeIntegralInRange<size_t>(0, 64));
                sqlite3_bind_blob(insert, column, blob.data(), static_cast<int>(blob.size()),
                                  SQLITE_TRANSIENT);
                break;
            }
            default:
                break;  // NULL
        }
    }
    sqlite3_step(insert);  // a UID that is not an integer is refused: then the table is empty
    sqlite3_finalize(insert);

    std::vector<CRemindInfo> rows;
    CDBControl::GetInstance()->FindItem(CDBCriteria(), rows);
    for (const CRemindInfo& row : rows) (void)row.ToString();
    CReminderAPI* api = CReminderAPI::GetInstance();
    std::vector<CRemindInfo> list;
    api->GetRemindItemsByType(REM_EXTRACT_ALL_BOOKINGS, list);
    api->GetRemindItemCnt();
    api->FlagReminderListIsFull();
    // The simulated log keeps every line; emptied per input, so memory stays flat and the leak
    // check sees each input's allocations freed.
    tvsim::ClearLogs();
    return 0;
}
