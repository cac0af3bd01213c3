// reminderctl run as a process against a database of its own, on the sample television.
#include <gtest/gtest.h>
#include <json/json.h>

#include <filesystem>
#include <initializer_list>
#include <sstream>
#include <string>

#include "TestSupport.h"
#include "ToolOutput.h"

namespace {

using testsupport::Contains;
using testsupport::ParseJson;

class ReminderctlTest : public testsupport::CToolTest {
protected:
    // In a folder that does not exist yet.
    void SetUp() override {
        CToolTest::SetUp();
        m_db = (m_dir / "nested" / "ReminderFile_v1.db").string();
    }
    // Standard output and error together.
    testsupport::SCommandRun Run(const std::string& arguments) const {
        return testsupport::RunShell(std::string(REMINDER_TOOL_PATH) + " --db '" + m_db + "' " +
                                     arguments + " 2>&1");
    }
    // Whether `arguments` end with `status` and print every one of `parts`.
    ::testing::AssertionResult Prints(const std::string& arguments,
                                      std::initializer_list<const char*> parts,
                                      int status = 0) const {
        const testsupport::SCommandRun run = Run(arguments);
        bool all = run.status == status;
        for (const char* part : parts) all = all && Contains(run.output, part);
        if (all) return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << arguments << " -> " << run.status << "\n"
                                             << run.output;
    }
};

TEST_F(ReminderctlTest, BookReplaceAndRefuse) {
    // The first booking creates the database's directory. Times are the television's local clock
    // (UTC + 1 h): 20:00 UTC shows as 21:00.
    EXPECT_TRUE(Prints("add --service 1001 --event 104 --as viewing", {"2026-11-23 21:00"}));
    EXPECT_TRUE(std::filesystem::exists(m_db));
    EXPECT_TRUE(Prints("add --service 1001 --event 104 --as recording", {"Replaced viewing"}));
    // A refusal exits non-zero with the reason the library gave; an unknown programme too.
    EXPECT_TRUE(
        Prints("add --service 1001 --event 104 --as recording", {"Failed, Already booked."}, 1));
    EXPECT_NE(Run("add --service 1001 --event 9999 --as viewing").status, 0);
    for (int event = 103; event < 132; ++event) {
        ASSERT_EQ(
            Run("add --service 1005 --event " + std::to_string(event) + " --as viewing").status, 0)
            << event;
    }
    EXPECT_TRUE(Prints("add --service 1006 --event 110 --as viewing",
                       {"The list is full (30 bookings)."}, 1));
}

TEST_F(ReminderctlTest, ListShowAndDelete) {
    ASSERT_EQ(Run("add --service 1005 --event 103 --as viewing").status, 0);
    ASSERT_EQ(Run("add --manual --channel 6.1 --start 2026-11-24T09:00+01:00 --duration 30 "
                  "--repeat days:MTWTF-- --as viewing")
                  .status,
              0);
    // The JSON list is an array of the stored records.
    const Json::Value list = ParseJson(Run("list --json").output);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[1]["m_nManual"].asInt(), 1);
    EXPECT_EQ(list[1]["m_nRepeatType"].asInt(), 4);       // the weekday mask
    EXPECT_EQ(list[1]["m_cManualRepeat"].asInt(), 0x3E);  // Monday to Friday
    const std::string uid = std::to_string(list[0]["m_nUid"].asUInt());

    EXPECT_TRUE(Prints("show " + uid, {"Nyheder", "2026-11-23 21:30"}));
    ASSERT_EQ(Run("delete " + uid).status, 0);
    EXPECT_NE(Run("delete " + uid).status, 0);
    EXPECT_FALSE(Contains(Run("list --kind scheduled").output, "Nyheder"));
}

TEST_F(ReminderctlTest, KindsStartsOverlapsAndCrids) {
    ASSERT_EQ(Run("add --service 1001 --event 104 --as recording").status, 0);
    // The opera on the satellite channel is split in three parts, each with its own '#' suffix.
    ASSERT_EQ(Run("add --service 5001 --event 701 --as recording").status, 0);
    EXPECT_TRUE(Prints("list --kind scheduled-and-failed", {"4 row(s)"}));
    // Both start at 21:00 with a two-minute start margin: their padded start is 20:58.
    EXPECT_TRUE(Prints("list --at 2026-11-23T20:58", {"2 row(s)"}));
    EXPECT_TRUE(Prints("list --at 2026-11-23T21:00", {"No bookings."}));

    // The film in three parts at 21:00 on another channel meets both 21:00 bookings.
    EXPECT_TRUE(Prints("overlaps --service 1002 --event 500 --as recording",
                       {"2 booking(s) overlap it", "Cinéma de Minuit"}));
    // The film on channel 1 and the opera's last part.
    EXPECT_TRUE(Prints("overlaps --manual --channel 1 --start 2026-11-23T23:00 --duration 30",
                       {"2 booking(s) overlap it"}));
    EXPECT_TRUE(Prints("overlaps --manual --channel 1 --start 2026-11-23T10:00 --duration 30",
                       {"No booking overlaps it."}));
    EXPECT_TRUE(Prints("list", {"4 row(s)"}));  // asking books nothing

    // Another instance of the opera in other letter case: its programme is booked, but no
    // booking carries that exact CRID.
    EXPECT_TRUE(Prints("find --crid CRID://SAT.EXAMPLE/OPERA/AIDA#9",
                       {"Programme booked: yes", "No booking carries this CRID"}));
}

TEST_F(ReminderctlTest, ExpireTheRecorderLifeCycleAndAMovedClock) {
    // UID 1: the late film (21:00 to 23:00), UID 2: a daily reminder at 20:30.
    ASSERT_EQ(Run("add --service 1001 --event 104 --as recording").status, 0);
    ASSERT_EQ(Run("add --manual --channel 2 --start 2026-11-23T20:30 --duration 15 --repeat daily "
                  "--as viewing")
                  .status,
              0);
    EXPECT_TRUE(Prints("recorder next", {"No recording is ready."}, 1));
    ASSERT_EQ(Run("recorder ready 1").status, 0);
    EXPECT_TRUE(Prints("recorder next", {"Recording: UID 1"}));
    ASSERT_EQ(Run("recorder fail 1 --errno 42").status, 0);
    EXPECT_TRUE(Prints("list --kind failed", {"failed: error 42"}));
    EXPECT_EQ(Run("recorder done").status, 1);
    // Next morning the daily reminder has moved on.
    EXPECT_TRUE(
        Prints("--now 2026-11-24T08:00 expire", {"Moved     UID 2", "to 2026-11-24 20:30"}));
    // At 21:30 on the television's clock (no offset given) the late film's first part has
    // begun: only two parts are left to book. Seconds beyond 32 bits are refused.
    EXPECT_TRUE(Prints("--now 2026-11-23T21:30 add --service 1002 --event 500 --as recording",
                       {"Booked 2 row(s)"}));
    EXPECT_EQ(Run("--now 99999999999999999999999 list").status, 1);
}

}  // namespace
