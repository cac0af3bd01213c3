// The other process of the notification tests. It shares the test's database file and bus through
// the environment (REMINDER_DB_PATH, DBUS_SYSTEM_BUS_ADDRESS) and reports on standard output.
//   dbus_helper burst N   N times: one stored change, then the numbered event {1, 100, i, 0, 0}
//   dbus_helper offline   registers and changes the store with no bus reachable

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

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "burst" && argc > 2) return Burst(std::atoi(argv[2]));
    if (mode == "offline") return Offline();
    std::cerr << "usage: dbus_helper burst N | offline" << std::endl;
    return 2;
}
