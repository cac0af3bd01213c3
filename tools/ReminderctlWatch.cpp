// `reminderctl watch`: registers for change events and prints each one as it arrives, the way an
// application that shows the list learns that it must read it again.
#include <gio/gio.h>
#include <glib-unix.h>
#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <vector>
#include <ctime>
#include <iostream>
#include <memory>
#include <string>

#include "Commands.h"
#include "reminder_api.h"

namespace {

struct SWatchOptions {
    int count = 0;         // stop after this many events; 0: never
    double timeout = 0.0;  // stop after this many seconds; 0: never
};

struct SWatchState {
    GMainLoop* pLoop = nullptr;
    int nWanted = 0;
    int nSeen = 0;
    bool bBusLost = false;
};

bool BusIsBack();
bool BusAnswers(std::string& problem);
void PrintEvent(void* data, TReminderEvent* event);

// Follows the bus while the watch runs. The library reconnects and subscribes again by itself
// once the bus is back; the watch only tells the person, and registers again at once so that
// no event of the new bus is missed before the library's own check would have run.
gboolean CheckBus(gpointer data) {
    auto* state = static_cast<SWatchState*>(data);
    const bool up = BusIsBack();
    if (!up && !state->bBusLost) {
        state->bBusLost = true;
        std::cerr << "watch: the system bus went away; waiting for it to come back" << std::endl;
    } else if (up && state->bBusLost) {
        std::string problem;
        reminder_register_signal_callback(&PrintEvent, state);
        if (BusAnswers(problem)) {
            state->bBusLost = false;
            std::cerr << "watch: listening" << std::endl;
        }
    }
    return G_SOURCE_CONTINUE;
}

struct MainLoopUnref {
    void operator()(GMainLoop* loop) const { g_main_loop_unref(loop); }
};

gboolean QuitLoop(gpointer loop) {
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_REMOVE;
}

// The readable name of an event; only the list change is the library's own.
std::string EventName(const TReminderEvent& event) {
    if (event.nEvent == REMINDER_EVENT_LIST_CHANGED) return "list changed";
    return "event " + std::to_string(event.nEvent);
}

// This machine's time of arrival, with its UTC offset.
std::string ArrivalTime() {
    const time_t now = time(nullptr);
    struct tm tm {};
    localtime_r(&now, &tm);
    char text[40];
    std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S %z", &tm);
    return text;
}

void PrintEvent(void* data, TReminderEvent* event) {
    auto* state = static_cast<SWatchState*>(data);
    std::printf("%s  %s  (category=%d event=%u param1=%d param2=%d type=%d)\n",
                ArrivalTime().c_str(), EventName(*event).c_str(), event->nCategory, event->nEvent,
                event->nParam1, event->nParam2, static_cast<int>(event->eParamType));
    // Whoever reads a pipe from us wants each event when it happens.
    std::fflush(stdout);
    ++state->nSeen;
    if (state->nWanted > 0 && state->nSeen >= state->nWanted) g_main_loop_quit(state->pLoop);
}

// Registration answers 1 even without a bus (no event would ever arrive), so the watcher asks
// the bus itself first. A round trip on the shared connection also proves that the daemon has
// taken the subscription before we report that we are listening.
bool BusAnswers(std::string& problem) {
    GError* error = nullptr;
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &error);
    if (bus == nullptr) {
        problem = error != nullptr ? error->message : "unknown error";
        if (error != nullptr) g_error_free(error);
        return false;
    }
    g_dbus_connection_set_exit_on_close(bus, FALSE);
    GVariant* reply = g_dbus_connection_call_sync(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId",
        nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    const bool answered = reply != nullptr;
    if (reply != nullptr) g_variant_unref(reply);
    if (error != nullptr) {
        problem = error->message;
        g_error_free(error);
    }
    g_object_unref(bus);
    return answered;
}

// Whether a bus answers at the system bus address again. The process's shared connection stays
// closed once its bus went away, so this asks on a connection of its own.
bool BusIsBack() {
    GError* error = nullptr;
    gchar* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, &error);
    GDBusConnection* connection = nullptr;
    if (address != nullptr) {
        connection = g_dbus_connection_new_for_address_sync(
            address,
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, &error);
        g_free(address);
    }
    if (error != nullptr) g_error_free(error);
    if (connection == nullptr) return false;
    g_dbus_connection_close_sync(connection, nullptr, nullptr);
    g_object_unref(connection);
    return true;
}

void RunWatch(const SWatchOptions& options) {
    std::unique_ptr<GMainLoop, MainLoopUnref> loop(g_main_loop_new(nullptr, FALSE));
    SWatchState state;
    state.pLoop = loop.get();
    state.nWanted = options.count;
    gint64 deadline = 0;
    if (options.timeout > 0) {
        deadline = g_get_monotonic_time() + static_cast<gint64>(options.timeout * G_USEC_PER_SEC);
    }
    if (reminder_register_signal_callback(&PrintEvent, &state) != 1) {
        std::cerr << "watch: the scheduler is not available\n";
        throw CLI::RuntimeError(1);
    }
    std::string problem;
    if (!BusAnswers(problem)) {
        reminder_unregister_signal_callback();
        std::cerr << "reminderctl watch: no system bus reachable (" << problem
                  << ").\nStart one (as root: systemctl start dbus), or point "
                     "DBUS_SYSTEM_BUS_ADDRESS at a running bus, e.g. one started with\n"
                     "  dbus-daemon --system --fork   or   dbus-daemon --session --fork "
                     "--print-address\n";
        throw CLI::RuntimeError(1);
    }
    std::cerr << "watch: listening" << std::endl;
    const guint busCheck = g_timeout_add(200, &CheckBus, &state);

    guint timer = 0;
    if (deadline > 0) {
        const gint64 left = std::max<gint64>(deadline - g_get_monotonic_time(), 0);
        timer = g_timeout_add(static_cast<guint>(left / 1000), &QuitLoop, loop.get());
    }
    const guint onInt = g_unix_signal_add(SIGINT, &QuitLoop, loop.get());
    const guint onTerm = g_unix_signal_add(SIGTERM, &QuitLoop, loop.get());
    g_main_loop_run(loop.get());
    reminder_unregister_signal_callback();
    // Sources that already fired removed themselves; removing them again would warn.
    const auto removeIfAttached = [](guint id) {
        if (id != 0 && g_main_context_find_source_by_id(nullptr, id) != nullptr)
            g_source_remove(id);
    };
    removeIfAttached(timer);
    removeIfAttached(onInt);
    removeIfAttached(onTerm);
    removeIfAttached(busCheck);

    if (options.count > 0 && state.nSeen < options.count) {
        std::cerr << "watch: " << state.nSeen << " of " << options.count
                  << " events before the watch ended\n";
        throw CLI::RuntimeError(1);
    }
}

}  // namespace

void AddWatchCommand(CLI::App& app) {
    auto options = std::make_shared<SWatchOptions>();
    CLI::App* watch = app.add_subcommand(
        "watch",
        "Print each change event as it arrives: the time, its name (\"list changed\") and its "
        "fields");
    watch->add_option("--count", options->count, "Stop after N events (exit 1 if fewer came)")
        ->check(CLI::NonNegativeNumber);
    watch->add_option("--timeout", options->timeout, "Stop after S seconds")
        ->check(CLI::NonNegativeNumber);
    watch->callback([options] { RunWatch(*options); });
}
