// Change notification through a real bus. Every test process runs its own dbus-daemon from the
// tests' bus configuration, so that events of tests running in parallel never mix; tests that
// stop or lack a bus run the library in a helper process against a daemon of their own.
#include <fcntl.h>
#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "DataControl.h"
#include "ReminderAPI.h"
#include "ReminderDBusInfo.h"
#include "TestSupport.h"
#include "reminder_api.h"

// Events compare and print field by field (found by argument lookup, so not in the unnamed
// namespace).
bool operator==(const TReminderEvent& a, const TReminderEvent& b) {
    return a.nCategory == b.nCategory && a.nEvent == b.nEvent && a.nParam1 == b.nParam1 &&
           a.nParam2 == b.nParam2 && a.eParamType == b.eParamType;
}

void PrintTo(const TReminderEvent& e, std::ostream* os) {
    *os << "{" << e.nCategory << ", " << e.nEvent << ", " << e.nParam1 << ", " << e.nParam2 << ", "
        << e.eParamType << "}";
}

namespace {

using Env = std::vector<std::pair<std::string, std::string>>;

// A child process with its standard input and output on pipes, run through env(1) so that
// `overrides` replace variables of ours.
class Child {
public:
    // `mergeErrors` sends the child's standard error into the same pipe as its output.
    Child(const std::vector<std::string>& args, const Env& overrides, bool mergeErrors = false) {
        std::vector<std::string> command{"/usr/bin/env"};
        for (const auto& kv : overrides) command.push_back(kv.first + "=" + kv.second);
        command.insert(command.end(), args.begin(), args.end());
        std::vector<char*> argv;
        for (const auto& s : command) argv.push_back(const_cast<char*>(s.c_str()));
        argv.push_back(nullptr);
        int in[2];
        int out[2];
        if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) return;
        m_pid = fork();
        if (m_pid == 0) {
            dup2(in[0], STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            if (mergeErrors) dup2(out[1], STDERR_FILENO);
            execv(argv[0], argv.data());
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        m_in = in[1];
        m_out = out[0];
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child() {
        if (m_pid > 0) {
            kill(m_pid, SIGKILL);
            Wait(0);
        }
        if (m_in >= 0) close(m_in);
        if (m_out >= 0) close(m_out);
    }

    // The next line of output without its end; empty at end of output or after `timeoutMs`.
    std::string ReadLine(int timeoutMs) {
        const auto deadline =
            std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        while (true) {
            const size_t end = m_buffer.find('\n');
            if (end != std::string::npos) {
                std::string line = m_buffer.substr(0, end);
                m_buffer.erase(0, end + 1);
                return line;
            }
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            pollfd fd = {m_out, POLLIN, 0};
            if (left.count() <= 0 || poll(&fd, 1, static_cast<int>(left.count())) <= 0) return "";
            char chunk[256];
            const ssize_t n = read(m_out, chunk, sizeof chunk);
            if (n <= 0) return "";
            m_buffer.append(chunk, static_cast<size_t>(n));
        }
    }

    void WriteLine(const std::string& line) {
        const std::string text = line + "\n";
        ASSERT_EQ(write(m_in, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    // Exit status as a shell reports it (128 + signal when killed); the child is killed when it
    // has not ended within `timeoutMs`.
    int Wait(int timeoutMs) {
        if (m_pid <= 0) return -1;
        while (!ReadLine(timeoutMs).empty()) {
        }
        int status = 0;
        if (waitpid(m_pid, &status, WNOHANG) == 0) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, &status, 0);
        }
        m_pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    pid_t m_pid = -1;
    int m_in = -1;
    int m_out = -1;
    std::string m_buffer;
};

// A dbus-daemon of our own, from the tests' bus configuration; stopped when destroyed.
class PrivateBus {
public:
    PrivateBus() {
        char dir[] = "/tmp/reminder-bus-XXXXXX";
        if (mkdtemp(dir) == nullptr) return;
        m_dir = dir;
        std::ifstream in(std::string(REMINDER_SOURCE_DIR) + "/tests/support/test-bus.conf");
        std::stringstream text;
        text << in.rdbuf();
        std::string config = text.str();
        config.replace(config.find("@BUS_DIR@"), 9, m_dir);
        std::ofstream(m_dir + "/bus.conf") << config;
        m_daemon = std::make_unique<Child>(
            std::vector<std::string>{"/usr/bin/dbus-daemon", "--config-file=" + m_dir + "/bus.conf",
                                     "--nofork", "--nosyslog", "--print-address=1"},
            Env{});
        m_address = m_daemon->ReadLine(5000);
    }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;
    ~PrivateBus() {
        Stop();
        if (!m_dir.empty()) std::filesystem::remove_all(m_dir);
    }

    const std::string& Address() const { return m_address; }
    void Stop() { m_daemon.reset(); }

private:
    std::string m_dir;
    std::unique_ptr<Child> m_daemon;
    std::string m_address;
};

// This process's system bus, for as long as its tests run.
class BusEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        m_bus = std::make_unique<PrivateBus>();
        ASSERT_FALSE(m_bus->Address().empty()) << "no private bus";
        setenv("DBUS_SYSTEM_BUS_ADDRESS", m_bus->Address().c_str(), 1);
    }
    void TearDown() override { m_bus.reset(); }

private:
    std::unique_ptr<PrivateBus> m_bus;
};

const auto* const g_busEnvironment = ::testing::AddGlobalTestEnvironment(new BusEnvironment);

struct SourceFree {
    void operator()(GSource* source) const {
        g_source_destroy(source);
        g_source_unref(source);
    }
};

// Runs the default main context, where callbacks arrive, until `done` holds or `timeoutMs`
// passes; true when `done` holds.
bool RunMainLoopUntil(const std::function<bool()>& done, guint timeoutMs = 10000) {
    bool expired = false;
    std::unique_ptr<GSource, SourceFree> timer(g_timeout_source_new(timeoutMs));
    g_source_set_callback(
        timer.get(),
        [](gpointer flag) -> gboolean {
            *static_cast<bool*>(flag) = true;
            return G_SOURCE_REMOVE;
        },
        &expired, nullptr);
    g_source_attach(timer.get(), nullptr);
    while (!done() && !expired) g_main_context_iteration(nullptr, TRUE);
    return done();
}

// Keeps every event handed to its callback.
struct Recorder {
    std::vector<TReminderEvent> events;
    static void Record(void* self, TReminderEvent* event) {
        static_cast<Recorder*>(self)->events.push_back(*event);
    }
    std::function<bool()> HasAtLeast(size_t count) const {
        return [this, count] { return events.size() >= count; };
    }
};

const TReminderEvent kListChanged = {0, REMINDER_EVENT_LIST_CHANGED, 0, 0, PT_PARAM_TYPE_NONE};

int StoredRows() {
    std::vector<CRemindInfo> rows;
    CDBControl::GetInstance()->FindItem(CDBCriteria(), rows);
    return static_cast<int>(rows.size());
}

bool AddStoredItem() {
    CRemindInfo item;
    return CDBControl::GetInstance()->AddItem(item);
}

class DBusNotifyTest : public ::testing::Test {
protected:
    void SetUp() override {
        testsupport::ClearStore();
        tvsim::ClearLogs();
    }
    void TearDown() override { reminder_unregister_signal_callback(); }
    Recorder m_recorder;
};

TEST_F(DBusNotifyTest, ProcessHearsItsOwnChangeThroughTheBus) {
    ASSERT_EQ(reminder_register_signal_callback(&Recorder::Record, &m_recorder), 1);
    ASSERT_TRUE(AddStoredItem());
    CDBControl::GetInstance()->Notify();
    // Nothing is called directly: the event comes back from the bus.
    EXPECT_TRUE(m_recorder.events.empty());
    ASSERT_TRUE(RunMainLoopUntil(m_recorder.HasAtLeast(1)));
    EXPECT_EQ(m_recorder.events.front(), kListChanged);
    EXPECT_TRUE(testsupport::LoggedOn(0, "Send Message : 0 12 0 0 0 "));
    EXPECT_TRUE(testsupport::LoggedOn(0, "0 12 0 0 0 "));
}

TEST_F(DBusNotifyTest, EngineAnnouncesChangesOnlyWhereItShould) {
    ASSERT_EQ(reminder_register_signal_callback(&Recorder::Record, &m_recorder), 1);
    CReminderAPI* api = CReminderAPI::GetInstance();
    CRemindInfo quiet;
    quiet.m_nReserveType = REMINDER_RESERVE_VIEWING;
    quiet.m_sTitle = "quiet";
    CRemindInfo loud(quiet);
    loud.m_sTitle = "loud";
    ASSERT_TRUE(api->AddRemindItem(quiet, false, false));  // the caller asked for no event
    ASSERT_TRUE(api->AddRemindItem(loud, false, true));
    // A list-changed event still waiting for delivery absorbs the next one, so each is heard
    // before the next change.
    ASSERT_TRUE(RunMainLoopUntil(m_recorder.HasAtLeast(1)));
    // The invalid UID is refused before the store; any other deletion attempt announces itself,
    // found or not.
    EXPECT_FALSE(api->DeleteRemindItemAloneByUid(REMINDER_INVALID_UID));
    api->DeleteRemindItemAloneByUid(987654);

    // Our own events come back in the order sent, so the marker arrives last.
    const TReminderEvent marker = {5, 5, 5, 5, PT_PARAM_TYPE_NONE};
    ASSERT_EQ(reminder_send_event(&marker), 1);
    ASSERT_TRUE(RunMainLoopUntil(
        [&] { return !m_recorder.events.empty() && m_recorder.events.back() == marker; }));
    EXPECT_EQ(m_recorder.events, (std::vector<TReminderEvent>{kListChanged, kListChanged, marker}));
    EXPECT_EQ(StoredRows(), 2);
}

TEST_F(DBusNotifyTest, RegisteringTwiceKeepsOneSubscriptionAndCallsOnlyTheLatest) {
    Recorder first;
    ASSERT_EQ(reminder_register_signal_callback(&Recorder::Record, &first), 1);
    // At most one subscription per process (an earlier test in this process may have made it).
    const size_t subscriptions = testsupport::LogLinesContaining("nEvenyID : [").size();
    EXPECT_LE(subscriptions, 1u);
    // The second name serves the same single slot and subscribes no more.
    ASSERT_EQ(reminder_e_register_signal_callback(&Recorder::Record, &m_recorder), 1);
    EXPECT_EQ(testsupport::LogLinesContaining("nEvenyID : [").size(), subscriptions);

    const TReminderEvent event = {3, 4, 5, 6, PT_PARAM_TYPE_NONE};
    ASSERT_EQ(reminder_send_event(&event), 1);
    ASSERT_TRUE(RunMainLoopUntil(m_recorder.HasAtLeast(1)));
    EXPECT_EQ(m_recorder.events.size(), 1u) << "one subscription delivers once";
    EXPECT_TRUE(first.events.empty());
}

TEST_F(DBusNotifyTest, AfterUnregisteringEventsAreReceivedAndDropped) {
    ASSERT_EQ(reminder_register_signal_callback(&Recorder::Record, &m_recorder), 1);
    reminder_unregister_signal_callback();
    reminder_e_unregister_signal_callback();
    EXPECT_EQ(testsupport::LogLinesContaining("UnRegister... Func").size(), 1u);

    const TReminderEvent dropped = {7, 7, 7, 7, PT_PARAM_TYPE_NONE};
    ASSERT_EQ(reminder_send_event(&dropped), 1);
    // The receiving side logs each event before it looks at the slot.
    ASSERT_TRUE(RunMainLoopUntil([] { return testsupport::LoggedOn(0, "7 7 7 7 0 "); }));
    EXPECT_TRUE(m_recorder.events.empty());

    // Registering again reuses the subscription.
    ASSERT_EQ(reminder_register_signal_callback(&Recorder::Record, &m_recorder), 1);
    ASSERT_EQ(reminder_send_event(&kListChanged), 1);
    ASSERT_TRUE(RunMainLoopUntil(m_recorder.HasAtLeast(1)));
    EXPECT_EQ(m_recorder.events.front(), kListChanged);
    EXPECT_LE(testsupport::LogLinesContaining("nEvenyID : [").size(), 1u);
}

TEST_F(DBusNotifyTest, SentEventsArriveUnchanged) {
    ASSERT_EQ(reminder_register_signal_callback(&Recorder::Record, &m_recorder), 1);
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    ASSERT_NE(bus, nullptr);
    // A foreign sender's body of another shape is no event and must not reach the callback.
    g_dbus_connection_emit_signal(bus, nullptr, "/org/tizen/tv/reminder", "org.tizen.tv.reminder",
                                  "Signal", g_variant_new("(s)", "junk"), nullptr);
    g_object_unref(bus);

    const TReminderEvent plain = {1, 2, 3, 4, static_cast<PTParamType>(5)};
    const TReminderEvent extremes = {-1, 0xFFFFFFFFu, INT_MIN, INT_MAX,
                                     static_cast<PTParamType>(-7)};
    ASSERT_EQ(reminder_send_event(&plain), 1);
    ASSERT_EQ(reminder_send_event(&extremes), 1);
    // The class overload fills category 0 and narrows its fields to the signal's 32 bits.
    ASSERT_TRUE(CReminderDBusInfo::SendEvent(9, -2, 70000, PT_PARAM_TYPE_NONE));
    EXPECT_EQ(reminder_send_event(nullptr), 0);

    ASSERT_TRUE(RunMainLoopUntil(m_recorder.HasAtLeast(3)));
    ASSERT_EQ(m_recorder.events.size(), 3u);
    EXPECT_EQ(m_recorder.events[0], plain);
    EXPECT_EQ(m_recorder.events[1], extremes);
    EXPECT_EQ(m_recorder.events[2], (TReminderEvent{0, 9, -2, 70000, PT_PARAM_TYPE_NONE}));
}

TEST_F(DBusNotifyTest, SecondProcessReceivesEveryEventOfABurstInOrder) {
    ASSERT_EQ(reminder_register_signal_callback(&Recorder::Record, &m_recorder), 1);
    // Hearing our own probe proves the subscription is in place at the bus before the writer
    // starts.
    const TReminderEvent probe = {2, 0, 0, 0, PT_PARAM_TYPE_NONE};
    ASSERT_EQ(reminder_send_event(&probe), 1);
    ASSERT_TRUE(RunMainLoopUntil(m_recorder.HasAtLeast(1)));
    m_recorder.events.clear();

    constexpr int kChanges = 300;
    Child writer({DBUS_HELPER_PATH, "burst", std::to_string(kChanges)}, Env{});
    // Each change announces itself, then the writer sends its number: {0,12,..}, {1,100,i,..}.
    // A list-changed event that arrives while another still waits for delivery is absorbed by
    // it: every numbered event arrives, in order, and list changes arrive at least once, never
    // twice in a row.
    const auto& events = m_recorder.events;
    auto numbered = [&events] {
        return std::count_if(events.begin(), events.end(),
                             [](const TReminderEvent& e) { return e.nEvent == 100; });
    };
    ASSERT_TRUE(RunMainLoopUntil([&] { return numbered() >= kChanges; }, 60000))
        << "received " << events.size();
    EXPECT_EQ(writer.Wait(10000), 0);
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.front(), kListChanged);
    int next = 0;
    int changes = 0;
    for (size_t i = 0; i < events.size(); ++i) {
        if (events[i] == kListChanged) {
            ++changes;
            ASSERT_TRUE(i == 0 || !(events[i - 1] == kListChanged)) << "at event " << i;
            continue;
        }
        ASSERT_EQ(events[i], (TReminderEvent{1, 100, next, 0, PT_PARAM_TYPE_NONE}))
            << "at event " << i;
        ++next;
    }
    EXPECT_EQ(next, kChanges);
    EXPECT_LE(changes, kChanges);
    EXPECT_EQ(StoredRows(), kChanges);
}

TEST_F(DBusNotifyTest, WithoutABusChangesLandAndRegistrationAnswersOne) {
    Child offline({DBUS_HELPER_PATH, "offline"},
                  {{"DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/reminder-bus"}});
    EXPECT_EQ(offline.ReadLine(10000), "register=1 send=0 change=1");
    EXPECT_EQ(offline.Wait(10000), 0);
    EXPECT_EQ(StoredRows(), 1);
}

TEST_F(DBusNotifyTest, RegisteredProcessOutlivesItsBusDaemon) {
    PrivateBus doomed;
    ASSERT_FALSE(doomed.Address().empty());
    Child survivor({DBUS_HELPER_PATH, "survive"}, {{"DBUS_SYSTEM_BUS_ADDRESS", doomed.Address()}});
    ASSERT_EQ(survivor.ReadLine(10000), "ready");
    doomed.Stop();
    survivor.WriteLine("go");
    EXPECT_EQ(survivor.ReadLine(10000), "alive change=1");
    EXPECT_EQ(survivor.Wait(10000), 0) << "the helper must end normally, not by SIGTERM";
    EXPECT_EQ(StoredRows(), 2);
}

TEST_F(DBusNotifyTest, WatchCommandPrintsEachEventAsItArrives) {
    Child watch({REMINDER_TOOL_PATH, "watch", "--count", "2", "--timeout", "20"}, Env{}, true);
    ASSERT_EQ(watch.ReadLine(10000), "watch: listening");
    const TReminderEvent event = {1, 2, 3, 4, static_cast<PTParamType>(5)};
    ASSERT_EQ(reminder_send_event(&event), 1);
    // The arrival time, the event's name, its fields.
    EXPECT_THAT(watch.ReadLine(10000),
                ::testing::EndsWith("  event 2  (category=1 event=2 param1=3 param2=4 type=5)"));
    CDBControl::GetInstance()->Notify();
    EXPECT_THAT(
        watch.ReadLine(10000),
        ::testing::EndsWith("  list changed  (category=0 event=12 param1=0 param2=0 type=0)"));
    EXPECT_EQ(watch.Wait(10000), 0) << "the watch ends by itself after --count events";
}

}  // namespace
