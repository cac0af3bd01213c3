// Helpers shared by the engine's sources: the middleware calls the engine makes, the arithmetic
// of a booking's window, and the tests of a record's kind that several operations share.
#ifndef REMINDER_API_IMP_INTERNAL_H
#define REMINDER_API_IMP_INTERNAL_H

#include <algorithm>
#include <boost/bind/bind.hpp>
#include <boost/function.hpp>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "DataControl.h"
#include "RemindInfo.h"
#include "ReminderAPIImp.h"
#include "ReminderAPIUtil.h"
#include "ReminderLog.h"
#include "TVServiceAPI.h"

namespace engine_detail {

constexpr int kMaxListCount = 30;
constexpr int kFailedItemCap = 20;
constexpr uint32_t kSeriesBaseOffset = 7862400;  // 91 days
constexpr uint32_t kSplitChainGap = 10800;       // 3 hours
constexpr int kCountryWithAlarmKept = 5;
constexpr int kCountrySplitByCrid = 23;
constexpr int kCountrySingleClearsSeries = 37;
constexpr unsigned short kErrnoTimeChanged = 1000;
// A recording failed because a rescan no longer found its channel.
constexpr unsigned short kErrnoChannelRemoved = 1001;

// Runs one bound middleware call and logs where it was made from, so a failing guide query
// can be traced back to the operation that asked for it.
class CMiddlewareCall {
public:
    CMiddlewareCall(const char* site, boost::function<int()> call)
        : m_site(site), m_call(std::move(call)) {}

    int Run() const {
        const int result = m_call();
        REMINDER_LOG("Middleware call [%s] returns [%d]", m_site, result);
        return result;
    }

private:
    const char* m_site;
    boost::function<int()> m_call;
};

inline IServiceGuide* ServiceGuide() {
    IServiceGuide* guide = nullptr;
    if (!TVServiceAPI::CreateServiceGuide(1, 0, &guide) || guide == nullptr) {
        REMINDER_ERR("CreateServiceGuide failed.");
        return nullptr;
    }
    return guide;
}

inline bool GetProgramsOfEvent(const TCProgramId& id,
                               std::map<unsigned int, TCProgramData*>& parts) {
    IServiceGuide* guide = ServiceGuide();
    if (guide == nullptr) return false;
    const CMiddlewareCall call(
        "GetProgramsOfEvent",
        boost::bind(&IServiceGuide::GetProgramsOfEvent, guide, boost::cref(id), boost::ref(parts)));
    return call.Run() == 1;
}

inline bool GetProgramsByCRID(const std::string& crid,
                              std::map<unsigned int, TCProgramData*>& programs) {
    IServiceGuide* guide = ServiceGuide();
    if (guide == nullptr) return false;
    const CMiddlewareCall call(
        "GetProgramsByCRID",
        boost::bind(&IServiceGuide::GetProgramsByCRID, guide, boost::cref(crid), CRID_TYPE_SERIES,
                    boost::ref(programs)));
    return call.Run() == 1;
}

inline bool GetProgram(const TCProgramId& id, TCProgramData& program) {
    IServiceGuide* guide = ServiceGuide();
    if (guide == nullptr) return false;
    const CMiddlewareCall call("GetProgram", boost::bind(&IServiceGuide::GetProgram, guide,
                                                         boost::cref(id), boost::ref(program)));
    return call.Run() == 1;
}

inline uint32_t EffectiveStart(const CRemindInfo& item) {
    return item.m_nEventTime - item.m_nStartMarginTime;
}

inline uint32_t PaddedEnd(const CRemindInfo& item) {
    return item.m_nEventTime + item.m_nDuration + item.m_nEndMarginTime;
}

// A type-11 item whose event time equals its start margin is a CRID placeholder: it is stored
// without checks and ignored by the scans.
inline bool IsCridPlaceholder(const CRemindInfo& item) {
    return item.m_nReserveType == REMINDER_RESERVE_RECORDING_CRID &&
           item.m_nEventTime == item.m_nStartMarginTime;
}

// UIDs are 32 bits wide: all ones names no row, whether the caller's unsigned long holds it in
// 32 or in 64 bits (ULONG_MAX), and neither does anything wider.
inline bool IsInvalidUid(unsigned long uid) {
    return uid >= REMINDER_INVALID_UID;
}

inline bool IsPlainRecording(const CRemindInfo& item) {
    return CReminderAPIImp::m_FlagReserveTypeIsForRecording(item.m_nReserveType) &&
           !item.m_bRecordListBooking;
}

// The next occurrence of a repeating manual item, from its padded start.
inline unsigned long NextOccurrence(const CRemindInfo& item, bool startFlag) {
    return CReminderAPIUtil::GetStartTime(EffectiveStart(item), item.m_nRepeatType,
                                          item.m_cManualRepeat, startFlag);
}

// Only a recording booked from the guide gets the default margin, on both sides; every other
// item is stored without one.
inline void ApplyTimeMarginRule(CRemindInfo& item) {
    item.SetTimeMargin(0);
    if (item.m_nManual == 0 && item.m_nReserveType == REMINDER_RESERVE_RECORDING) {
        item.SetTimeMargin(static_cast<unsigned short>(CReminderAPIUtil::GetTimeMargin()));
    }
}

inline CDBCriteria ByUid(unsigned long uid) {
    CDBCriteria criteria;
    criteria.Where(CDBCriteria::CRITERIA_UID, uid);
    return criteria;
}

inline std::vector<CRemindInfo>::const_iterator FindByUid(const std::vector<CRemindInfo>& list,
                                                          unsigned long uid) {
    return std::find_if(list.begin(), list.end(),
                        [uid](const CRemindInfo& e) { return e.m_nUid == uid; });
}

inline bool IsSelectedByExtractType(const CRemindInfo& item, EExtractType type) {
    if (item.m_bRecordListBooking) return false;
    const int reserve = item.m_nReserveType;
    const bool scheduled = CReminderAPIImp::m_FlagReserveTypeIsForScheduled(reserve);
    switch (type) {
        case REM_EXTRACT_SCHEDULED_AND_FAILED:
            return scheduled || reserve == REMINDER_RESERVE_RECORDING_FAILED;
        case REM_EXTRACT_RESERVE_TYPE_3:
            return reserve == REMINDER_RESERVE_RECORDING_IN_PROGRESS;
        case REM_EXTRACT_SCHEDULED:
            return scheduled;
        case REM_EXTRACT_FAILED:
            return reserve == REMINDER_RESERVE_RECORDING_FAILED;
        case REM_EXTRACT_ALL_BOOKINGS:
            return scheduled || reserve == REMINDER_RESERVE_RECORDING_FAILED ||
                   reserve == REMINDER_RESERVE_SERIES;
    }
    return false;
}

// --- Shared by the update, deletion and recording life-cycle operations (ReminderAPIImpUpdate) ---

enum class ELookup { kFound, kMissing, kUnreadable };

// The stored item with this UID, from the list read by start time.
ELookup FindStored(CReminderAPIImp& engine, unsigned long uid, CRemindInfo& out);
// Reads the stored rows with these UIDs, in table order; false when the read failed.
bool ReadNamedItems(const std::vector<unsigned long>& uids, std::vector<CRemindInfo>& out);

// Moves a repeating item forward, one occurrence at a time, until its padded start is no longer
// before `now`. False, with the item unchanged, when the schedule gives no such occurrence (a
// clock that cannot be read, a weekday repeat without days).
bool MoveToOccurrenceFrom(CRemindInfo& item, unsigned long now);

// Stores new content under a stored UID the way UpdateRemindItemByUid does, in the caller's
// operation and without announcing it; false when nothing was stored.
bool StoreUpdate(CReminderAPIImp& engine, unsigned long uid, const CRemindInfo& item,
                 bool clearAlarm, bool startFlag);

// Deletes the item with this UID the way DeleteRemindItemByUid does (every part of a split
// event), in the caller's operation and without announcing it; false when nothing was deleted.
bool DeleteWithChain(CReminderAPIImp& engine, unsigned long uid);

// Deletes every item of `list` that `matches` accepts, counting them in `deleted`. False at the
// first deletion that did not land.
template <class Pred>
bool DeleteEach(CReminderAPIImp& engine, const std::vector<CRemindInfo>& list, Pred matches,
                size_t& deleted) {
    for (const CRemindInfo& e : list) {
        if (!matches(e)) continue;
        if (!engine.t_DeleteRemindItemByUid(e.m_nUid)) return false;
        ++deleted;
    }
    return true;
}

}  // namespace engine_detail

#endif
