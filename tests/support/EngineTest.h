// Bookings and a fixture shared by the tests of the engine's store and rules.
#ifndef REMINDER_ENGINE_TEST_H
#define REMINDER_ENGINE_TEST_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ReminderAPIImp.h"
#include "TestSupport.h"

namespace testsupport {

// The sample television's clock, in its local time (UTC + 1 h).
constexpr uint32_t kLocalNow = 1795456800u + 3600u;
constexpr int kSystemLog = 2;

// A booking titled "Event <eventId>", half an hour long unless told otherwise.
inline CRemindInfo Booking(EReserveType type, unsigned long long service, uint16_t eventId,
                           uint32_t localStart, uint32_t duration = 1800) {
    CRemindInfo item;
    item.m_nReserveType = type;
    item.m_nServiceId = service;
    item.m_nEventId = eventId;
    item.SetStartTime(localStart);
    item.m_nDuration = duration;
    item.m_sTitle = "Event " + std::to_string(eventId);
    return item;
}

// An engine over an empty store and the sample television.
class CEngineTest : public ::testing::Test {
protected:
    void SetUp() override {
        LoadSampleTelevision();
        ClearStore();
    }
    std::vector<CRemindInfo> Stored() {
        std::vector<CRemindInfo> list;
        engine.t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
        return list;
    }
    // "event:type" of every stored booking in start order, "L" marking record-list bookings.
    std::string Kept() {
        std::string all;
        for (const CRemindInfo& e : Stored()) {
            all += (all.empty() ? "" : " ") + std::to_string(e.m_nEventId) + ":" +
                   std::to_string(e.m_nReserveType) + (e.m_bRecordListBooking ? "L" : "");
        }
        return all;
    }
    CReminderAPIImp engine;
};

}  // namespace testsupport

#endif
