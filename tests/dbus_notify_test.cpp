// Change notification through a real bus. Every test process runs its own dbus-daemon, so that
// events of tests running in parallel never mix; tests that stop or lack a bus run the library in
// a helper process against a daemon of their own.
#include <gio/gio.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "DataControl.h"
#include "ReminderAPI.h"
#include "ReminderDBusInfo.h"
#include "TestSupport.h"
#include "reminder_api.h"

// Events compare field by field (found by argument lookup, so not in the unnamed namespace).
bool operator==(const TReminderEvent& a, const TReminderEvent& b) {
    return a.nCategory == b.nCategory && a.nEvent == b.nEvent && a.nParam1 == b.nParam1 &&
           a.nParam2 == b.nParam2 && a.eParamType == b.eParamType;
}

namespace {

using testsupport::CChild;

// Runs the default main context, where callbacks arrive, until `done` holds or `timeoutMs`
// passes; true when `done` holds.
bool RunMainLoopUntil(const std::function<bool()>& done, guint timeoutMs = 10000) {
    const gint64 deadline = g_get_monotonic_time() + gint64{timeoutMs} * 1000;
    const guint tick = g_timeout_add(
        10, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
    while (!done() && g_get_monotonic_time() < deadline) g_main_context_iteration(nullptr, TRUE);
    g_source_remove(tick);
    return done();
}

const TReminderEvent kListChanged = {0, REMINDER_EVENT_LIST_CHANGED, 0, 0, PT_PARAM_TYPE_NONE};

int StoredRows() {
    std::vector<CRemindInfo> rows;
    CDBControl::GetInstance()->FindItem(CDBCriteria(), rows);
    return static_cast<int>(rows.size());
}

class DBusNotifyTest : public ::testing::Test {
protected:
    // This process's system bus, a daemon of its own, for as long as its tests run.
    static void SetUpTestSuite() {
        s_bus = new testsupport::CTestBus;
        setenv("DBUS_SYSTEM_BUS_ADDRESS", s_bus->Address().c_str(), 1);
    }
    static void TearDownTestSuite() { delete s_bus; }
    static inline testsupport::CTestBus* s_bus = nullptr;

    void SetUp() override {
        testsupport::ClearStore();
        tvsim::ClearLogs();
    }
    void TearDown() override { reminder_unregister_signal_callback(); }

    // Keeps every event handed to it.
    static void Record(void* self, TReminderEvent* event) {
        static_cast<std::vector<TReminderEvent>*>(self)->push_back(*event);
    }
    // Runs the main loop until `count` events were recorded.
    bool Heard(size_t count) {
        return RunMainLoopUntil([&] { return m_events.size() >= count; });
    }
    std::vector<TReminderEvent> m_events;
};

TEST_F(DBusNotifyTest, EngineAnnouncesChangesOnlyWhereItShouldAndEventsArriveUnchanged) {
    ASSERT_EQ(reminder_register_signal_callback(&Record, &m_events), 1);
    CReminderAPI* api = CReminderAPI::GetInstance();
    CRemindInfo item;
    item.m_nReserveType = REMINDER_RESERVE_VIEWING;
    item.m_sTitle = "quiet";
    ASSERT_TRUE(api->AddRemindItem(item, false, false));  // the caller asked for no event
    item.m_sTitle = "loud";
    ASSERT_TRUE(api->AddRemindItem(item, false, true));
    // Nothing is called directly: the event comes back from the bus.
    EXPECT_TRUE(m_events.empty());
    // A list-changed event still waiting for delivery absorbs the next one, so each is heard
    // before the next change.
    ASSERT_TRUE(Heard(1));
    // The invalid UID is refused before the store; any other deletion attempt announces itself,
    // found or not.
    EXPECT_FALSE(api->DeleteRemindItemAloneByUid(REMINDER_INVALID_UID));
    api->DeleteRemindItemAloneByUid(987654);
    ASSERT_TRUE(Heard(2));

    // A foreign sender's body of another shape is no event and must not reach the callback.
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    ASSERT_NE(bus, nullptr);
    g_dbus_connection_emit_signal(bus, nullptr, "/org/tizen/tv/reminder", "org.tizen.tv.reminder",
                                  "Signal", g_variant_new("(s)", "junk"), nullptr);
    g_object_unref(bus);
    // Our own events come back unchanged, in the order sent.
    const TReminderEvent plain = {1, 2, 3, 4, static_cast<PTParamType>(5)};
    const TReminderEvent extremes = {-1, 0xFFFFFFFFu, INT_MIN, INT_MAX,
                                     static_cast<PTParamType>(-7)};
    ASSERT_EQ(reminder_send_event(&plain), 1);
    ASSERT_EQ(reminder_send_event(&extremes), 1);
    // The class overload fills category 0 and narrows its fields to the signal's 32 bits.
    ASSERT_TRUE(CReminderDBusInfo::SendEvent(9, -2, 70000, PT_PARAM_TYPE_NONE));
    EXPECT_EQ(reminder_send_event(nullptr), 0);
    ASSERT_TRUE(Heard(5));
    EXPECT_EQ(
        m_events,
        (std::vector<TReminderEvent>{
            kListChanged, kListChanged, plain, extremes, {0, 9, -2, 70000, PT_PARAM_TYPE_NONE}}));
    EXPECT_EQ(StoredRows(), 2);
}

TEST_F(DBusNotifyTest, OneSubscriptionServesTheLatestCallbackAndSurvivesUnregistering) {
    std::vector<TReminderEvent> first;
    ASSERT_EQ(reminder_register_signal_callback(&Record, &first), 1);
    // The second name serves the same single slot: one subscription, the latest callback.
    ASSERT_EQ(reminder_e_register_signal_callback(&Record, &m_events), 1);
    const TReminderEvent event = {3, 4, 5, 6, PT_PARAM_TYPE_NONE};
    ASSERT_EQ(reminder_send_event(&event), 1);
    ASSERT_TRUE(Heard(1));
    EXPECT_EQ(m_events.size(), 1u) << "one subscription delivers once";
    EXPECT_TRUE(first.empty());

    // Unregistered (by either name), events are received and dropped.
    reminder_unregister_signal_callback();
    reminder_e_unregister_signal_callback();
    const TReminderEvent dropped = {7, 7, 7, 7, PT_PARAM_TYPE_NONE};
    ASSERT_EQ(reminder_send_event(&dropped), 1);
    // The receiving side logs each event before it looks at the slot.
    ASSERT_TRUE(RunMainLoopUntil([] { return testsupport::LoggedOn(0, "7 7 7 7 0 "); }));
    EXPECT_EQ(m_events.size(), 1u);

    // Registering again reuses the subscription.
    ASSERT_EQ(reminder_register_signal_callback(&Record, &m_events), 1);
    ASSERT_EQ(reminder_send_event(&kListChanged), 1);
    ASSERT_TRUE(Heard(2));
    EXPECT_EQ(m_events.back(), kListChanged);
}

TEST_F(DBusNotifyTest, SecondProcessReceivesEveryEventOfABurstInOrder) {
    ASSERT_EQ(reminder_register_signal_callback(&Record, &m_events), 1);
    // Hearing our own probe proves the subscription is in place before the writer starts.
    const TReminderEvent probe = {2, 0, 0, 0, PT_PARAM_TYPE_NONE};
    ASSERT_EQ(reminder_send_event(&probe), 1);
    ASSERT_TRUE(Heard(1));
    m_events.clear();

    // Each change announces itself, then the writer sends its number {1, 100, i, 0, 0}. A
    // list-changed event that arrives while another still waits for delivery is absorbed by it:
    // every numbered event arrives, in order, and list changes never twice in a row.
    constexpr int kChanges = 300;
    CChild writer({DBUS_HELPER_PATH, "burst", std::to_string(kChanges)});
    const TReminderEvent last = {1, 100, kChanges - 1, 0, PT_PARAM_TYPE_NONE};
    ASSERT_TRUE(
        RunMainLoopUntil([&] { return !m_events.empty() && m_events.back() == last; }, 60000))
        << "received " << m_events.size();
    EXPECT_EQ(writer.Wait(10000), 0);
    EXPECT_EQ(m_events.front(), kListChanged);
    int next = 0;
    for (size_t i = 0; i < m_events.size(); ++i) {
        if (m_events[i] == kListChanged) {
            ASSERT_TRUE(i == 0 || !(m_events[i - 1] == kListChanged)) << "at event " << i;
        } else {
            ASSERT_EQ(m_events[i], (TReminderEvent{1, 100, next++, 0, PT_PARAM_TYPE_NONE}))
                << "at event " << i;
        }
    }
    EXPECT_EQ(StoredRows(), kChanges);
}

// Without a bus, registration still answers 1 and changes land. (A process that outlives its
// bus daemon is the reliability suite's bus test.)
TEST_F(DBusNotifyTest, ChangesLandWithoutABus) {
    CChild offline({DBUS_HELPER_PATH, "offline"},
                   {{"DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/reminder-bus"}});
    EXPECT_EQ(offline.ReadLine(10000), "register=1 send=0 change=1");
    EXPECT_EQ(offline.Wait(10000), 0);
    EXPECT_EQ(StoredRows(), 1);
}

}  // namespace
