// Threads of one process calling the facade at once: the facade serialises every call, so four
// threads of mixed adds, reads, updates and deletions neither crash nor lose or invent a
// booking, and the file stays sound. Built with -DREMINDER_SANITIZE_THREAD=ON this also runs
// under the thread sanitizer.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "DataControl.h"
#include "EngineTest.h"
#include "ReminderAPI.h"

namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 9;  // at most 28 bookings at once: under the limit of 30

struct SThreadResult {
    std::set<unsigned> kept;  // event ids this thread added and did not delete
    int failures = 0;
};

// One thread: adds a booking per round, reads the list and the count, renames one of its own
// bookings and deletes every third one it added.
void Work(int index, SThreadResult& result) {
    CReminderAPI* api = CReminderAPI::GetInstance();
    std::vector<unsigned long> mine;
    for (int round = 0; round < kRounds; ++round) {
        const unsigned event = static_cast<unsigned>(1000 + index * 100 + round);
        CRemindInfo item =
            testsupport::Booking(REMINDER_RESERVE_VIEWING, 1001, static_cast<uint16_t>(event),
                                 testsupport::kLocalNow + 600 + 60 * event, 60);
        if (!api->AddRemindItem(item, false, false)) {
            ++result.failures;
            continue;
        }
        std::vector<CRemindInfo> list;
        api->GetRemindItemsByType(REM_EXTRACT_ALL_BOOKINGS, list);
        unsigned long uid = 0;
        for (const CRemindInfo& e : list) uid = e.m_nEventId == event ? e.m_nUid : uid;
        if (uid == 0 || api->GetRemindItemCnt() <= 0) ++result.failures;
        mine.push_back(uid);
        result.kept.insert(event);
        CRemindInfo stored;
        if (!api->GetRemindItemByUid(uid, stored)) ++result.failures;
        stored.m_sSynopsis = "renamed in round " + std::to_string(round);
        if (!api->UpdateRemindItemByUid(uid, stored, false, false, false)) ++result.failures;
        if (round % 3 != 2) continue;
        if (api->DeleteRemindItemByUid(mine[mine.size() - 2], true))
            result.kept.erase(event - 1);
        else
            ++result.failures;
    }
}

TEST(FacadeThreadsTest, FourThreadsOfMixedOperations) {
    testsupport::LoadSampleTelevision();
    testsupport::ClearStore();
    // Deletions announce the change; here no bus answers, which the library shrugs off.
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/system_bus_socket", 1);

    SThreadResult results[kThreads];
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) threads.emplace_back(Work, t, std::ref(results[t]));
    for (std::thread& thread : threads) thread.join();

    std::set<unsigned> expected, stored;
    for (const SThreadResult& r : results) {
        EXPECT_EQ(r.failures, 0);
        expected.insert(r.kept.begin(), r.kept.end());
    }
    std::vector<CRemindInfo> list;
    CReminderAPI::GetInstance()->GetRemindItemsByType(REM_EXTRACT_ALL_BOOKINGS, list);
    for (const CRemindInfo& e : list) {
        stored.insert(e.m_nEventId);
        EXPECT_EQ(e.m_sSynopsis.rfind("renamed in round ", 0), 0u);
    }
    EXPECT_EQ(stored, expected);
    EXPECT_EQ(list.size(), static_cast<size_t>(kThreads * (kRounds - kRounds / 3)));

    sqlite3* raw = nullptr;
    sqlite3_open_v2(CDBControl::DatabasePath().c_str(), &raw, SQLITE_OPEN_READONLY, nullptr);
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> db(raw, &sqlite3_close);
    sqlite3_stmt* check = nullptr;
    sqlite3_prepare_v2(db.get(), "PRAGMA integrity_check", -1, &check, nullptr);
    ASSERT_EQ(sqlite3_step(check), SQLITE_ROW);
    EXPECT_STREQ(reinterpret_cast<const char*>(sqlite3_column_text(check, 0)), "ok");
    sqlite3_finalize(check);
}

}  // namespace
