// The calling thread's last refusal text beside the answers of the facade.
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "EngineTest.h"
#include "ReminderAPI.h"
#include "system_info.h"

namespace {

using testsupport::Booking;
using testsupport::kLocalNow;

class RefusalTest : public ::testing::Test {
protected:
    void SetUp() override {
        testsupport::LoadSampleTelevision();
        testsupport::ClearStore();
    }
    CReminderAPI* api = CReminderAPI::GetInstance();
};

TEST_F(RefusalTest, RefusalsCarryTheirReasonUntilTheNextOperation) {
    CRemindInfo item = Booking(REMINDER_RESERVE_RECORDING, 1001, 7, kLocalNow + 600);
    ASSERT_TRUE(api->AddRemindItem(item, false, false));
    EXPECT_EQ(CReminderAPI::LastRefusal(), "");

    CRemindInfo again = item;
    EXPECT_FALSE(api->AddRemindItem(again, false, false));
    EXPECT_EQ(CReminderAPI::LastRefusal(), "Failed, Already booked.");
    // Another thread has its own text.
    std::string elsewhere = "unset";
    std::thread([&elsewhere] { elsewhere = CReminderAPI::LastRefusal(); }).join();
    EXPECT_EQ(elsewhere, "");

    // The next operation starts afresh.
    EXPECT_EQ(api->GetRemindItemCnt(), 1);
    EXPECT_EQ(CReminderAPI::LastRefusal(), "");

    // Without PVR a viewing is still booked, a recording is refused.
    tvsim::SetSystemInfo(SYSTEM_INFO_KEY_PVR_SUPPORTED, 0);
    CRemindInfo viewing = Booking(REMINDER_RESERVE_VIEWING, 1001, 9, kLocalNow + 20000);
    EXPECT_TRUE(api->AddRemindItem(viewing, false, false));
    CRemindInfo recording = Booking(REMINDER_RESERVE_RECORDING, 1001, 8, kLocalNow + 6000);
    EXPECT_FALSE(api->AddRemindItem(recording, false, false));
    EXPECT_EQ(CReminderAPI::LastRefusal(), "TV does not support PVR, schedule recording failed.");
}

}  // namespace
