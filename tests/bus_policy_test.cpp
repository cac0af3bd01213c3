// The installed system-bus policy (dbus/reminder-api.conf) on a real dbus-daemon that runs a copy
// of the machine's system-bus configuration: the change signal flows between two processes, and
// unrelated traffic is treated exactly as it is without the file.
#include <gio/gio.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <regex>
#include <sstream>
#include <string>

#include "ChildProcess.h"
#include "reminder_api.h"

namespace {

namespace fs = std::filesystem;

std::string ReadFile(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

const std::string kInstalled = ReadFile(REMINDER_SOURCE_DIR "/dbus/reminder-api.conf");
// What a service installs beside us: it may own its name and be called by anyone.
const char* const kUnrelatedService =
    "<busconfig><policy context=\"default\"><allow own=\"org.example.Unrelated\"/>"
    "<allow send_destination=\"org.example.Unrelated\"/></policy></busconfig>";
// Like some devices: every signal denied unless a file allows it.
const char* const kDenySignals =
    "<policy context=\"default\"><deny send_type=\"signal\"/><deny receive_type=\"signal\"/>"
    "</policy>";

// Calls `method` and waits for the answer: "" when it came, else the error's name. The interface
// may be null (D-Bus allows it).
std::string Call(GDBusConnection* connection, const char* destination, const char* path,
                 const char* interface, const char* method, GVariant* body = nullptr) {
    GDBusMessage* call = g_dbus_message_new_method_call(destination, path, interface, method);
    if (body != nullptr) g_dbus_message_set_body(call, body);
    GError* error = nullptr;
    GDBusMessage* reply = g_dbus_connection_send_message_with_reply_sync(
        connection, call, G_DBUS_SEND_MESSAGE_FLAGS_NONE, 5000, nullptr, nullptr, &error);
    g_object_unref(call);
    const char* name = reply != nullptr ? g_dbus_message_get_error_name(reply) : "no reply";
    const std::string outcome = name != nullptr ? name : "";
    if (reply != nullptr) g_object_unref(reply);
    g_clear_error(&error);
    return outcome;
}

// A dbus-daemon on a copy of the system-bus configuration whose listen address and policy
// directory point into a temporary directory holding `policyFiles`, optionally denying signals.
class CPolicyBus {
public:
    CPolicyBus(const std::map<std::string, std::string>& policyFiles, bool denySignals) {
        fs::create_directories(m_dir / "system.d");
        for (const auto& [name, content] : policyFiles)
            std::ofstream(m_dir / "system.d" / name) << content;
        std::string conf = ReadFile("/usr/share/dbus-1/system.conf");
        conf = std::regex_replace(conf, std::regex("<listen>[^<]*</listen>"),
                                  "<listen>unix:path=" + (m_dir / "socket").string() + "</listen>");
        // The first policy directory becomes ours, the machine's own is left out.
        const std::string ours = std::string(denySignals ? kDenySignals : "") + "<includedir>" +
                                 (m_dir / "system.d").string() + "</includedir>";
        conf = std::regex_replace(conf, std::regex("<includedir>system.d</includedir>"), ours);
        conf = std::regex_replace(conf, std::regex("<includedir>/etc/dbus-1/system.d</includedir>"),
                                  "");
        // Only root may switch to the bus user.
        if (geteuid() != 0) conf = std::regex_replace(conf, std::regex("<user>[^<]*</user>"), "");
        std::ofstream(m_dir / "system.conf") << conf;
        m_daemon = std::make_unique<testsupport::CChild>(std::vector<std::string>{
            "dbus-daemon", "--config-file=" + (m_dir / "system.conf").string(), "--nofork",
            "--nopidfile", "--nosyslog", "--print-address=1"});
        m_address = m_daemon->ReadLine(5000);
    }
    ~CPolicyBus() {
        m_daemon.reset();
        fs::remove_all(m_dir);
    }
    const std::string& Address() const { return m_address; }

    // A new private connection to the bus, registered with it; null when it cannot be had.
    GDBusConnection* Connect() const {
        return g_dbus_connection_new_for_address_sync(
            m_address.c_str(),
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, nullptr);
    }

    // An unrelated service owns an unrelated name; another peer calls a method on it without
    // naming an interface (which D-Bus allows). The error name of the answer: the service's own
    // (it has no such method) once the call reached it, else the bus's refusal.
    std::string UnrelatedCallOutcome() const {
        g_autoptr(GDBusConnection) service = Connect();
        g_autoptr(GDBusConnection) caller = Connect();
        if (service == nullptr || caller == nullptr) return "no connection";
        const std::string owned =
            Call(service, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                 "RequestName", g_variant_new("(su)", "org.example.Unrelated", 4u));
        if (!owned.empty()) return "cannot own the name: " + owned;
        return Call(caller, "org.example.Unrelated", "/org/example/Unrelated", nullptr, "Ping");
    }

private:
    fs::path m_dir =
        fs::temp_directory_path() / ("reminder-bus-policy-" + std::to_string(getpid()));
    std::unique_ptr<testsupport::CChild> m_daemon;
    std::string m_address;
};

TEST(BusPolicy, UnrelatedCallIsTreatedAsWithoutTheFile) {
    const auto outcome = [](const std::string& ours) {
        std::map<std::string, std::string> files{{"org.example.Unrelated.conf", kUnrelatedService}};
        if (!ours.empty()) files["reminder-api.conf"] = ours;
        return CPolicyBus(files, false).UnrelatedCallOutcome();
    };
    // The service's own policy lets the call through.
    EXPECT_EQ(outcome(""), "org.freedesktop.DBus.Error.UnknownMethod");
    // A bare interface deny (without a destination) would block it: it matches messages that
    // carry no interface, whoever they are for.
    EXPECT_EQ(outcome(kInstalled), "org.freedesktop.DBus.Error.UnknownMethod");
}

// On the system bus as configured on this machine, and on one that denies every signal by
// default; one process each, as the library keeps its connection.
class BusPolicySignal : public ::testing::TestWithParam<bool> {};

TEST_P(BusPolicySignal, ChangeSignalFlowsBetweenProcesses) {
    CPolicyBus bus({{"reminder-api.conf", kInstalled}}, GetParam());
    // This process and the helper both take the policy bus as their system bus.
    setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.Address().c_str(), 1);
    int received = 0;
    ASSERT_EQ(reminder_register_signal_callback(
                  [](void* count, TReminderEvent* event) {
                      if (event->nEvent == 100) ++*static_cast<int*>(count);
                  },
                  &received),
              1);
    // A round trip on the shared connection: the daemon has taken the subscription.
    g_autoptr(GDBusConnection) shared = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    ASSERT_EQ(Call(shared, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                   "GetId"),
              "");
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
                         [](const auto& info) {
                             return info.param ? "SignalsDeniedByDefault" : "SystemDefaults";
                         });

}  // namespace
