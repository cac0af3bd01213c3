// The other processes of the reliability suite. Each mode works through the facade against the
// file and bus named by the environment (REMINDER_DB_PATH, DBUS_SYSTEM_BUS_ADDRESS, TVSIM_PROFILE)
// and reports on standard output, one line per fact, flushed at once so that a process killed at
// any moment has reported exactly what it was told:
//   storm ID CAP      forever: add a booking "wID-<pid>-<n>" ("add <title>" once acknowledged);
//                     with CAP of its own rows stored, delete the oldest first ("deleting
//                     <title>" before the call, "del <title>" once acknowledged)
//   add N BYTES [LIMIT]  N bookings with a synopsis of BYTES bytes ("ack"/"nack <title>"), under
//                     a file-size limit of LIMIT bytes when given (SIGXFSZ ignored); then "done"
//   threads N         four threads of N mixed operations each; "ack <title>" per acknowledged add
//   buswriter         registers a callback, then changes one booking every 100 ms with an event
//                     and prints "heard <count>" as events arrive
//   hang              registers and adds one booking with an event; prints how long each took
//   stall             registers, proves the subscription, prints "ready" and lets its main loop
//                     stall until a line on standard input; then "heard <count>"
//   limit TITLE       adds one booking; "ack" or "nack"
// A first argument "--as-nobody" drops root first, so that file permissions hold.
#include <gio/gio.h>
#include <pwd.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <iostream>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Booking.h"
#include "DataControl.h"
#include "ReminderAPI.h"
#include "ReminderAPIUtil.h"
#include "reminder_api.h"

namespace {

std::mutex g_outMutex;

void Say(const std::string& line) {
    std::lock_guard<std::mutex> lock(g_outMutex);
    std::fputs((line + "\n").c_str(), stdout);
    std::fflush(stdout);
}

using reliability::Booking;
using reliability::UidOf;

int Storm(const std::string& id, size_t cap) {
    CReminderAPI* api = CReminderAPI::GetInstance();
    const std::string prefix = "w" + id + "-";
    // Rows left by earlier incarnations of this writer are its own too, oldest first.
    std::deque<std::pair<unsigned long, std::string>> own;
    std::vector<CRemindInfo> rows;
    CDBControl::GetInstance()->FindItem(CDBCriteria(), rows);
    for (const CRemindInfo& r : rows) {
        if (r.m_sTitle.compare(0, prefix.size(), prefix) == 0)
            own.emplace_back(r.m_nUid, r.m_sTitle);
    }
    const std::string mine = prefix + std::to_string(getpid()) + "-";
    for (unsigned n = 0;; ++n) {
        if (own.size() >= cap) {
            // Said first: killed after the delete but before "del", the row is gone unacknowledged.
            Say("deleting " + own.front().second);
            if (api->DeleteRemindItemByUid(own.front().first, false)) {
                Say("del " + own.front().second);
                own.pop_front();
            }
            continue;
        }
        const std::string title = mine + std::to_string(n);
        CRemindInfo item = Booking(title, n);
        if (!api->AddRemindItem(item, false, false)) continue;
        Say("add " + title);
        const unsigned long uid = UidOf(title);
        if (uid != 0) own.emplace_back(uid, title);
    }
}

int Add(int count, size_t bytes, long limit) {
    if (limit > 0) {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit fsize = {static_cast<rlim_t>(limit), static_cast<rlim_t>(limit)};
        if (setrlimit(RLIMIT_FSIZE, &fsize) != 0) return 3;
    }
    CReminderAPI* api = CReminderAPI::GetInstance();
    for (int i = 0; i < count; ++i) {
        const std::string title = "a-" + std::to_string(getpid()) + "-" + std::to_string(i);
        CRemindInfo item = Booking(title, static_cast<unsigned>(i));
        item.m_sSynopsis.assign(bytes, static_cast<char>('a' + i % 26));
        Say((api->AddRemindItem(item, false, false) ? "ack " : "nack ") + title);
    }
    Say("done");
    return 0;
}

int Threads(int perThread) {
    CReminderAPI* api = CReminderAPI::GetInstance();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([api, t, perThread] {
            for (int i = 0; i < perThread; ++i) {
                const std::string title = "t" + std::to_string(t) + "-" + std::to_string(getpid()) +
                                          "-" + std::to_string(i);
                switch (i % 4) {
                    case 0: {
                        CRemindInfo item = Booking(title, static_cast<unsigned>(t * 1000 + i));
                        if (api->AddRemindItem(item, false, false)) Say("ack " + title);
                        break;
                    }
                    case 1: {
                        std::vector<CRemindInfo> list;
                        api->GetRemindItemsByType(REM_EXTRACT_ALL_BOOKINGS, list);
                        api->GetRemindItemCnt();
                        break;
                    }
                    case 2: {
                        std::vector<CRemindInfo> list;
                        api->GetRemindItemsByType(REM_EXTRACT_ALL_BOOKINGS, list);
                        // Another thread's booking changes its synopsis; its title stays.
                        if (!list.empty()) {
                            CRemindInfo changed = list[static_cast<size_t>(i) % list.size()];
                            changed.m_sSynopsis = title;
                            api->UpdateRemindItemByUid(changed.m_nUid, changed, false, false,
                                                       false);
                        }
                        break;
                    }
                    default:
                        api->FlagReminderListIsFull();
                        api->DeleteRemindItemByUid(REMINDER_INVALID_UID - 1, false);
                        break;
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    Say("done");
    return 0;
}

// Runs the default main context for `ms` milliseconds.
void Iterate(int ms) {
    const gint64 deadline = g_get_monotonic_time() + gint64{ms} * 1000;
    bool expired = false;
    GSource* timer = g_timeout_source_new(static_cast<guint>(ms));
    g_source_set_callback(
        timer,
        [](gpointer flag) -> gboolean {
            *static_cast<bool*>(flag) = true;
            return G_SOURCE_REMOVE;
        },
        &expired, nullptr);
    g_source_attach(timer, nullptr);
    while (!expired && g_get_monotonic_time() < deadline) g_main_context_iteration(nullptr, TRUE);
    g_source_destroy(timer);
    g_source_unref(timer);
}

std::atomic<int> g_heard{0};

void Count(void*, TReminderEvent* event) {
    if (event->nEvent == REMINDER_EVENT_LIST_CHANGED) Say("heard " + std::to_string(++g_heard));
}

int BusWriter() {
    CReminderAPI* api = CReminderAPI::GetInstance();
    api->RegisterEventCB(&Count, nullptr);
    CRemindInfo item = Booking("bus writer", 1);
    if (!api->AddRemindItem(item, false, true)) return 1;
    const unsigned long uid = UidOf("bus writer");
    for (unsigned n = 0;; ++n) {
        item.m_sSynopsis = std::to_string(n);
        Say(std::string("wrote ") +
            (api->UpdateRemindItemByUid(uid, item, false, false, true) ? "1" : "0"));
        Iterate(100);
    }
}

long MsSince(std::chrono::steady_clock::time_point start) {
    return static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                 std::chrono::steady_clock::now() - start)
                                 .count());
}

int Hang() {
    CReminderAPI* api = CReminderAPI::GetInstance();
    auto start = std::chrono::steady_clock::now();
    api->RegisterEventCB(&Count, nullptr);
    Say("register " + std::to_string(MsSince(start)));
    for (int i = 0; i < 3; ++i) {
        CRemindInfo item = Booking("hang " + std::to_string(i), static_cast<unsigned>(i));
        start = std::chrono::steady_clock::now();
        const bool added = api->AddRemindItem(item, false, true);
        Say("add " + std::to_string(MsSince(start)) + " " + (added ? "1" : "0"));
    }
    return 0;
}

int Stall() {
    int probes = 0;
    CReminderAPI::GetInstance()->RegisterEventCB(
        [](void* data, TReminderEvent* event) {
            if (event->nEvent == REMINDER_EVENT_LIST_CHANGED) {
                ++g_heard;
            } else {
                ++*static_cast<int*>(data);
            }
        },
        &probes);
    // Hearing our own probe proves that the subscription is in place at the bus.
    const TReminderEvent probe = {2, 0, 0, 0, PT_PARAM_TYPE_NONE};
    for (int i = 0; i < 50 && probes == 0; ++i) {
        reminder_send_event(&probe);
        Iterate(100);
    }
    if (probes == 0) return 1;
    Say("ready");
    std::string line;
    std::getline(std::cin, line);
    Iterate(1000);
    Say("heard " + std::to_string(g_heard));
    return 0;
}

int Limit(const std::string& title) {
    CRemindInfo item = Booking(title, static_cast<unsigned>(getpid()));
    Say(CReminderAPI::GetInstance()->AddRemindItem(item, false, false) ? "ack" : "nack");
    return 0;
}

bool DropRoot() {
    if (geteuid() != 0) return true;
    const passwd* nobody = getpwnam("nobody");
    return nobody != nullptr && setgid(nobody->pw_gid) == 0 && setuid(nobody->pw_uid) == 0;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (!args.empty() && args[0] == "--as-nobody") {
        if (!DropRoot()) return 4;
        args.erase(args.begin());
    }
    const std::string mode = args.empty() ? "" : args[0];
    if (mode == "storm" && args.size() == 3) return Storm(args[1], std::stoul(args[2]));
    if (mode == "add" && args.size() >= 3) {
        return Add(std::stoi(args[1]), std::stoul(args[2]),
                   args.size() > 3 ? std::stol(args[3]) : 0);
    }
    if (mode == "threads" && args.size() == 2) return Threads(std::stoi(args[1]));
    if (mode == "buswriter") return BusWriter();
    if (mode == "hang") return Hang();
    if (mode == "stall") return Stall();
    if (mode == "limit" && args.size() == 2) return Limit(args[1]);
    std::cerr << "usage: see the head of reliability_worker.cpp" << std::endl;
    return 2;
}
