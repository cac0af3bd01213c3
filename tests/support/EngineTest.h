// A fixture for the engine's tests: the sample television, an empty store and no log lines, with
// the few bookings and store helpers the engine's tests share.
#ifndef REMINDER_ENGINE_TEST_H
#define REMINDER_ENGINE_TEST_H

#include <gtest/gtest.h>

#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <list>
#include <string>
#include <vector>

#include "ReminderAPIImp.h"
#include "TestSupport.h"

namespace testsupport {

// The sample television's clock, in its local time (UTC + 1 h).
constexpr uint32_t kLocalNow = 1795456800u + 3600u;
constexpr int kSystemLog = 2;
constexpr EReserveType kViewing = REMINDER_RESERVE_VIEWING;
constexpr EReserveType kRecording = REMINDER_RESERVE_RECORDING;
constexpr EReserveType kWaiting = REMINDER_RESERVE_RECORDING_MONITORED;
constexpr EReserveType kFailed = REMINDER_RESERVE_RECORDING_FAILED;

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

// The same booking made from the record list.
inline CRemindInfo FromList(CRemindInfo item) {
    item.m_bRecordListBooking = true;
    return item;
}

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

    // "event:type" of every stored booking in start order, "L" marking record-list bookings.
    std::string Kept() {
        std::string all;
        for (const CRemindInfo& e : Stored())
            all += (all.empty() ? "" : " ") + std::to_string(e.m_nEventId) + ":" +
                   std::to_string(e.m_nReserveType) + (e.m_bRecordListBooking ? "L" : "");
        return all;
    }

    CRemindInfo Row(uint32_t uid) {
        CRemindInfo row;
        EXPECT_TRUE(engine.t_GetRemindItemByUid(uid, row)) << uid;
        return row;
    }

    // Runs SQL on this process's store file, past the library (a trigger that refuses a write).
    static void Sql(const std::string& sql) {
        sqlite3* db = nullptr;
        ASSERT_EQ(sqlite3_open(std::getenv("REMINDER_DB_PATH"), &db), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sql;
        sqlite3_close(db);
    }

    static size_t Notifications() { return LogLinesContaining(": Notify(").size(); }

    static TCProgramData Programme(unsigned long long service, unsigned short eventId) {
        TCProgramData programme;
        EXPECT_TRUE(tvsim::FindProgramme(service, eventId, programme)) << service << "/" << eventId;
        return programme;
    }

    // The guide's programme booked as `type`, with its first series CRID, as a booking made
    // from the guide keeps it.
    static CRemindInfo FromGuide(unsigned long long service, unsigned short eventId,
                                 EReserveType type = REMINDER_RESERVE_RECORDING) {
        const TCProgramData programme = Programme(service, eventId);
        CRemindInfo item;
        item.Set(programme, type);
        std::list<std::string> series;
        if (programme.GetCRIDs(series, CRID_TYPE_SERIES) && !series.empty())
            item.m_sSeriesCrid = series.front();
        return item;
    }

    CReminderAPIImp engine;
};

}  // namespace testsupport

#endif
