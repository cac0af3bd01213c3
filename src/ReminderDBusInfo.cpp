#include "ReminderDBusInfo.h"

#include <memory>

#include "ReminderLog.h"

namespace {

constexpr const char* kObjectPath = "/org/tizen/tv/reminder";
constexpr const char* kInterface = "org.tizen.tv.reminder";
constexpr const char* kMember = "Signal";
constexpr const char* kBodyType = "(iiiii)";

struct GObjectUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

struct GErrorFree {
    void operator()(GError* error) const { g_error_free(error); }
};
using GErrorPtr = std::unique_ptr<GError, GErrorFree>;

// GDBus ends the process when a bus connection closes unless told otherwise; an application must
// outlive a restarted or missing bus just because it links this library.
void KeepProcessOnBusLoss(GDBusConnection* connection) {
    g_dbus_connection_set_exit_on_close(connection, FALSE);
}

// The process's shared system-bus connection (a new reference), or null with `error` set.
GObjectPtr<GDBusConnection> SystemBus(GErrorPtr& error) {
    GError* raw = nullptr;
    GObjectPtr<GDBusConnection> connection(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &raw));
    error.reset(raw);
    if (connection != nullptr) KeepProcessOnBusLoss(connection.get());
    return connection;
}

bool Send(GDBusConnection* connection, GDBusMessage* message) {
    GError* raw = nullptr;
    const gboolean sent = g_dbus_connection_send_message(
        connection, message, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, &raw);
    GErrorPtr error(raw);
    if (!sent || error != nullptr) return false;
    // Sending only queues the message for the bus worker thread; a short-lived process (a tool
    // that changes one booking and exits) would otherwise lose the event.
    GError* flushRaw = nullptr;
    g_dbus_connection_flush_sync(connection, nullptr, &flushRaw);
    GErrorPtr flushError(flushRaw);
    return true;
}

}  // namespace

CReminderDBusInfo::~CReminderDBusInfo() {
    if (m_pError != nullptr) g_error_free(m_pError);
}

bool CReminderDBusInfo::SendEvent(const TReminderEvent* event) {
    if (event == nullptr) {
        REMINDER_ERR("Send event failed.");
        return false;
    }
    GErrorPtr error;
    GObjectPtr<GDBusConnection> connection = SystemBus(error);
    if (connection == nullptr || error != nullptr) {
        REMINDER_ERR("Get DBUS connection failed.");
        return false;
    }
    GObjectPtr<GDBusMessage> message(g_dbus_message_new_signal(kObjectPath, kInterface, kMember));
    if (message == nullptr) {
        REMINDER_ERR("Create message failed.");
        return false;
    }
    // The message sinks the floating body reference.
    g_dbus_message_set_body(
        message.get(),
        g_variant_new(kBodyType, event->nCategory, static_cast<gint32>(event->nEvent),
                      event->nParam1, event->nParam2, static_cast<gint32>(event->eParamType)));
    if (!Send(connection.get(), message.get())) {
        REMINDER_ERR("Send event failed.");
        return false;
    }
    REMINDER_LOG("Send Message : %d %d %d %d %d ", event->nCategory,
                 static_cast<int>(event->nEvent), event->nParam1, event->nParam2,
                 static_cast<int>(event->eParamType));
    return true;
}

bool CReminderDBusInfo::SendEvent(unsigned long event, long param1, long param2, PTParamType type) {
    TReminderEvent record{};
    record.nCategory = 0;
    record.nEvent = static_cast<unsigned int>(event);
    record.nParam1 = static_cast<int>(param1);
    record.nParam2 = static_cast<int>(param2);
    record.eParamType = type;
    return SendEvent(&record);
}

void CReminderDBusInfo::HandleEvent(GDBusConnection* /*connection*/, const gchar* /*sender*/,
                                    const gchar* /*path*/, const gchar* /*interface*/,
                                    const gchar* /*member*/, GVariant* parameters,
                                    gpointer userData) {
    // Anyone on the bus may emit this member; a body of another shape is not an event.
    if (parameters == nullptr || !g_variant_is_of_type(parameters, G_VARIANT_TYPE(kBodyType))) {
        REMINDER_ERR("Unexpected event body: [%s]",
                     parameters != nullptr ? g_variant_get_type_string(parameters) : "none");
        return;
    }
    gint32 fields[5] = {};
    g_variant_get(parameters, kBodyType, &fields[0], &fields[1], &fields[2], &fields[3],
                  &fields[4]);
    TReminderEvent event{};
    event.nCategory = fields[0];
    event.nEvent = static_cast<unsigned int>(fields[1]);
    event.nParam1 = fields[2];
    event.nParam2 = fields[3];
    event.eParamType = static_cast<PTParamType>(fields[4]);
    REMINDER_LOG("%d %d %d %d %d ", fields[0], fields[1], fields[2], fields[3], fields[4]);

    const auto* slot = static_cast<const SReminderEventSlot*>(userData);
    if (slot == nullptr || slot->pFunc == nullptr) return;
    slot->pFunc(slot->pData, &event);
}

void CReminderDBusInfo::Subscribe(SReminderEventSlot* slot) {
    m_pConnection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &m_pError);
    if (m_pConnection != nullptr) {
        KeepProcessOnBusLoss(m_pConnection);
        m_nSubscriptionId = g_dbus_connection_signal_subscribe(
            m_pConnection, nullptr, kInterface, kMember, kObjectPath, nullptr,
            G_DBUS_SIGNAL_FLAGS_NONE, &CReminderDBusInfo::HandleEvent, slot, nullptr);
    } else {
        REMINDER_ERR("Get DBUS connection failed.");
    }
    REMINDER_LOG("nEvenyID : [%d]", static_cast<int>(m_nSubscriptionId));
}
