// Main of every test binary. Each process gets its own database file (removed at exit), the
// sample television unless the test names another, the private test bus and the build tree's
// message catalogue, so that no test touches the machine's own system bus or another test's data.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

std::string g_dbPath;

void RemoveDatabase() {
    if (g_dbPath.empty()) return;
    std::remove(g_dbPath.c_str());
    std::remove((g_dbPath + "-journal").c_str());
}

void PrepareEnvironment() {
    if (std::getenv("REMINDER_DB_PATH") == nullptr) {
        const char* tmp = std::getenv("TMPDIR");
        g_dbPath = std::string(tmp != nullptr ? tmp : "/tmp") + "/reminder-test-" +
                   std::to_string(getpid()) + ".db";
        std::remove(g_dbPath.c_str());
        setenv("REMINDER_DB_PATH", g_dbPath.c_str(), 1);
        std::atexit(RemoveDatabase);
    }
    setenv("TVSIM_PROFILE", REMINDER_SAMPLE_PROFILE, 0);
    setenv("DBUS_SYSTEM_BUS_ADDRESS", REMINDER_TEST_BUS_ADDRESS, 0);
    setenv("REMINDER_LOCALE_DIR", REMINDER_BUILD_LOCALE_DIR, 0);
}

}  // namespace

int main(int argc, char** argv) {
    PrepareEnvironment();
    ::testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
