// db_locker <database> <hold-ms>: holds an exclusive lock on the booking file from a second
// process. It inserts one row titled "held by locker", prints "ready" once the lock is held,
// keeps it for <hold-ms> milliseconds and commits. Exit status 0 when everything succeeded.
#include <sqlite3.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

int Fail(sqlite3* db, const char* what) {
    std::fprintf(stderr, "db_locker: %s: %s\n", what, db != nullptr ? sqlite3_errmsg(db) : "");
    sqlite3_close(db);
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: db_locker <database> <hold-ms>\n");
        return 2;
    }
    const long holdMs = std::strtol(argv[2], nullptr, 10);

    sqlite3* db = nullptr;
    if (sqlite3_open_v2(argv[1], &db, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
        return Fail(db, "open");
    }
    // The test process may be finishing a statement of its own; wait for it.
    sqlite3_busy_timeout(db, 5000);
    if (sqlite3_exec(db, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr) != SQLITE_OK) {
        return Fail(db, "begin");
    }
    if (sqlite3_exec(db, "INSERT INTO Items (Title) VALUES ('held by locker')", nullptr, nullptr,
                     nullptr) != SQLITE_OK) {
        return Fail(db, "insert");
    }
    std::printf("ready\n");
    std::fflush(stdout);
    usleep(static_cast<useconds_t>(holdMs) * 1000);
    if (sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) != SQLITE_OK) {
        return Fail(db, "commit");
    }
    sqlite3_close(db);
    return 0;
}
