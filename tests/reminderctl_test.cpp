// reminderctl run as a process against a database of its own, on the sample television.
#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string>

#include "TestSupport.h"

namespace {

struct SRun {
    int status;
    std::string output;  // standard output and error together
};

class ReminderctlTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_dir = std::filesystem::temp_directory_path() /
                ("reminderctl-test-" + std::to_string(getpid()));
        std::filesystem::remove_all(m_dir);
        m_db = (m_dir / "nested" / "ReminderFile_v1.db").string();
    }
    void TearDown() override { std::filesystem::remove_all(m_dir); }

    SRun Run(const std::string& arguments) {
        const std::string command =
            std::string(REMINDER_TOOL_PATH) + " --db '" + m_db + "' " + arguments + " 2>&1";
        const testsupport::SCommandRun run = testsupport::RunShell(command);
        return SRun{run.status, run.output};
    }

    std::filesystem::path m_dir;
    std::string m_db;
};

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST_F(ReminderctlTest, BookReplaceAndRefuse) {
    // The first booking creates the database's directory.
    SRun run = Run("add --service 1001 --event 104 --as viewing");
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(std::filesystem::exists(m_db));
    // Times are the television's local clock (UTC + 1 h): 20:00 UTC shows as 21:00.
    EXPECT_TRUE(Contains(run.output, "2026-11-23 21:00")) << run.output;

    run = Run("add --service 1001 --event 104 --as recording");
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(Contains(run.output, "Replaced viewing")) << run.output;

    // A refusal exits non-zero with the reason the library gave.
    run = Run("add --service 1001 --event 104 --as recording");
    EXPECT_NE(run.status, 0);
    EXPECT_TRUE(Contains(run.output, "Failed, Already booked.")) << run.output;

    // An unknown programme is an error too.
    EXPECT_NE(Run("add --service 1001 --event 9999 --as viewing").status, 0);
}

TEST_F(ReminderctlTest, ListShowAndDelete) {
    ASSERT_EQ(Run("add --service 1005 --event 103 --as viewing").status, 0);
    ASSERT_EQ(Run("add --manual --channel 6.1 --start 2026-11-24T09:00+01:00 --duration 30 "
                  "--repeat days:MTWTF-- --as viewing")
                  .status,
              0);

    // The JSON list is an array of the stored records.
    SRun run = Run("list --json");
    ASSERT_EQ(run.status, 0) << run.output;
    Json::Value list;
    std::string errors;
    std::istringstream json(run.output);
    ASSERT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), json, &list, &errors)) << errors;
    ASSERT_TRUE(list.isArray());
    ASSERT_EQ(list.size(), 2u);
    const Json::Value manual = list[1];
    EXPECT_EQ(manual["m_nManual"].asInt(), 1);
    EXPECT_EQ(manual["m_nRepeatType"].asInt(), 4);       // the weekday mask
    EXPECT_EQ(manual["m_cManualRepeat"].asInt(), 0x3E);  // Monday to Friday
    const std::string uid = std::to_string(list[0]["m_nUid"].asUInt());

    run = Run("show " + uid);
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(Contains(run.output, "Nyheder")) << run.output;
    EXPECT_TRUE(Contains(run.output, "2026-11-23 21:30")) << run.output;

    ASSERT_EQ(Run("delete " + uid).status, 0);
    EXPECT_NE(Run("show " + uid).status, 0);
    EXPECT_NE(Run("delete " + uid).status, 0);
    run = Run("list --kind scheduled");
    EXPECT_FALSE(Contains(run.output, "Nyheder")) << run.output;
    EXPECT_TRUE(Contains(run.output, "days:MTWTF--")) << run.output;
}

TEST_F(ReminderctlTest, FullListIsRefusedWithItsOwnMessage) {
    for (int event = 103; event < 133; ++event) {
        ASSERT_EQ(
            Run("add --service 1005 --event " + std::to_string(event) + " --as viewing").status, 0)
            << event;
    }
    const SRun run = Run("add --service 1006 --event 110 --as viewing");
    EXPECT_NE(run.status, 0);
    EXPECT_TRUE(Contains(run.output, "The list is full (30 bookings).")) << run.output;
}

TEST_F(ReminderctlTest, NowMovesTheClock) {
    // At 21:30 on the television's clock (no offset given) the late film's first part has
    // begun: only two parts are left to book.
    const SRun run = Run("--now 2026-11-23T21:30 add --service 1002 --event 500 --as recording");
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(Contains(run.output, "Booked 2 row(s)")) << run.output;
    // Unreadable times are refused, a number beyond 32 bits too.
    for (const char* now : {"yesterday", "99999999999999999999999"}) {
        EXPECT_EQ(Run(std::string("--now ") + now + " list").status, 1) << now;
    }
}

TEST_F(ReminderctlTest, KindsStartsOverlapsAndCrids) {
    ASSERT_EQ(Run("add --service 1001 --event 104 --as recording").status, 0);
    // The opera on the satellite channel is split in three parts, each with its own '#' suffix.
    ASSERT_EQ(Run("add --service 5001 --event 701 --as recording").status, 0);

    SRun run = Run("list --kind scheduled-and-failed");
    EXPECT_TRUE(Contains(run.output, "4 row(s)")) << run.output;
    run = Run("list --kind in-progress");
    EXPECT_TRUE(Contains(run.output, "No bookings.")) << run.output;
    // Both start at 21:00 with a two-minute start margin: their padded start is 20:58.
    run = Run("list --at 2026-11-23T20:58");
    EXPECT_TRUE(Contains(run.output, "2 row(s)")) << run.output;
    EXPECT_TRUE(Contains(Run("list --at 2026-11-23T21:00").output, "No bookings."));
    EXPECT_NE(Run("list --at 2026-11-23T20:58 --kind failed").status, 0);

    // The film in three parts at 21:00 on another channel meets both 21:00 bookings.
    run = Run("overlaps --service 1002 --event 500 --as recording");
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(Contains(run.output, "2 booking(s) overlap it")) << run.output;
    EXPECT_TRUE(Contains(run.output, "Cinéma de Minuit")) << run.output;
    run = Run("overlaps --manual --channel 1 --start 2026-11-23T23:00 --duration 30 --json");
    ASSERT_EQ(run.status, 0) << run.output;
    Json::Value list;
    std::string errors;
    std::istringstream json(run.output);
    ASSERT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), json, &list, &errors)) << errors;
    ASSERT_EQ(list.size(), 2u);  // the film on channel 1 and the opera's last part
    EXPECT_TRUE(Contains(Run("overlaps --manual --channel 1 --start 2026-11-23T10:00 "
                             "--duration 30")
                             .output,
                         "No booking overlaps it."));
    // Asking books nothing.
    EXPECT_TRUE(Contains(Run("list").output, "4 row(s)"));
    EXPECT_NE(Run("overlaps --manual --channel 1").status, 0);

    // Another instance of the opera in other letter case: its programme is booked, but no
    // booking carries that exact CRID.
    run = Run("find --crid CRID://SAT.EXAMPLE/OPERA/AIDA#9");
    EXPECT_TRUE(Contains(run.output, "Programme booked: yes")) << run.output;
    EXPECT_TRUE(Contains(run.output, "No booking carries this CRID")) << run.output;
    run = Run("find --crid crid://sat.example/opera/aida#2");
    EXPECT_TRUE(Contains(run.output, "1 booking(s) carry this CRID")) << run.output;
    EXPECT_TRUE(Contains(Run("find --crid crid://nowhere").output, "Programme booked: no"));
}

TEST_F(ReminderctlTest, ExpireAndTheRecorderLifeCycle) {
    // UID 1: the late film (21:00 to 23:00), UID 2: a daily reminder at 20:30.
    ASSERT_EQ(Run("add --service 1001 --event 104 --as recording").status, 0);
    ASSERT_EQ(Run("add --manual --channel 2 --start 2026-11-23T20:30 --duration 15 --repeat daily "
                  "--as viewing")
                  .status,
              0);
    SRun run = Run("recorder next");
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(Contains(run.output, "No recording is ready.")) << run.output;
    ASSERT_EQ(Run("recorder ready 1").status, 0);
    run = Run("recorder next");
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(Contains(run.output, "Recording: UID 1")) << run.output;
    EXPECT_TRUE(Contains(Run("recorder current").output, "UID 1")) << run.output;
    run = Run("recorder fail 1 --errno 42");
    ASSERT_EQ(run.status, 0) << run.output;
    run = Run("list --kind failed");
    EXPECT_TRUE(Contains(run.output, "failed: error 42")) << run.output;
    EXPECT_EQ(Run("recorder done").status, 1);

    // Next morning the daily reminder has moved on.
    run = Run("--now 2026-11-24T08:00 expire");
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(Contains(run.output, "Moved     UID 2")) << run.output;
    EXPECT_TRUE(Contains(run.output, "to 2026-11-24 20:30")) << run.output;
}

}  // namespace
