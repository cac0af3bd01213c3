// reminderctl as a person uses it: where its database lives, what it never creates, the forms
// of values it accepts and how it says no, and failures that are never shown as empty answers.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "ChildProcess.h"
#include "ReminderAPI.h"
#include "TestSupport.h"
#include "ToolOutput.h"
#include "reminder_api.h"

namespace {

using testsupport::Contains;

namespace fs = std::filesystem;

// The line of `text` that contains `part`; empty when none does.
std::string LineWith(const std::string& text, const std::string& part) {
    const size_t at = text.find(part);
    if (at == std::string::npos) return "";
    const size_t begin = text.rfind('\n', at) + 1;  // npos + 1 is 0: the first line
    return text.substr(begin, text.find('\n', at) - begin);
}

class ReminderctlCliTest : public testsupport::CToolTest {
protected:
    // Runs the tool in a shell from `cwd` (a folder of the test's own unless given) with only
    // the environment given besides PATH and a HOME of the test's own: no REMINDER_DB_PATH
    // unless `environment` sets it. Standard output and error together.
    testsupport::SCommandRun Shell(const std::string& arguments,
                                   const std::string& environment = "",
                                   const std::string& redirect = "2>&1", std::string cwd = "") {
        if (cwd.empty()) cwd = (m_dir / "cwd").string();
        fs::create_directories(m_dir / "cwd");
        return testsupport::RunShell("cd '" + cwd + "' && env -u REMINDER_DB_PATH HOME='" +
                                     m_dir.string() + "/home' " + environment + " " +
                                     REMINDER_TOOL_PATH + " " + arguments + " " + redirect);
    }
    // With the test's database file.
    testsupport::SCommandRun Db(const std::string& arguments,
                                const std::string& redirect = "2>&1") {
        return Shell("--db '" + m_db + "' " + arguments, "", redirect);
    }
    // Whether `arguments` on the test's database end with `status` and print `part`.
    ::testing::AssertionResult Says(const std::string& arguments, int status,
                                    const std::string& part) {
        const auto run = Db(arguments);
        if (run.status == status && Contains(run.output, part))
            return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << arguments << " -> " << run.status << "\n"
                                             << run.output;
    }
};

TEST_F(ReminderctlCliTest, DefaultDatabaseIsTheSameFromEveryDirectoryAndReadingCreatesNothing) {
    const std::string state = "XDG_STATE_HOME='" + (m_dir / "state").string() + "'";
    // Nothing booked yet: an empty list, and no file or directory appears.
    for (const char* command : {"list --json", "show 1", "now", "list"}) Shell(command, state);
    EXPECT_FALSE(fs::exists(m_dir / "state"));
    EXPECT_FALSE(fs::exists(m_dir / "home"));
    EXPECT_EQ(Shell("list", state).output, "No bookings.\n");

    // A booking creates $XDG_STATE_HOME/reminder/ReminderFile_v1.db, seen from every folder;
    // without XDG_STATE_HOME the same lives under ~/.local/state; $REMINDER_DB_PATH comes first.
    const std::string add = "add --service 1001 --event 104 --as viewing";
    ASSERT_EQ(Shell(add, state).status, 0);
    EXPECT_TRUE(fs::exists(m_dir / "state" / "reminder" / "ReminderFile_v1.db"));
    EXPECT_TRUE(Contains(Shell("list", state, "2>&1", "/").output, "Cinéma de Minuit"));
    ASSERT_EQ(Shell(add).status, 0);
    EXPECT_TRUE(
        fs::exists(m_dir / "home" / ".local" / "state" / "reminder" / "ReminderFile_v1.db"));
    ASSERT_EQ(Shell(add, "REMINDER_DB_PATH='" + (m_dir / "env.db").string() + "' " + state).status,
              0);
    EXPECT_TRUE(fs::exists(m_dir / "env.db"));

    // A named file that does not exist is a mistake, not an empty list; nothing is created.
    const auto run = Shell("--db '" + (m_dir / "typo" / "x.db").string() + "' list");
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(Contains(run.output, "No booking database at")) << run.output;
    EXPECT_FALSE(fs::exists(m_dir / "typo"));
}

TEST_F(ReminderctlCliTest, RejectedValuesListTheAcceptedForms) {
    const std::pair<const char*, const char*> cases[] = {
        {"add --manual --channel 6 --start 2026-11-24T09:00 --duration 30 --repeat weekly",
         "once, daily, mon-fri, weekend or days:MTWTFSS"},
        {"--now yesterday list", "YYYY-MM-DDTHH:MM"},
        {"guide --channel six", "MAJOR or MAJOR.MINOR"},
        {"add --channel 1 --at 9pm --as viewing", "HH:MM"},
        {"list --kind everything", "scheduled,failed,all"},
        {"add --service 1001 --event 104 --as reminder", "viewing,recording,series"},
    };
    for (const auto& [arguments, accepted] : cases) {
        const auto run = Db(arguments);
        EXPECT_NE(run.status, 0) << arguments;
        EXPECT_TRUE(Contains(run.output, accepted)) << arguments << "\n" << run.output;
    }
}

TEST_F(ReminderctlCliTest, ChannelsTimesAndColumnsAsPeopleReadThem) {
    // MAJOR and MAJOR.MINOR both name channel 6.1; an unknown minor is refused.
    for (const char* channel : {"6", "6.1"})
        EXPECT_TRUE(Contains(Db("guide --channel " + std::string(channel)).output, "Channel 6.1"));
    EXPECT_TRUE(Says("guide --channel 6.2", 1, "no channel 6.2"));
    // Booking by channel and time as people think: the programme on air at 21:00.
    ASSERT_TRUE(Says("add --channel 1.0 --at 21:00 --as viewing", 0, "2026-11-23 21:00 +01:00"));
    // A second viewing reminder of that event is refused by the tool (the library allows it).
    EXPECT_TRUE(Says("add --channel 1 --at 21:30 --as viewing", 1, "already has a viewing"));
    ASSERT_TRUE(
        Says("add --manual --channel 6.1 --start 2026-11-24T09:00 --duration 30 "
             "--repeat days:MTWTF-- --as viewing",
             0, ""));
    // Columns are as wide as their content: every TITLE starts where its header does.
    auto run = Db("list");
    const size_t titleColumn = LineWith(run.output, "TITLE").find("TITLE");
    EXPECT_EQ(LineWith(run.output, "(manual)").find("(manual)"), titleColumn) << run.output;
    EXPECT_EQ(LineWith(run.output, "Cinéma").find("Cinéma"), titleColumn) << run.output;

    EXPECT_EQ(Db("now").output,
              "2026-11-23 19:00:00 +01:00  (UTC 2026-11-23 18:00:00, 1795456800 seconds)\n");
    EXPECT_EQ(Db("--version").output,
              std::string("reminderctl (reminder-api) ") + REMINDER_API_VERSION_STRING + "\n");
    // At 21:30, from 20:00 for two hours: the 20:00 programme has ended, the 21:00 one is on,
    // and the early news is outside the window.
    run = Db("--now 2026-11-23T21:30 guide --channel 1 --from 2026-11-23T20:00 --hours 2");
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(Contains(LineWith(run.output, "Inspecteur Morel"), "[ended]")) << run.output;
    EXPECT_TRUE(Contains(LineWith(run.output, "Cinéma de Minuit"), "[on now]")) << run.output;
    EXPECT_FALSE(Contains(run.output, "Le Journal")) << run.output;
}

// Output that cannot be written, and another process holding the file for longer than the store
// waits, are errors, not an empty list.
TEST_F(ReminderctlCliTest, FailuresAreErrorsNotEmptyAnswers) {
    ASSERT_EQ(Db("add --service 1001 --event 104 --as viewing").status, 0);
    for (const char* list : {"list", "list --json"})
        EXPECT_EQ(Db(list, ">/dev/full 2>&1").status, 1);

    testsupport::CChild locker({REMINDER_DB_LOCKER, m_db, "6000"});
    ASSERT_EQ(locker.ReadLine(10000), "ready");
    for (const char* command : {"list", "add --service 1001 --event 105 --as viewing"})
        EXPECT_TRUE(Says(command, 1, "busy: another process holds it"));
}

TEST_F(ReminderctlCliTest, WatchCarriesOnAfterTheBusRestarts) {
    testsupport::CTestBus bus;
    testsupport::CChild watch({REMINDER_TOOL_PATH, "watch", "--count", "1", "--timeout", "30"},
                              {{"DBUS_SYSTEM_BUS_ADDRESS", bus.Address()}}, true);
    ASSERT_EQ(watch.ReadLine(10000), "watch: listening");
    bus.Kill();
    EXPECT_EQ(watch.ReadLine(10000),
              "watch: the system bus went away; waiting for it to come back");
    ASSERT_TRUE(bus.Start());
    ASSERT_EQ(watch.ReadLine(20000), "watch: listening");

    // This process has not used the bus before: it connects to the new daemon.
    setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.Address().c_str(), 1);
    const TReminderEvent event = {1, 2, 3, 4, PT_PARAM_TYPE_NONE};
    ASSERT_EQ(reminder_send_event(&event), 1);
    EXPECT_TRUE(Contains(watch.ReadLine(10000),
                         "  event 2  (category=1 event=2 param1=3 param2=4 type=0)"));
    EXPECT_EQ(watch.Wait(10000), 0);
}

}  // namespace
