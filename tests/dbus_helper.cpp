// The other process of the notification tests. It shares the test's database file and bus through
// the environment (REMINDER_DB_PATH, DBUS_SYSTEM_BUS_ADDRESS) and reports on standard output.
//   dbus_helper burst N   N times: one stored change, then the numbered event {1, 100, i, 0, 0}
//   dbus_helper offline   registers and changes the store with no bus reachable
//   dbus_helper survive   registers, hears its own change, prints "ready"; after a line on
//                         standard input (the test stops the bus meanwhile) lets GLib notice the
//                         lost bus, changes the store again and prints "alive"
#include <gio/gio.h>

#include <cstdlib>
#include <iostream>
#include <string>

#include "DataControl.h"
#include "RemindInfo.h"
#include "reminder_api.h"

namespace {

bool StoreChange() {
    CRemindInfo item;
    item.m_sTitle = "dbus helper";
    CDBControl* db = CDBControl::GetInstance();
    const bool added = db->AddItem(item);
    db->Notify();
    return added;
}

int Burst(int count) {
    for (int i = 0; i < count; ++i) {
        if (!StoreChange()) return 1;
        const TReminderEvent numbered = {1, 100, i, 0, PT_PARAM_TYPE_NONE};
        if (reminder_send_event(&numbered) != 1) return 1;
    }
    std::cout << "done" << std::endl;
    return 0;
}

int Offline() {
    const int registered =
        reminder_register_signal_callback([](void*, TReminderEvent*) {}, nullptr);
    const TReminderEvent event = {1, 2, 3, 4, PT_PARAM_TYPE_NONE};
    const int sent = reminder_send_event(&event);
    const bool changed = StoreChange();
    std::cout << "register=" << registered << " send=" << sent << " change=" << changed
              << std::endl;
    return 0;
}

// Runs the default main context until `done` holds or `timeoutMs` passes; a short tick wakes it
// to look again at conditions that no source of ours signals.
template <typename Done>
bool Iterate(Done done, guint timeoutMs) {
    const gint64 deadline = g_get_monotonic_time() + gint64{timeoutMs} * 1000;
    GSource* tick = g_timeout_source_new(10);
    g_source_set_callback(
        tick, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr, nullptr);
    g_source_attach(tick, nullptr);
    while (!done() && g_get_monotonic_time() < deadline) g_main_context_iteration(nullptr, TRUE);
    g_source_destroy(tick);
    g_source_unref(tick);
    return done();
}

int Survive() {
    int heard = 0;
    reminder_register_signal_callback(
        [](void* data, TReminderEvent*) { ++*static_cast<int*>(data); }, &heard);
    // A connection of our own, held to see when GDBus notices that the bus is gone.
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    if (bus == nullptr || !StoreChange()) return 1;
    // Our own probe would otherwise end the process when the bus goes.
    g_dbus_connection_set_exit_on_close(bus, FALSE);
    if (!Iterate([&] { return heard > 0; }, 10000)) return 1;
    std::cout << "ready" << std::endl;

    std::string line;
    std::getline(std::cin, line);
    if (!Iterate([&] { return g_dbus_connection_is_closed(bus) != FALSE; }, 10000)) return 1;
    // The "closed" handling runs from the main context; with exit-on-close it would end us here.
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
    const bool changed = StoreChange();
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
    std::cout << "alive change=" << changed << std::endl;
    g_object_unref(bus);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "burst" && argc > 2) return Burst(std::atoi(argv[2]));
    if (mode == "offline") return Offline();
    if (mode == "survive") return Survive();
    std::cerr << "usage: dbus_helper burst N | offline | survive" << std::endl;
    return 2;
}
