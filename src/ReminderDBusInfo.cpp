#include "ReminderDBusInfo.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "ReminderLog.h"

namespace {

constexpr const char* kObjectPath = "/org/tizen/tv/reminder";
constexpr const char* kInterface = "org.tizen.tv.reminder";
constexpr const char* kMember = "Signal";
constexpr const char* kBodyType = "(iiiii)";

// No caller waits on the bus for longer than this.
constexpr gint64 kBusWaitUs = 1000000;
// How often a subscriber looks whether its connection is still open.
constexpr guint kWatchIntervalSeconds = 1;

struct GObjectUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

struct GErrorFree {
    void operator()(GError* error) const { g_error_free(error); }
};
using GErrorPtr = std::unique_ptr<GError, GErrorFree>;

bool IsListChanged(GVariant* body) {
    if (body == nullptr || !g_variant_is_of_type(body, G_VARIANT_TYPE(kBodyType))) return false;
    gint32 f[5] = {};
    g_variant_get(body, kBodyType, &f[0], &f[1], &f[2], &f[3], &f[4]);
    return f[0] == 0 && f[1] == REMINDER_EVENT_LIST_CHANGED && f[2] == 0 && f[3] == 0 && f[4] == 0;
}

bool IsOurSignal(GDBusMessage* message) {
    return g_dbus_message_get_message_type(message) == G_DBUS_MESSAGE_TYPE_SIGNAL &&
           g_strcmp0(g_dbus_message_get_member(message), kMember) == 0 &&
           g_strcmp0(g_dbus_message_get_interface(message), kInterface) == 0 &&
           g_strcmp0(g_dbus_message_get_path(message), kObjectPath) == 0;
}

// The process's link to the bus: one connection at a time, made on a worker thread, and the one
// subscription of the process's callback slot. Never destroyed: worker threads may outlive any
// caller.
class CBusLink {
public:
    static CBusLink& Instance() {
        static CBusLink* link = new CBusLink();
        return *link;
    }

    // A new reference to an open connection, or null (with the error of the last attempt in
    // `error` when asked) when none could be made while the current attempt is under one
    // second old.
    GDBusConnection* Connection(GError** error = nullptr) {
        std::unique_lock<std::mutex> lock(m_mutex);
        t_DropClosed();
        if (m_pConnection == nullptr) {
            if (!m_bConnecting) t_StartAttempt();
            const auto deadline = m_attemptStart + std::chrono::microseconds(kBusWaitUs);
            m_cv.wait_until(lock, deadline, [this] { return !m_bConnecting; });
        }
        if (m_pConnection == nullptr && error != nullptr && m_pLastError != nullptr) {
            *error = g_error_copy(m_pLastError);
        }
        return m_pConnection != nullptr ? G_DBUS_CONNECTION(g_object_ref(m_pConnection)) : nullptr;
    }

    // Makes this process's callback slot the subscriber; its callbacks run in `context`.
    void SetSubscriber(CReminderDBusInfo* owner, SReminderEventSlot* slot, GMainContext* context) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_pOwner = owner;
        m_pSlot = slot;
        m_pContext = g_main_context_ref(context);
        GSource* watch = g_timeout_source_new_seconds(kWatchIntervalSeconds);
        g_source_set_callback(watch, &CBusLink::Watch, this, nullptr);
        g_source_attach(watch, m_pContext);
        g_source_unref(watch);
    }

    // Subscribes on the current connection when the subscription is not already there. Runs
    // in the subscriber's context (or a thread where it is the thread-default context).
    guint EnsureSubscribed() {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_pSlot == nullptr || m_pConnection == nullptr) return 0;
        if (m_pSubscribed == m_pConnection) return m_nSubscriptionId;
        // A list-changed event waiting on the old connection may never be delivered.
        m_bListChangedPending = false;
        GMainContext* current = g_main_context_ref_thread_default();
        const bool push = current != m_pContext;
        if (push) g_main_context_push_thread_default(m_pContext);
        const guint id = g_dbus_connection_signal_subscribe(
            m_pConnection, nullptr, kInterface, kMember, kObjectPath, nullptr,
            G_DBUS_SIGNAL_FLAGS_NONE, &CReminderDBusInfo::HandleEvent, m_pSlot, nullptr);
        if (push) g_main_context_pop_thread_default(m_pContext);
        g_main_context_unref(current);
        const bool again = m_pSubscribed != nullptr;
        if (again) {
            if (!g_dbus_connection_is_closed(m_pSubscribed)) {
                g_dbus_connection_signal_unsubscribe(m_pSubscribed, m_nSubscriptionId);
            }
            g_object_unref(m_pSubscribed);
        }
        m_pSubscribed = G_DBUS_CONNECTION(g_object_ref(m_pConnection));
        m_nSubscriptionId = id;
        if (m_pOwner != nullptr) {
            if (m_pOwner->m_pConnection != nullptr) g_object_unref(m_pOwner->m_pConnection);
            m_pOwner->m_pConnection = G_DBUS_CONNECTION(g_object_ref(m_pConnection));
            m_pOwner->m_nSubscriptionId = id;
        }
        if (again)
            REMINDER_LOG("Bus connection restored, subscription [%d].", static_cast<int>(id));
        return id;
    }

    // Has the subscription follow a new connection, from the subscriber's context.
    void ScheduleResubscribe() {
        GMainContext* context = nullptr;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (m_pSlot == nullptr || m_pConnection == nullptr || m_pSubscribed == m_pConnection) {
                return;
            }
            context = g_main_context_ref(m_pContext);
        }
        // Runs at once when this thread may use the context, else from that context's loop.
        g_main_context_invoke_full(
            context, G_PRIORITY_DEFAULT,
            [](gpointer self) -> gboolean {
                static_cast<CBusLink*>(self)->EnsureSubscribed();
                return G_SOURCE_REMOVE;
            },
            this, nullptr);
        g_main_context_unref(context);
    }

    // A list-changed event passes when none is waiting for delivery; the callback's turn clears
    // the mark.
    bool AdmitListChanged() { return !m_bListChangedPending.exchange(true); }
    void ListChangedDelivered() { m_bListChangedPending = false; }

private:
    CBusLink() = default;

    void t_DropClosed() {
        if (m_pConnection != nullptr && g_dbus_connection_is_closed(m_pConnection)) {
            REMINDER_ERR("Bus connection closed; connecting again.");
            g_object_unref(m_pConnection);
            m_pConnection = nullptr;
        }
    }

    void t_StartAttempt() {
        m_bConnecting = true;
        m_attemptStart = std::chrono::steady_clock::now();
        std::thread([this] { Connect(); }).detach();
    }

    // Worker thread: one connection attempt, as long as the bus takes.
    void Connect() {
        GError* raw = nullptr;
        gchar* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, &raw);
        GDBusConnection* connection = nullptr;
        if (address != nullptr) {
            connection = g_dbus_connection_new_for_address_sync(
                address,
                static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                  G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
                nullptr, nullptr, &raw);
            g_free(address);
        }
        if (connection != nullptr) {
            // An application must outlive a restarted or missing bus just because it links us.
            g_dbus_connection_set_exit_on_close(connection, FALSE);
            g_dbus_connection_add_filter(connection, &CBusLink::Filter, this, nullptr);
        }
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (m_pLastError != nullptr) g_error_free(m_pLastError);
            m_pLastError = raw;
            if (m_pConnection != nullptr) g_object_unref(m_pConnection);
            m_pConnection = connection;
            m_bConnecting = false;
        }
        m_cv.notify_all();
        if (connection != nullptr) ScheduleResubscribe();
    }

    // Periodic check in the subscriber's context: a listening process that never sends learns
    // of a restarted bus here.
    static gboolean Watch(gpointer self) {
        auto* link = static_cast<CBusLink*>(self);
        bool connected = false;
        {
            std::lock_guard<std::mutex> lock(link->m_mutex);
            link->t_DropClosed();
            if (link->m_pConnection == nullptr && !link->m_bConnecting) link->t_StartAttempt();
            connected = link->m_pConnection != nullptr;
        }
        if (connected) link->EnsureSubscribed();
        return G_SOURCE_CONTINUE;
    }

    // GDBus worker thread, before any subscription sees the message. A list-changed event while
    // another is still queued for the callback is dropped: it would say the same thing again.
    static GDBusMessage* Filter(GDBusConnection* /*connection*/, GDBusMessage* message,
                                gboolean incoming, gpointer self) {
        if (!incoming || !IsOurSignal(message) ||
            !IsListChanged(g_dbus_message_get_body(message))) {
            return message;
        }
        if (static_cast<CBusLink*>(self)->AdmitListChanged()) return message;
        g_object_unref(message);
        return nullptr;
    }

    std::mutex m_mutex;
    std::condition_variable m_cv;
    GDBusConnection* m_pConnection = nullptr;
    GError* m_pLastError = nullptr;
    bool m_bConnecting = false;
    std::chrono::steady_clock::time_point m_attemptStart;

    CReminderDBusInfo* m_pOwner = nullptr;
    SReminderEventSlot* m_pSlot = nullptr;
    GMainContext* m_pContext = nullptr;
    GDBusConnection* m_pSubscribed = nullptr;
    guint m_nSubscriptionId = 0;
    std::atomic<bool> m_bListChangedPending{false};
};

// Sending only queues the message for the bus worker thread; a short-lived process (a tool that
// changes one booking and exits) would lose the event without a flush. The flush is waited for
// until `deadline` at most, in a context of this thread's own, so a hanging bus cannot hold the
// caller.
void FlushUntil(GDBusConnection* connection, gint64 deadline) {
    struct SFlush {
        bool done = false;
        bool abandoned = false;
    };
    struct SContext {
        GMainContext* context = g_main_context_new();
        ~SContext() { g_main_context_unref(context); }
    };
    static thread_local SContext own;

    auto* flush = new SFlush();
    g_main_context_push_thread_default(own.context);
    g_dbus_connection_flush(
        connection, nullptr,
        [](GObject* source, GAsyncResult* result, gpointer data) {
            g_dbus_connection_flush_finish(G_DBUS_CONNECTION(source), result, nullptr);
            auto* state = static_cast<SFlush*>(data);
            if (state->abandoned) {
                delete state;
            } else {
                state->done = true;
            }
        },
        flush);
    const gint64 left = deadline - g_get_monotonic_time();
    if (left > 0) {
        bool expired = false;
        GSource* timer = g_timeout_source_new(static_cast<guint>(left / 1000 + 1));
        g_source_set_callback(
            timer,
            [](gpointer flag) -> gboolean {
                *static_cast<bool*>(flag) = true;
                return G_SOURCE_REMOVE;
            },
            &expired, nullptr);
        g_source_attach(timer, own.context);
        while (!flush->done && !expired) g_main_context_iteration(own.context, TRUE);
        g_source_destroy(timer);
        g_source_unref(timer);
    }
    g_main_context_pop_thread_default(own.context);
    if (flush->done) {
        delete flush;
    } else {
        flush->abandoned = true;  // freed by the callback when the flush ends
    }
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
    const gint64 deadline = g_get_monotonic_time() + kBusWaitUs;
    CBusLink& link = CBusLink::Instance();
    GObjectPtr<GDBusConnection> connection(link.Connection());
    if (connection == nullptr) {
        REMINDER_ERR("Get DBUS connection failed.");
        return false;
    }
    // A connection made again after the bus restarted carries the subscription too.
    link.ScheduleResubscribe();
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
    GError* raw = nullptr;
    const gboolean sent = g_dbus_connection_send_message(
        connection.get(), message.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, &raw);
    GErrorPtr error(raw);
    if (!sent || error != nullptr) {
        REMINDER_ERR("Send event failed.");
        return false;
    }
    FlushUntil(connection.get(), deadline);
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
    // From here on a new change needs an event of its own: the callback may already have read
    // the list.
    if (IsListChanged(parameters)) CBusLink::Instance().ListChangedDelivered();

    const auto* slot = static_cast<const SReminderEventSlot*>(userData);
    if (slot == nullptr || slot->pFunc == nullptr) return;
    slot->pFunc(slot->pData, &event);
}

void CReminderDBusInfo::Subscribe(SReminderEventSlot* slot) {
    CBusLink& link = CBusLink::Instance();
    GMainContext* context = g_main_context_ref_thread_default();
    link.SetSubscriber(this, slot, context);
    g_main_context_unref(context);
    GObjectPtr<GDBusConnection> connection(link.Connection(&m_pError));
    guint id = 0;
    if (connection != nullptr) {
        id = link.EnsureSubscribed();
    } else {
        REMINDER_ERR("Get DBUS connection failed.");
    }
    REMINDER_LOG("nEvenyID : [%d]", static_cast<int>(id));
}

void CReminderDBusInfo::Refresh() {
    CBusLink& link = CBusLink::Instance();
    GObjectPtr<GDBusConnection> connection(link.Connection());
    if (connection != nullptr) link.ScheduleResubscribe();
}
