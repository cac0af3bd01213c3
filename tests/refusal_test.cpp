// The calling thread's last refusal text beside the answers of the facade.
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "ReminderAPI.h"
#include "TestSupport.h"
#include "system_info.h"

namespace {

// The sample television's clock, in its local time (UTC + 1 h).
constexpr uint32_t kLocalNow = 1795456800u + 3600u;

CRemindInfo Booking(EReserveType type, unsigned long long service, uint16_t eventId,
                    uint32_t localStart) {
    CRemindInfo item;
    item.m_nReserveType = type;
    item.m_nServiceId = service;
    item.m_nEventId = eventId;
    item.SetStartTime(localStart);
    item.m_nDuration = 1800;
    item.m_sTitle = "Event " + std::to_string(eventId);
    return item;
}

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

    tvsim::SetSystemInfo(SYSTEM_INFO_KEY_PVR_SUPPORTED, 0);
    CRemindInfo recording = Booking(REMINDER_RESERVE_RECORDING, 1001, 8, kLocalNow + 6000);
    EXPECT_FALSE(api->AddRemindItem(recording, false, false));
    EXPECT_EQ(CReminderAPI::LastRefusal(), "TV does not support PVR, schedule recording failed.");
}

}  // namespace
