// reminderctl tune and monitor, run as processes against a database of their own.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "TestSupport.h"

namespace {

class ReminderctlTuneTest : public testsupport::CToolTest {};

}  // namespace

TEST_F(ReminderctlTuneTest, AcceptingAReminderPrintsTheLaunch) {
    // A reminder on the channel whose service id needs all 64 bits.
    ASSERT_EQ(Run("add --manual --channel 102 --start 2026-11-24T09:00+01:00 --duration 30 "
                  "--as viewing")
                  .first,
              0);
    const auto [status, output] = Run("tune 1 --stop-type 209 --picture-off");
    ASSERT_EQ(status, 0) << output;
    EXPECT_EQ(output,
              "Launched org.tizen.tv-viewer with:\n"
              "  called_app = org.tizen.reminder\n"
              "  svcid = 4294967296\n"
              "The set left picture-off first.\n");

    EXPECT_NE(Run("tune 2").first, 0);  // no such booking
}

TEST_F(ReminderctlTuneTest, MonitorPrintsAMovedProgrammeOfABookedRecording) {
    ASSERT_EQ(Run("add --service 1001 --event 104 --as recording").first, 0);
    ASSERT_EQ(Run("add --service 1001 --event 105 --as viewing").first, 0);
    // The broadcaster moves the booked film by a quarter of an hour, and the unbooked news.
    std::stringstream profile;
    profile << std::ifstream(testsupport::SampleProfilePath()).rdbuf();
    std::string text = profile.str();
    text.insert(text.find('{') + 1, R"("programme_changes": [
        {"after": 0, "type": 1, "service_id": 1001, "event_id": 105, "start": 1795471500},
        {"after": 0, "type": 1, "service_id": 1001, "event_id": 104, "start": 1795464900}],)");
    const std::string moving = (m_dir / "moving.json").string();
    std::ofstream(moving) << text;

    const auto [status, output] = Run("--tv '" + moving + "' monitor --count 1 --timeout 30");
    ASSERT_EQ(status, 0) << output;
    EXPECT_EQ(output,
              "start-time service=1001 event=104 start=2026-11-23 21:15 duration=120 min uid=1  "
              "Cinéma de Minuit\n");
    // Nothing followed, nothing printed: the viewing reminder is not a recording.
    EXPECT_NE(Run("--tv '" + moving + "' monitor --count 2 --timeout 0.5").first, 0);
}
