// The bus under a registered process: killed and started again, hanging, and a main loop that
// stalls while events pour in.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>

#include "ReliabilitySupport.h"
#include "reminder_api.h"

namespace reliability {
namespace {

using Bus = testsupport::CTestBus;

// The writer's lines over `ms` milliseconds: events it heard, writes acknowledged and refused.
struct SWriterTally {
    long heard = 0, wrote = 0, failed = 0;
    SWriterTally(Child& writer, int ms) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
        while (std::chrono::steady_clock::now() < end) {
            const std::string line = writer.ReadLine(50);
            heard += line.rfind("heard ", 0) == 0;
            wrote += line.rfind("wrote ", 0) == 0 && line.back() == '1';
            failed += line.rfind("wrote ", 0) == 0 && line.back() == '0';
        }
    }
};

// The writer's events are the only ones on its bus: hearing them again proves that it both sends
// and receives after the restart.
TEST(BusTest, RegisteredWriterHearsAndSendsAgainAfterTheBusRestarts) {
    Bus bus;
    Child writer(Worker({"buswriter"}), {{"DBUS_SYSTEM_BUS_ADDRESS", bus.Address()}});
    long heardBefore = 0;
    for (int i = 0; i < 100 && heardBefore == 0; ++i) heardBefore = SWriterTally(writer, 100).heard;
    ASSERT_GT(heardBefore, 0) << "the writer never heard its own events";

    bus.Kill();
    const SWriterTally outage(writer, 1500);
    ASSERT_TRUE(bus.Start());
    const SWriterTally after(writer, 6000);
    const int status = writer.Wait(0);
    Figures({{"heard_after_restart", after.heard},
             {"writes_acknowledged_during_outage", outage.wrote},
             {"writes_failed_during_outage", outage.failed},
             {"deaf_after_restart", after.heard == 0},
             {"crashed", status != 128 + SIGKILL}});
    EXPECT_GT(outage.wrote, 0) << "changes must land while the bus is away";
    EXPECT_EQ(outage.failed, 0);
    EXPECT_GT(after.heard, 0) << "deaf or mute after the bus came back";
    EXPECT_EQ(status, 128 + SIGKILL) << "the writer ended by itself";
}

TEST(BusTest, HangingBusHoldsNoCallForLong) {
    Bus bus;
    bus.Signal(SIGSTOP);
    Child writer(Worker({"buswriter"}), {{"DBUS_SYSTEM_BUS_ADDRESS", bus.Address()}});
    // The registration, the add and two changes, each with the milliseconds it took.
    long longest = 0, answered = 0, acknowledged = 0;
    for (std::string line; answered < 4 && !(line = writer.ReadLine(20000)).empty(); ++answered) {
        longest = std::max(longest, std::stol(line.substr(line.find(' ') + 1)));
        acknowledged += line.rfind("register", 0) != 0 && line.back() == '1';
    }
    bus.Signal(SIGCONT);
    const int status = writer.Wait(0);
    Figures({{"calls_answered_within_20s", answered},
             {"longest_call_ms", answered == 4 ? std::to_string(longest) : ">20000"},
             {"writes_acknowledged", acknowledged}});
    EXPECT_EQ(answered, 4);
    EXPECT_LT(longest, 3000);  // one second of waiting for the bus at most, on a loaded machine
    EXPECT_EQ(acknowledged, 3);
    EXPECT_EQ(status, 128 + SIGKILL);
}

TEST(BusTest, StalledMainLoopQueuesOneListChangedEvent) {
    Bus bus;
    Child stalled(Worker({"stall"}), {{"DBUS_SYSTEM_BUS_ADDRESS", bus.Address()}});
    ASSERT_EQ(stalled.ReadLine(20000), "ready");
    // This process has not used a bus before: it sends on the stalled process's.
    setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.Address().c_str(), 1);
    constexpr int kEvents = 500;
    const TReminderEvent listChanged = {0, REMINDER_EVENT_LIST_CHANGED, 0, 0, PT_PARAM_TYPE_NONE};
    for (int i = 0; i < kEvents; ++i) ASSERT_EQ(reminder_send_event(&listChanged), 1);
    usleep(1000000);  // the stalled process's connection takes them in while its loop sleeps
    EXPECT_TRUE(stalled.WriteLine("go"));
    const std::string line = stalled.ReadLine(20000);
    ASSERT_EQ(line.rfind("heard ", 0), 0u) << line;
    const long delivered = std::stol(line.substr(6));
    Figures({{"list_changed_sent", kEvents}, {"list_changed_delivered_after_stall", delivered}});
    // One, or two should the last events reach the process only after its loop ran again.
    EXPECT_GE(delivered, 1);
    EXPECT_LE(delivered, 2);
    EXPECT_EQ(stalled.Wait(10000), 0);
}

}  // namespace
}  // namespace reliability
