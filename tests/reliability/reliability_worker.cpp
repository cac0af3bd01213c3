// The other processes of the reliability suite, through the facade on the file and bus of the
// environment. Each fact goes to standard output at once, so a process killed at any moment has
// reported exactly what it was told. "--as-nobody" first drops root, so file permissions hold.
//   storm ID CAP   adds "wID-<pid>-<n>" forever ("add <title>"); with CAP rows of its own it
//                  deletes the oldest ("deleting <title>" before the call, "del <title>" after)
//   add N BYTES [LIMIT]  N adds with a synopsis of BYTES bytes ("ack"/"nack <title>"), under a
//                  file-size limit of LIMIT bytes when given; then "done"
//   threads N      four threads of N mixed operations; "ack <title>" per acknowledged add
//   buswriter      "register <ms>", "added <ms> 1|0", then a change every 100 ms ("wrote <ms>
//                  1|0"), each with an event; "heard <count>" per event heard
//   stall          proves its subscription, says "ready", stalls its main loop until a line on
//                  standard input, then says "heard <count>"
//   limit TITLE    adds one booking; "ack" or "nack"
#include <gio/gio.h>
#include <pwd.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <deque>
#include <iostream>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Booking.h"
#include "ReminderAPI.h"
#include "reminder_api.h"

namespace {

using reliability::Booking;
using reliability::UidOf;

void Say(const std::string& line) {
    static std::mutex mutex;
    std::lock_guard<std::mutex> lock(mutex);
    std::fputs((line + "\n").c_str(), stdout);
    std::fflush(stdout);
}

CReminderAPI* Api() {
    return CReminderAPI::GetInstance();
}

int Storm(const std::string& id, size_t cap) {
    const std::string prefix = "w" + id + "-";
    // Rows left by earlier incarnations of this writer are its own too, oldest first.
    std::deque<std::pair<unsigned long, std::string>> own;
    std::vector<CRemindInfo> rows;
    CDBControl::GetInstance()->FindItem(CDBCriteria(), rows);
    for (const CRemindInfo& r : rows)
        if (r.m_sTitle.rfind(prefix, 0) == 0) own.emplace_back(r.m_nUid, r.m_sTitle);
    for (unsigned n = 0;; ++n) {
        if (own.size() >= cap) {
            // Said first: killed between the delete and "del", the row is gone unacknowledged.
            Say("deleting " + own.front().second);
            if (Api()->DeleteRemindItemByUid(own.front().first, false)) {
                Say("del " + own.front().second);
                own.pop_front();
            }
            continue;
        }
        const std::string title = prefix + std::to_string(getpid()) + "-" + std::to_string(n);
        CRemindInfo item = Booking(title, n);
        if (!Api()->AddRemindItem(item, false, false)) continue;
        Say("add " + title);
        if (const unsigned long uid = UidOf(title)) own.emplace_back(uid, title);
    }
}

int Add(int count, size_t bytes, long limit) {
    const rlimit fsize = {static_cast<rlim_t>(limit), static_cast<rlim_t>(limit)};
    if (limit > 0 && (signal(SIGXFSZ, SIG_IGN) == SIG_ERR || setrlimit(RLIMIT_FSIZE, &fsize))) {
        return 3;
    }
    for (int i = 0; i < count; ++i) {
        const std::string title = "a-" + std::to_string(getpid()) + "-" + std::to_string(i);
        CRemindInfo item = Booking(title, static_cast<unsigned>(i));
        item.m_sSynopsis.assign(bytes, static_cast<char>('a' + i % 26));
        Say((Api()->AddRemindItem(item, false, false) ? "ack " : "nack ") + title);
    }
    Say("done");
    return 0;
}

// Adds, reads, updates another thread's booking (its synopsis; the title stays) and asks.
void MixedOperations(int thread, int count) {
    for (int i = 0; i < count; ++i) {
        const std::string title =
            "t" + std::to_string(thread) + "-" + std::to_string(getpid()) + "-" + std::to_string(i);
        CRemindInfo item = Booking(title, static_cast<unsigned>(thread * 1000 + i));
        std::vector<CRemindInfo> list;
        if (i % 4 == 0 && Api()->AddRemindItem(item, false, false)) Say("ack " + title);
        if (i % 4 == 1 || i % 4 == 2) {
            Api()->GetRemindItemsByType(REM_EXTRACT_ALL_BOOKINGS, list);
            Api()->GetRemindItemCnt();
        } else if (i % 4 == 3) {
            Api()->FlagReminderListIsFull();
            Api()->DeleteRemindItemByUid(REMINDER_INVALID_UID - 1, false);
        }
        if (i % 4 == 2 && !list.empty()) {
            CRemindInfo changed = list[static_cast<size_t>(i) % list.size()];
            changed.m_sSynopsis = title;
            Api()->UpdateRemindItemByUid(changed.m_nUid, changed, false, false, false);
        }
    }
}

int Threads(int perThread) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) threads.emplace_back(MixedOperations, t, perThread);
    for (std::thread& thread : threads) thread.join();
    Say("done");
    return 0;
}

// Runs the default main context for `ms` milliseconds.
void Iterate(int ms) {
    for (const gint64 end = g_get_monotonic_time() + gint64{ms} * 1000;
         g_get_monotonic_time() < end;) {
        if (!g_main_context_iteration(nullptr, FALSE)) g_usleep(1000);
    }
}

std::atomic<int> g_heard{0};   // list-changed events
std::atomic<int> g_probes{0};  // any other event
bool g_quiet = false;          // counts without a line per event

void Count(void*, TReminderEvent* event) {
    if (event->nEvent != REMINDER_EVENT_LIST_CHANGED) ++g_probes;
    if (event->nEvent == REMINDER_EVENT_LIST_CHANGED && ++g_heard > 0 && !g_quiet)
        Say("heard " + std::to_string(g_heard));
}

long MsSince(std::chrono::steady_clock::time_point* start) {
    const auto now = std::chrono::steady_clock::now();
    const auto taken = std::chrono::duration_cast<std::chrono::milliseconds>(now - *start);
    *start = now;
    return static_cast<long>(taken.count());
}

int BusWriter() {
    auto start = std::chrono::steady_clock::now();
    Api()->RegisterEventCB(&Count, nullptr);
    Say("register " + std::to_string(MsSince(&start)));
    CRemindInfo item = Booking("bus writer", 1);
    const bool added = Api()->AddRemindItem(item, false, true);
    Say("added " + std::to_string(MsSince(&start)) + (added ? " 1" : " 0"));
    const unsigned long uid = UidOf("bus writer");
    for (unsigned n = 0; added; ++n) {
        item.m_sSynopsis = std::to_string(n);
        const bool wrote = Api()->UpdateRemindItemByUid(uid, item, false, false, true);
        Say("wrote " + std::to_string(MsSince(&start)) + (wrote ? " 1" : " 0"));
        Iterate(100);
        MsSince(&start);
    }
    return 1;
}

int Stall() {
    g_quiet = true;
    Api()->RegisterEventCB(&Count, nullptr);
    // Hearing our own probe proves that the subscription is in place at the bus.
    const TReminderEvent probe = {2, 0, 0, 0, PT_PARAM_TYPE_NONE};
    for (int i = 0; i < 50 && g_probes == 0; ++i) {
        reminder_send_event(&probe);
        Iterate(100);
    }
    if (g_probes == 0) return 1;
    Say("ready");
    std::string line;
    std::getline(std::cin, line);
    Iterate(1000);
    Say("heard " + std::to_string(g_heard));
    return 0;
}

bool DropRoot() {
    const passwd* nobody = getpwnam("nobody");
    return geteuid() != 0 ||
           (nobody != nullptr && setgid(nobody->pw_gid) == 0 && setuid(nobody->pw_uid) == 0);
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (!args.empty() && args[0] == "--as-nobody") {
        if (!DropRoot()) return 4;
        args.erase(args.begin());
    }
    const std::string mode = args.empty() ? "" : args[0];
    const size_t n = args.size();
    if (mode == "storm" && n == 3) return Storm(args[1], std::stoul(args[2]));
    if (mode == "add" && n >= 3)
        return Add(std::stoi(args[1]), std::stoul(args[2]), n > 3 ? std::stol(args[3]) : 0);
    if (mode == "threads" && n == 2) return Threads(std::stoi(args[1]));
    if (mode == "buswriter") return BusWriter();
    if (mode == "stall") return Stall();
    if (mode == "limit" && n == 2) {
        CRemindInfo item = Booking(args[1], static_cast<unsigned>(getpid()));
        Say(Api()->AddRemindItem(item, false, false) ? "ack" : "nack");
        return 0;
    }
    std::cerr << "usage: see the head of reliability_worker.cpp" << std::endl;
    return 2;
}
