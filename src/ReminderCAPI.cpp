// The C scheduler interface: thin adapters over the facade. No C++ exception crosses it.
#include <exception>

#include "ReminderAPI.h"
#include "ReminderDBusInfo.h"
#include "ReminderLog.h"
#include "reminder_api.h"

namespace {

// Runs `body`; an exception becomes a logged failure, answered with 0.
template <typename Body>
int Guarded(Body&& body) noexcept {
    try {
        return body();
    } catch (const std::exception& e) {
        REMINDER_ERR("Exception Handled : %s", e.what());
    } catch (...) {
        REMINDER_ERR("Exception Handled : %s", "unknown");
    }
    return 0;
}

int RegisterSignalCallback(reminder_signal_cb func, void* data) {
    return Guarded([&] {
        CReminderAPI* api = CReminderAPI::GetInstance();
        if (api == nullptr) return 0;
        return api->RegisterEventCB(func, data) ? 1 : 0;
    });
}

int UnregisterSignalCallback() {
    return Guarded([] {
        CReminderAPI* api = CReminderAPI::GetInstance();
        if (api == nullptr) return 0;
        api->UnRegisterEventCB();
        return 1;
    });
}

}  // namespace

extern "C" {

int reminder_register_signal_callback(reminder_signal_cb func, void* data) {
    return RegisterSignalCallback(func, data);
}

int reminder_unregister_signal_callback(void) {
    return UnregisterSignalCallback();
}

int reminder_e_register_signal_callback(reminder_signal_cb func, void* data) {
    return RegisterSignalCallback(func, data);
}

int reminder_e_unregister_signal_callback(void) {
    return UnregisterSignalCallback();
}

int reminder_send_event(const TReminderEvent* event) {
    return Guarded([&] { return CReminderDBusInfo::SendEvent(event) ? 1 : 0; });
}

}  // extern "C"
