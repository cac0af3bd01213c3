// CReminderDBusInfo: the change signal on the system bus.
//
// The process keeps one connection of its own to the bus, shared by sending and receiving. It is
// made on a worker thread, and no caller waits for it longer than one second: while the bus is
// missing or hangs, sends fail (events are advisory, the change they announce stands) and a
// registration still succeeds. When the connection is found closed (the bus restarted), the next
// send, registration or the subscriber's periodic check connects again and subscribes again, so
// a registered process hears and sends events again without restarting. A list-changed event
// that is already waiting for delivery in this process is not queued a second time: the events
// are identical, and a main loop that does not run costs bounded memory.
#ifndef REMINDER_DBUS_INFO_H
#define REMINDER_DBUS_INFO_H

#include <gio/gio.h>

#include "ReminderAPIImp.h"
#include "ReminderTypes.h"

class CReminderDBusInfo {
public:
    CReminderDBusInfo() = default;
    CReminderDBusInfo(const CReminderDBusInfo&) = delete;
    CReminderDBusInfo& operator=(const CReminderDBusInfo&) = delete;
    // Releases neither the connection nor the subscription: both live as long as the engine.
    virtual ~CReminderDBusInfo();

    // Broadcasts one signal carrying the event; false (logged) when it could not be sent within
    // about one second.
    static bool SendEvent(const TReminderEvent* event);
    // An event of category 0 with these fields.
    static bool SendEvent(unsigned long event, long param1, long param2, PTParamType type);
    // GDBus signal callback; `userData` is the engine's SReminderEventSlot.
    static void HandleEvent(GDBusConnection* connection, const gchar* sender, const gchar* path,
                            const gchar* interface, const gchar* member, GVariant* parameters,
                            gpointer userData);

    // Subscribes HandleEvent with `slot` as its user data, waiting at most one second for the
    // bus. Callbacks run in the thread-default main context of the calling thread; without a bus
    // the subscription is made there as soon as the bus can be reached. Called once per process.
    void Subscribe(SReminderEventSlot* slot);
    // For later registrations: connects and subscribes again when the connection was found
    // closed, with the same bounded wait.
    void Refresh();

    // The connection and subscription currently in use (they change when the bus restarts), and
    // the error of the last failed connection attempt.
    GDBusConnection* m_pConnection = nullptr;
    GError* m_pError = nullptr;
    guint m_nSubscriptionId = 0;
};

#endif
