// The installed system-bus policy (dbus/reminder-api.conf) on a real dbus-daemon that runs a copy
// of the machine's system-bus configuration: the change signal flows between two processes, and
// unrelated traffic is treated exactly as it is without the file.
#include <gio/gio.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "reminder_api.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kSystemConf = "/usr/share/dbus-1/system.conf";
constexpr const char* kUnrelatedName = "org.example.Unrelated";

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string InstalledPolicy() {
    return ReadFile(REMINDER_SOURCE_DIR "/dbus/reminder-api.conf");
}

// What a service installs beside us: it may own its name and be called by anyone.
const char* const kUnrelatedServicePolicy = R"(<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <policy context="default">
    <allow own="org.example.Unrelated"/>
    <allow send_destination="org.example.Unrelated"/>
  </policy>
</busconfig>
)";

// A policy that denies by interface alone, without a destination: it also matches messages that
// carry no interface, whoever they are for.
const char* const kBareDenyPolicy = R"(<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <policy context="default">
    <deny send_interface="org.tizen.tv.reminder"/>
    <deny receive_interface="org.tizen.tv.reminder"/>
  </policy>
</busconfig>
)";

struct GObjectUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

// A dbus-daemon of our own on a copy of the system-bus configuration whose listen address and
// policy directory point into a temporary directory. `denySignals` makes it a bus that, like some
// devices, denies every signal unless a file allows it.
class CPolicyBus {
public:
    CPolicyBus(const std::vector<std::pair<std::string, std::string>>& policyFiles,
               bool denySignals) {
        char pattern[] = "/tmp/reminder-bus-policy-XXXXXX";
        m_dir = mkdtemp(pattern);
        fs::create_directories(m_dir / "system.d");
        for (const auto& [name, content] : policyFiles) {
            std::ofstream(m_dir / "system.d" / name) << content;
        }
        const std::string socket = (m_dir / "system_bus_socket").string();
        std::string conf = ReadFile(kSystemConf);
        conf = std::regex_replace(conf, std::regex("<listen>[^<]*</listen>"),
                                  "<listen>unix:path=" + socket + "</listen>");
        // The first policy directory becomes ours, the machine's own is left out.
        std::string ours = "<includedir>" + (m_dir / "system.d").string() + "</includedir>";
        if (denySignals) {
            ours =
                "<policy context=\"default\"><deny send_type=\"signal\"/>"
                "<deny receive_type=\"signal\"/></policy>\n" +
                ours;
        }
        conf = std::regex_replace(conf, std::regex("<includedir>system.d</includedir>"), ours);
        conf = std::regex_replace(conf, std::regex("<includedir>/etc/dbus-1/system.d</includedir>"),
                                  "");
        // Only root may switch to the bus user.
        if (geteuid() != 0) conf = std::regex_replace(conf, std::regex("<user>[^<]*</user>"), "");
        const std::string confPath = (m_dir / "system.conf").string();
        std::ofstream(confPath) << conf;

        m_pid = fork();
        if (m_pid == 0) {
            execlp("dbus-daemon", "dbus-daemon", ("--config-file=" + confPath).c_str(), "--nofork",
                   "--nopidfile", "--nosyslog", static_cast<char*>(nullptr));
            _exit(127);
        }
        m_address = "unix:path=" + socket;
        // Up when it accepts a connection.
        for (int i = 0; i < 100 && !Answers(); ++i) g_usleep(50 * 1000);
    }

    ~CPolicyBus() {
        if (m_pid > 0) {
            kill(m_pid, SIGTERM);
            waitpid(m_pid, nullptr, 0);
        }
        std::error_code ignored;
        fs::remove_all(m_dir, ignored);
    }

    const std::string& Address() const { return m_address; }

    // A new private connection to the bus, registered with it; null when it cannot be had.
    GObjectPtr<GDBusConnection> Connect() const {
        GError* error = nullptr;
        GObjectPtr<GDBusConnection> connection(g_dbus_connection_new_for_address_sync(
            m_address.c_str(),
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, &error));
        if (error != nullptr) g_error_free(error);
        if (connection != nullptr) g_dbus_connection_set_exit_on_close(connection.get(), FALSE);
        return connection;
    }

private:
    bool Answers() const { return fs::exists(m_dir / "system_bus_socket") && Connect(); }

    fs::path m_dir;
    std::string m_address;
    pid_t m_pid = -1;
};

// Answers every method call made to it on the bus worker thread.
GDBusMessage* AnswerEveryCall(GDBusConnection* connection, GDBusMessage* message, gboolean incoming,
                              gpointer) {
    if (!incoming || g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL) {
        return message;
    }
    GObjectPtr<GDBusMessage> reply(g_dbus_message_new_method_reply(message));
    g_dbus_connection_send_message(connection, reply.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr,
                                   nullptr);
    g_object_unref(message);
    return nullptr;
}

// An unrelated service owns an unrelated name; another peer calls a method on it without naming
// an interface (which D-Bus allows). "" when it was answered, else the error name.
std::string UnrelatedCallOutcome(const CPolicyBus& bus) {
    GObjectPtr<GDBusConnection> service = bus.Connect();
    GObjectPtr<GDBusConnection> caller = bus.Connect();
    if (service == nullptr || caller == nullptr) return "no connection";
    GError* error = nullptr;
    GVariant* owned = g_dbus_connection_call_sync(
        service.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName", g_variant_new("(su)", kUnrelatedName, 4u), G_VARIANT_TYPE("(u)"),
        G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, &error);
    if (owned == nullptr) {
        gchar* remote = error != nullptr ? g_dbus_error_get_remote_error(error) : nullptr;
        const std::string name = remote != nullptr ? remote : "?";
        g_free(remote);
        if (error != nullptr) g_error_free(error);
        return "cannot own the name: " + name;
    }
    g_variant_unref(owned);
    g_dbus_connection_add_filter(service.get(), &AnswerEveryCall, nullptr, nullptr);

    GObjectPtr<GDBusMessage> call(
        g_dbus_message_new_method_call(kUnrelatedName, "/org/example/Unrelated", nullptr, "Ping"));
    GObjectPtr<GDBusMessage> reply(g_dbus_connection_send_message_with_reply_sync(
        caller.get(), call.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, 5000, nullptr, nullptr, &error));
    if (reply == nullptr) {
        std::string message = error != nullptr ? error->message : "?";
        if (error != nullptr) g_error_free(error);
        return "no reply: " + message;
    }
    if (g_dbus_message_get_message_type(reply.get()) == G_DBUS_MESSAGE_TYPE_ERROR) {
        return g_dbus_message_get_error_name(reply.get());
    }
    return "";
}

TEST(BusPolicy, UnrelatedCallIsTreatedAsWithoutTheFile) {
    const std::pair<std::string, std::string> service{"org.example.Unrelated.conf",
                                                      kUnrelatedServicePolicy};
    std::string without;
    {
        CPolicyBus bus({service}, false);
        without = UnrelatedCallOutcome(bus);
    }
    EXPECT_EQ(without, "") << "the service's own policy lets the call through";
    {
        CPolicyBus bus({service, {"reminder-api.conf", InstalledPolicy()}}, false);
        EXPECT_EQ(UnrelatedCallOutcome(bus), without);
    }
    // The check sees the fault it guards against: a bare interface deny blocks the call.
    {
        CPolicyBus bus({service, {"reminder-api.conf", kBareDenyPolicy}}, false);
        EXPECT_EQ(UnrelatedCallOutcome(bus), "org.freedesktop.DBus.Error.AccessDenied");
    }
}

// The system bus as configured on this machine, and one that denies every signal by default.
class BusPolicySignal : public ::testing::TestWithParam<bool> {};

void CountEvent(void* data, TReminderEvent* event) {
    if (event->nEvent == 100) ++*static_cast<int*>(data);
}

TEST_P(BusPolicySignal, ChangeSignalFlowsBetweenProcesses) {
    CPolicyBus bus({{"reminder-api.conf", InstalledPolicy()}}, GetParam());
    // This process and the helper both take the policy bus as their system bus.
    setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.Address().c_str(), 1);
    int received = 0;
    ASSERT_EQ(reminder_register_signal_callback(&CountEvent, &received), 1);
    {
        // A round trip on the shared connection: the daemon has taken the subscription.
        GObjectPtr<GDBusConnection> shared(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
        ASSERT_NE(shared, nullptr);
        GVariant* id = g_dbus_connection_call_sync(
            shared.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "GetId", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr);
        ASSERT_NE(id, nullptr);
        g_variant_unref(id);
    }
    // The other process sends one numbered event {1, 100, 0, 0, 0}.
    ASSERT_EQ(std::system(DBUS_HELPER_PATH " burst 1 >/dev/null"), 0);
    const gint64 deadline = g_get_monotonic_time() + 10 * G_USEC_PER_SEC;
    while (received == 0 && g_get_monotonic_time() < deadline) {
        g_main_context_iteration(nullptr, FALSE);
        g_usleep(5000);
    }
    reminder_unregister_signal_callback();
    EXPECT_EQ(received, 1);
}

INSTANTIATE_TEST_SUITE_P(Buses, BusPolicySignal, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool>& info) {
                             return std::string(info.param ? "SignalsDeniedByDefault"
                                                           : "SystemDefaults");
                         });

}  // namespace
