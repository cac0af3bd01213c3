// CReminderDBusInfo: the change signal on the system bus. Sending fetches the bus connection
// for each event; receiving holds one connection and one subscription for the engine's life.
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

    // Broadcasts one signal carrying the event; false (logged) when it could not be sent.
    static bool SendEvent(const TReminderEvent* event);
    // An event of category 0 with these fields.
    static bool SendEvent(unsigned long event, long param1, long param2, PTParamType type);
    // GDBus signal callback; `userData` is the engine's SReminderEventSlot.
    static void HandleEvent(GDBusConnection* connection, const gchar* sender, const gchar* path,
                            const gchar* interface, const gchar* member, GVariant* parameters,
                            gpointer userData);

    // Connects to the system bus and subscribes HandleEvent with `slot` as its user data. The
    // outcome is not checked by the caller: without a bus no events arrive. Callbacks run in the
    // thread-default main context of the calling thread.
    void Subscribe(SReminderEventSlot* slot);

    GDBusConnection* m_pConnection = nullptr;
    GError* m_pError = nullptr;
    guint m_nSubscriptionId = 0;
};

#endif
