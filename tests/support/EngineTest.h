// A fixture for the engine's tests: the sample television, an empty store and no log lines, with
// the few store helpers every engine test needs.
#ifndef REMINDER_ENGINE_TEST_H
#define REMINDER_ENGINE_TEST_H

#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <string>
#include <vector>

#include "ReminderAPIImp.h"
#include "TestSupport.h"

namespace testsupport {

class CEngineTest : public ::testing::Test {
protected:
    void SetUp() override {
        LoadSampleTelevision();
        ClearStore();
        tvsim::ClearLogs();
    }

    // Stores the booking as it stands and answers its UID.
    uint32_t Store(const CRemindInfo& item) {
        EXPECT_TRUE(engine.t_AddRemindItem(item, false)) << item.ToString();
        uint32_t newest = 0;
        for (const CRemindInfo& e : Stored()) newest = std::max<uint32_t>(newest, e.m_nUid);
        return newest;
    }

    // Empties the store, then stores each booking.
    void Restore(const std::vector<CRemindInfo>& items) {
        ClearStore();
        for (const CRemindInfo& item : items) Store(item);
    }

    std::vector<CRemindInfo> Stored() {
        std::vector<CRemindInfo> list;
        engine.t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
        return list;
    }

    CRemindInfo Row(uint32_t uid) {
        CRemindInfo row;
        EXPECT_TRUE(engine.t_GetRemindItemByUid(uid, row)) << uid;
        return row;
    }

    static size_t Notifications() { return LogLinesContaining(": Notify(").size(); }

    // The guide's programme booked as `type`, with its first series CRID, as a booking made
    // from the guide keeps it.
    static CRemindInfo FromGuide(unsigned long long service, unsigned short eventId,
                                 EReserveType type = REMINDER_RESERVE_RECORDING) {
        TCProgramData programme;
        EXPECT_TRUE(tvsim::FindProgramme(service, eventId, programme)) << service << "/" << eventId;
        CRemindInfo item;
        item.Set(programme, type);
        std::list<std::string> series;
        if (programme.GetCRIDs(series, CRID_TYPE_SERIES) && !series.empty()) {
            item.m_sSeriesCrid = series.front();
        }
        return item;
    }

    CReminderAPIImp engine;
};

}  // namespace testsupport

#endif
