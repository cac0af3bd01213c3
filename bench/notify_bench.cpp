// How long a change takes to reach another process's callback, next to a bare GDBus signal on
// the same bus.
//
// A forked child registers a change callback through the library and also subscribes plainly to a
// ping signal; it answers both with a signal that carries the CLOCK_MONOTONIC time at which its
// handler ran. The parent measures:
//   ChangeToCallback    commit of a stored item -> Notify() -> the child's library callback
//   BareSignalOneWay    g_dbus_connection_emit_signal -> the child's GDBus handler
//   BareSignalRoundTrip g_dbus_connection_emit_signal -> the child's answer back in the parent
//   BareSignalAfterCommit  as BareSignalOneWay, each signal following a commit as in the first
// Without a reachable DBUS_SYSTEM_BUS_ADDRESS it starts a private dbus-daemon of its own.
#include <benchmark/benchmark.h>
#include <gio/gio.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "BenchBus.h"
#include "DataControl.h"
#include "RemindInfo.h"
#include "reminder_api.h"

namespace {

constexpr const char* kBenchPath = "/org/tizen/tv/reminder/bench";
constexpr const char* kBenchInterface = "org.tizen.tv.reminder.bench";

gint64 NowNs() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return gint64{ts.tv_sec} * 1000000000 + ts.tv_nsec;
}

// --- The bus ---

// --- The child: answers every change and every ping with its handler's time ---

void Answer(GDBusConnection* bus, const char* member, gint64 handledAt) {
    g_dbus_connection_emit_signal(bus, nullptr, kBenchPath, kBenchInterface, member,
                                  g_variant_new("(x)", handledAt), nullptr);
}

void OnChange(void* bus, TReminderEvent* event) {
    const gint64 handledAt = NowNs();
    if (event->nEvent == REMINDER_EVENT_LIST_CHANGED) {
        Answer(static_cast<GDBusConnection*>(bus), "Changed", handledAt);
    }
}

void OnBenchSignal(GDBusConnection* bus, const gchar*, const gchar*, const gchar*,
                   const gchar* member, GVariant*, gpointer loop) {
    const gint64 handledAt = NowNs();
    if (std::strcmp(member, "Ping") == 0) Answer(bus, "Pong", handledAt);
    if (std::strcmp(member, "Quit") == 0) g_main_loop_quit(static_cast<GMainLoop*>(loop));
}

[[noreturn]] void RunChild(int readyFd) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    if (bus == nullptr) _exit(1);
    reminder_register_signal_callback(&OnChange, bus);
    // Only what the parent sends: the child's own answers would load it for nothing.
    for (const char* member : {"Ping", "Quit"}) {
        g_dbus_connection_signal_subscribe(bus, nullptr, kBenchInterface, member, kBenchPath,
                                           nullptr, G_DBUS_SIGNAL_FLAGS_NONE, &OnBenchSignal, loop,
                                           nullptr);
    }
    // A round trip: the daemon has taken both subscriptions before the parent starts.
    GVariant* reply = g_dbus_connection_call_sync(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId",
        nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    if (reply != nullptr) g_variant_unref(reply);
    const char ready = 'R';
    if (write(readyFd, &ready, 1) != 1) _exit(1);
    g_main_loop_run(loop);
    _exit(0);
}

// --- The parent ---

struct SAnswers {
    int nChanged = 0;
    int nPong = 0;
    gint64 nHandledAt = 0;   // the child's time in its last answer
    gint64 nReceivedAt = 0;  // our time when that answer arrived
};

SAnswers g_answers;
GDBusConnection* g_bus = nullptr;
// Samples of the last run of each benchmark, in nanoseconds.
std::vector<double> g_changeToCallback;
std::vector<double> g_bareOneWay;
std::vector<double> g_bareRoundTrip;
std::vector<double> g_bareAfterCommit;

void OnAnswer(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar* member,
              GVariant* body, gpointer) {
    g_answers.nReceivedAt = NowNs();
    g_variant_get(body, "(x)", &g_answers.nHandledAt);
    if (std::strcmp(member, "Changed") == 0) ++g_answers.nChanged;
    if (std::strcmp(member, "Pong") == 0) ++g_answers.nPong;
}

// Runs the main context, blocking as an application's loop does, until `counter` passes
// `before`; false after five seconds.
bool AwaitAnswer(const int& counter, int before) {
    bool expired = false;
    GSource* timer = g_timeout_source_new_seconds(5);
    g_source_set_callback(
        timer,
        [](gpointer flag) -> gboolean {
            *static_cast<bool*>(flag) = true;
            return G_SOURCE_REMOVE;
        },
        &expired, nullptr);
    g_source_attach(timer, nullptr);
    while (counter == before && !expired) g_main_context_iteration(nullptr, TRUE);
    g_source_destroy(timer);
    g_source_unref(timer);
    return counter != before;
}

void BM_ChangeToCallback(benchmark::State& state) {
    g_changeToCallback.clear();
    CDBControl* db = CDBControl::GetInstance();
    for (auto _ : state) {
        CRemindInfo item;
        if (!db->AddItem(item)) {
            state.SkipWithError("the store refused the item");
            break;
        }
        const int before = g_answers.nChanged;
        const gint64 committedAt = NowNs();
        db->Notify();
        if (!AwaitAnswer(g_answers.nChanged, before)) {
            state.SkipWithError("no callback in the other process");
            break;
        }
        const double ns = static_cast<double>(g_answers.nHandledAt - committedAt);
        g_changeToCallback.push_back(ns);
        state.SetIterationTime(ns / 1e9);
    }
}

void BareSignal(benchmark::State& state, std::vector<double>& samples, bool roundTrip,
                bool commitFirst = false) {
    samples.clear();
    for (auto _ : state) {
        CRemindInfo item;
        if (commitFirst && !CDBControl::GetInstance()->AddItem(item)) {
            state.SkipWithError("the store refused the item");
            break;
        }
        const int before = g_answers.nPong;
        const gint64 sentAt = NowNs();
        g_dbus_connection_emit_signal(g_bus, nullptr, kBenchPath, kBenchInterface, "Ping", nullptr,
                                      nullptr);
        if (!AwaitAnswer(g_answers.nPong, before)) {
            state.SkipWithError("no answer from the other process");
            break;
        }
        const gint64 end = roundTrip ? g_answers.nReceivedAt : g_answers.nHandledAt;
        const double ns = static_cast<double>(end - sentAt);
        samples.push_back(ns);
        state.SetIterationTime(ns / 1e9);
    }
}

void BM_BareSignalOneWay(benchmark::State& state) {
    BareSignal(state, g_bareOneWay, false);
}
void BM_BareSignalRoundTrip(benchmark::State& state) {
    BareSignal(state, g_bareRoundTrip, true);
}
// The bare signal with the same commit before it as in ChangeToCallback: separates the library's
// own cost from the machine waking up after the file write.
void BM_BareSignalAfterCommit(benchmark::State& state) {
    BareSignal(state, g_bareAfterCommit, false, true);
}

// Every change commits a row to a file, so those benchmarks run a fixed number of times.
BENCHMARK(BM_ChangeToCallback)->UseManualTime()->Iterations(500)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_BareSignalOneWay)->UseManualTime()->Iterations(2000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_BareSignalRoundTrip)->UseManualTime()->Iterations(2000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_BareSignalAfterCommit)
    ->UseManualTime()
    ->Iterations(500)
    ->Unit(benchmark::kMicrosecond);

double Median(std::vector<double> samples) {
    if (samples.empty()) return 0.0;
    std::nth_element(samples.begin(), samples.begin() + samples.size() / 2, samples.end());
    return samples[samples.size() / 2];
}

double Mean(const std::vector<double>& samples) {
    double sum = 0.0;
    for (double s : samples) sum += s;
    return samples.empty() ? 0.0 : sum / samples.size();
}

void PrintClosingNote() {
    const double change = Median(g_changeToCallback);
    const double oneWay = Median(g_bareOneWay);
    const double roundTrip = Median(g_bareRoundTrip);
    std::printf("\nmedian (mean) over the last run of each benchmark, microseconds:\n");
    std::printf("  commit -> callback in another process : %8.1f (%8.1f)\n", change / 1e3,
                Mean(g_changeToCallback) / 1e3);
    std::printf("  bare GDBus signal, one way            : %8.1f (%8.1f)\n", oneWay / 1e3,
                Mean(g_bareOneWay) / 1e3);
    std::printf("  bare GDBus signal, round trip         : %8.1f (%8.1f)\n", roundTrip / 1e3,
                Mean(g_bareRoundTrip) / 1e3);
    std::printf("  bare GDBus signal, one way, after commit : %8.1f (%8.1f)\n",
                Median(g_bareAfterCommit) / 1e3, Mean(g_bareAfterCommit) / 1e3);
    if (roundTrip > 0 && oneWay > 0) {
        std::printf("  ratio commit->callback / bare round trip : %.2f\n", change / roundTrip);
        std::printf("  ratio commit->callback / bare one way    : %.2f\n", change / oneWay);
    }
    const double afterCommit = Median(g_bareAfterCommit);
    if (afterCommit > 0) {
        std::printf("  ratio commit->callback / bare one way after commit : %.2f\n",
                    change / afterCommit);
    }
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;

    benchbus::SPrivateBus privateBus;
    if (!benchbus::EnsureBus(privateBus)) {
        std::fprintf(stderr, "notify_bench: could not start a private dbus-daemon\n");
        return 1;
    }
    char dbPath[] = "/tmp/notify-bench-db-XXXXXX";
    const int dbFd = mkstemp(dbPath);
    if (dbFd >= 0) close(dbFd);
    std::remove(dbPath);
    setenv("REMINDER_DB_PATH", dbPath, 1);

    // The child is forked before this process touches GLib, so it starts with no GLib threads.
    int ready[2];
    if (pipe(ready) != 0) return 1;
    const pid_t child = fork();
    if (child == 0) {
        close(ready[0]);
        RunChild(ready[1]);
    }
    close(ready[1]);
    char byte = 0;
    const bool childReady = read(ready[0], &byte, 1) == 1;
    close(ready[0]);

    int status = 1;
    g_bus = childReady ? g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr) : nullptr;
    if (g_bus != nullptr) {
        for (const char* member : {"Changed", "Pong"}) {
            g_dbus_connection_signal_subscribe(g_bus, nullptr, kBenchInterface, member, kBenchPath,
                                               nullptr, G_DBUS_SIGNAL_FLAGS_NONE, &OnAnswer,
                                               nullptr, nullptr);
        }
        benchmark::RunSpecifiedBenchmarks();
        PrintClosingNote();
        g_dbus_connection_emit_signal(g_bus, nullptr, kBenchPath, kBenchInterface, "Quit", nullptr,
                                      nullptr);
        g_dbus_connection_flush_sync(g_bus, nullptr, nullptr);
        status = 0;
    } else {
        std::fprintf(stderr, "notify_bench: the other process or the bus is not available\n");
        kill(child, SIGTERM);
    }
    waitpid(child, nullptr, 0);
    benchmark::Shutdown();
    std::remove(dbPath);
    std::remove((std::string(dbPath) + "-journal").c_str());
    benchbus::StopPrivateBus(privateBus);
    return status;
}
