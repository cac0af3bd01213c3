// CReminderAPIImp: the scheduling engine. Every operation re-reads the Items table through the
// store and filters it in memory; the database file is the only state.
#include "ReminderAPIImp.h"

#include <libintl.h>

#include <algorithm>
#include <boost/bind/bind.hpp>
#include <boost/function.hpp>
#include <cstdint>
#include <cstdlib>
#include <list>

#include "DataControl.h"
#include "ReminderAPIUtil.h"
#include "ReminderDBusInfo.h"
#include "ReminderLog.h"
#include "TVServiceAPI.h"

namespace {

constexpr int kMaxListCount = 30;
constexpr int kFailedItemCap = 20;
constexpr uint32_t kSeriesBaseOffset = 7862400;  // 91 days
constexpr uint32_t kSplitChainGap = 10800;       // 3 hours
constexpr int kCountryWithAlarmKept = 5;
constexpr int kCountrySplitByCrid = 23;
constexpr int kCountrySingleClearsSeries = 37;
constexpr unsigned short kErrnoTimeChanged = 1000;

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

IServiceGuide* ServiceGuide() {
    IServiceGuide* guide = nullptr;
    if (!TVServiceAPI::CreateServiceGuide(1, 0, &guide) || guide == nullptr) {
        REMINDER_ERR("CreateServiceGuide failed.");
        return nullptr;
    }
    return guide;
}

bool GetProgramsOfEvent(const TCProgramId& id, std::map<unsigned int, TCProgramData*>& parts) {
    IServiceGuide* guide = ServiceGuide();
    if (guide == nullptr) return false;
    const CMiddlewareCall call(
        "GetProgramsOfEvent",
        boost::bind(&IServiceGuide::GetProgramsOfEvent, guide, boost::cref(id), boost::ref(parts)));
    return call.Run() == 1;
}

bool GetProgramsByCRID(const std::string& crid, std::map<unsigned int, TCProgramData*>& programs) {
    IServiceGuide* guide = ServiceGuide();
    if (guide == nullptr) return false;
    const CMiddlewareCall call(
        "GetProgramsByCRID",
        boost::bind(&IServiceGuide::GetProgramsByCRID, guide, boost::cref(crid), CRID_TYPE_SERIES,
                    boost::ref(programs)));
    return call.Run() == 1;
}

bool GetProgram(const TCProgramId& id, TCProgramData& program) {
    IServiceGuide* guide = ServiceGuide();
    if (guide == nullptr) return false;
    const CMiddlewareCall call("GetProgram", boost::bind(&IServiceGuide::GetProgram, guide,
                                                         boost::cref(id), boost::ref(program)));
    return call.Run() == 1;
}

uint32_t EffectiveStart(const CRemindInfo& item) {
    return item.m_nEventTime - item.m_nStartMarginTime;
}

uint32_t PaddedEnd(const CRemindInfo& item) {
    return item.m_nEventTime + item.m_nDuration + item.m_nEndMarginTime;
}

// A type-11 item whose event time equals its start margin is a CRID placeholder: it is stored
// without checks and ignored by the scans.
bool IsCridPlaceholder(const CRemindInfo& item) {
    return item.m_nReserveType == REMINDER_RESERVE_RECORDING_CRID &&
           item.m_nEventTime == item.m_nStartMarginTime;
}

// UIDs are 32 bits wide: all ones names no row, whether the caller's unsigned long holds it in
// 32 or in 64 bits (ULONG_MAX), and neither does anything wider.
bool IsInvalidUid(unsigned long uid) {
    return uid >= REMINDER_INVALID_UID;
}

bool IsPlainRecording(const CRemindInfo& item) {
    return CReminderAPIImp::m_FlagReserveTypeIsForRecording(item.m_nReserveType) &&
           !item.m_bRecordListBooking;
}

// The next occurrence of a repeating manual item, from its padded start.
unsigned long NextOccurrence(const CRemindInfo& item, bool startFlag) {
    return CReminderAPIUtil::GetStartTime(EffectiveStart(item), item.m_nRepeatType,
                                          item.m_cManualRepeat, startFlag);
}

// Only a recording booked from the guide gets the default margin, on both sides; every other
// item is stored without one.
void ApplyTimeMarginRule(CRemindInfo& item) {
    item.SetTimeMargin(0);
    if (item.m_nManual == 0 && item.m_nReserveType == REMINDER_RESERVE_RECORDING) {
        item.SetTimeMargin(static_cast<unsigned short>(CReminderAPIUtil::GetTimeMargin()));
    }
}

CDBCriteria ByUid(unsigned long uid) {
    CDBCriteria criteria;
    criteria.Where(CDBCriteria::CRITERIA_UID, uid);
    return criteria;
}

std::vector<CRemindInfo>::const_iterator FindByUid(const std::vector<CRemindInfo>& list,
                                                   unsigned long uid) {
    return std::find_if(list.begin(), list.end(),
                        [uid](const CRemindInfo& e) { return e.m_nUid == uid; });
}

bool IsSelectedByExtractType(const CRemindInfo& item, EExtractType type) {
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

bool NotAvailable() {
    REMINDER_ERR("Not available in this build.");
    return false;
}

}  // namespace

CReminderAPIImp::CReminderAPIImp() = default;

CReminderAPIImp::~CReminderAPIImp() = default;

// --- Change notification ---

bool CReminderAPIImp::RegisterEventCB(ReminderEventCallback func, void* data) {
    if (m_pDBusInfo == nullptr) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
        g_type_init();  // a no-op on current GLib, kept for older platform releases
#pragma GCC diagnostic pop
        m_pDBusInfo = new CReminderDBusInfo();
        m_pDBusInfo->Subscribe(&m_eventSlot);
    }
    REMINDER_LOG("Register... Func = [%p], Data=[%p].", reinterpret_cast<void*>(func), data);
    m_eventSlot.pFunc = func;
    m_eventSlot.pData = data;
    return true;
}

void CReminderAPIImp::UnRegisterEventCB() {
    if (m_eventSlot.pFunc == nullptr) return;
    REMINDER_LOG("UnRegister... Func = [%p], Data=[%p].",
                 reinterpret_cast<void*>(m_eventSlot.pFunc), m_eventSlot.pData);
    m_eventSlot.pFunc = nullptr;
    m_eventSlot.pData = nullptr;
}

// --- Store primitives ---

void CReminderAPIImp::t_GetScheduledList(std::vector<CRemindInfo>& out, EOrderByType order) {
    CDBControl* db = CDBControl::GetInstance();
    db->BeginTransaction();
    CDBCriteria criteria;
    switch (order) {
        case REM_ORDER_BY_START_TIME:
            criteria.OrderBy(CDBCriteria::CRITERIA_START_TIME);
            break;
        case REM_ORDER_BY_TITLE:
            criteria.OrderBy(CDBCriteria::CRITERIA_TITLE);
            break;
        case REM_ORDER_BY_CHANNEL_NUMBER:
            criteria.OrderBy(CDBCriteria::CRITERIA_MAJOR, CDBCriteria::CRITERIA_MINOR);
            break;
    }
    out.clear();
    db->FindItem(criteria, out);
    db->EndTransaction();
    REMINDER_LOG("Scheduled list size : [%u]", static_cast<unsigned>(out.size()));
}

bool CReminderAPIImp::t_GetRemindItemByUid(unsigned long uid, CRemindInfo& out) {
    REMINDER_LOG("Data Operation...Select");
    CDBControl* db = CDBControl::GetInstance();
    db->BeginTransaction();
    std::vector<CRemindInfo> found;
    const bool result = db->FindItem(ByUid(uid), found);
    db->EndTransaction();
    if (result && !found.empty()) out = found.front();
    return result;
}

bool CReminderAPIImp::t_AddRemindItem(const CRemindInfo& item, bool startFlag) {
    CRemindInfo copy(item);
    if (copy.m_nManual == 1 && copy.m_nRepeatType != REMINDER_REPEAT_NONE) {
        copy.SetStartTime(NextOccurrence(copy, startFlag));
    }
    ApplyTimeMarginRule(copy);
    // Only one market shows the alarm of an item again after it was re-added.
    if (CReminderAPIUtil::GetCountry() != kCountryWithAlarmKept) copy.m_bAlarmed = false;
    if (copy.m_nAddedTime == 0) {
        copy.m_nAddedTime = static_cast<uint32_t>(CReminderAPIUtil::GetCurrentTime());
    }
    // A series base entry stands for the whole series: it expires 91 days after booking and
    // matches no single programme.
    if (copy.m_nReserveType == REMINDER_RESERVE_SERIES) {
        copy.SetStartTime(copy.m_nEventTime + kSeriesBaseOffset - copy.m_nStartMarginTime);
        copy.m_sProgramCrid.clear();
    }
    t_DeleteTimeMarginForBackToBackRecording(&copy);

    REMINDER_LOG("Data Operation...Insert");
    CDBControl* db = CDBControl::GetInstance();
    db->BeginTransaction();
    const bool result = db->AddItem(copy);
    db->EndTransaction();
    return result;
}

bool CReminderAPIImp::t_UpdateRemindItemByUid(unsigned long uid, const CRemindInfo& item) {
    REMINDER_LOG("Data Operation...Update");
    CDBControl* db = CDBControl::GetInstance();
    db->BeginTransaction();
    const bool result = db->UpdateItem(ByUid(uid), item);
    db->EndTransaction();
    return result;
}

bool CReminderAPIImp::t_DeleteRemindItemByUid(unsigned long uid) {
    REMINDER_LOG("Data Operation...Delete");
    CDBControl* db = CDBControl::GetInstance();
    db->BeginTransaction();
    const bool result = db->DeleteItem(ByUid(uid));
    db->EndTransaction();
    return result;
}

bool CReminderAPIImp::m_FlagReserveTypeIsForScheduled(int reserveType) {
    // Scheduled kinds 0, 1, 2, 3, 7, 10 and 11.
    constexpr unsigned kScheduledMask = 0xC8F;
    if (reserveType < 0 || reserveType > 11) return false;
    return ((kScheduledMask >> reserveType) & 1u) != 0;
}

bool CReminderAPIImp::m_FlagReserveTypeIsForRecording(int reserveType) {
    // Recording kinds 1, 2, 7 and 11. Unsigned arithmetic: a stored type may be any int.
    if (reserveType == 1 || reserveType == 2) return true;
    return ((static_cast<unsigned>(reserveType) - 7u) & ~4u) == 0;
}

unsigned long CReminderAPIImp::m_GetNewestUid() {
    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    unsigned long newest = REMINDER_INVALID_UID;
    for (const CRemindInfo& e : list) {
        if (newest == REMINDER_INVALID_UID || e.m_nUid > newest) newest = e.m_nUid;
    }
    return newest;
}

// --- List limits ---

bool CReminderAPIImp::GetRemindItemByUid(unsigned long uid, CRemindInfo& out) {
    REMINDER_ENTRY();
    return t_GetRemindItemByUid(uid, out);
}

int CReminderAPIImp::GetRemindItemCnt() {
    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    // A series counts once, through its base entry; failed single recordings are free.
    const auto uncounted = std::count_if(list.begin(), list.end(), [](const CRemindInfo& e) {
        if (e.IsPartOfASeries()) return e.m_nReserveType != REMINDER_RESERVE_SERIES;
        return e.m_nReserveType == REMINDER_RESERVE_RECORDING_FAILED;
    });
    return static_cast<int>(list.size()) - static_cast<int>(uncounted);
}

int CReminderAPIImp::GetReminderListSize() {
    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    return static_cast<int>(list.size());
}

bool CReminderAPIImp::FlagReminderListIsFull() {
    return GetRemindItemCnt() > kMaxListCount - 1;
}

int CReminderAPIImp::m_GetNumOfFailedRemindItem() {
    CDBCriteria criteria;
    criteria.Where(CDBCriteria::CRITERIA_RESERVE_TYPE,
                   static_cast<int>(REMINDER_RESERVE_RECORDING_FAILED));
    std::vector<CRemindInfo> failed;
    if (!CDBControl::GetInstance()->FindItem(criteria, failed)) return 0;
    return static_cast<int>(failed.size());
}

void CReminderAPIImp::m_DeleteFailedRemindItem() {
    if (m_GetNumOfFailedRemindItem() < kFailedItemCap) return;
    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    const auto earliest = std::find_if(list.begin(), list.end(), [](const CRemindInfo& e) {
        return e.m_nReserveType == REMINDER_RESERVE_RECORDING_FAILED;
    });
    if (earliest != list.end()) t_DeleteRemindItemByUid(earliest->m_nUid);
}

// --- Adding ---

bool CReminderAPIImp::AddRemindItem(CRemindInfo& item, bool startFlag, bool notify) {
    REMINDER_ENTRY();
    CDBControl* db = CDBControl::GetInstance();

    if (!CReminderAPIUtil::FlagSupportRecordingSpec() &&
        item.m_nReserveType != REMINDER_RESERVE_VIEWING) {
        REMINDER_ERR("TV does not support PVR, schedule recording failed.");
        return false;
    }

    std::vector<CRemindInfo> list;
    const int count = GetRemindItemCnt();
    if (count > kMaxListCount - 1) {
        // A recording whose time has come is about to leave the list, so a full list may take
        // exactly one more booking while one is waiting.
        t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
        const bool hasReadyItem = std::any_of(list.begin(), list.end(), [](const CRemindInfo& e) {
            return e.m_nReserveType == REMINDER_RESERVE_RECORDING_READY;
        });
        if (!(hasReadyItem && count == kMaxListCount)) return false;
    }

    if (IsCridPlaceholder(item)) {
        t_AddRemindItem(item, startFlag);
        if (notify) db->Notify();
        return true;
    }

    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    const bool newIsRecording = m_FlagReserveTypeIsForRecording(item.m_nReserveType);
    for (const CRemindInfo& e : list) {
        if (IsCridPlaceholder(e)) continue;
        if (e.m_nReserveType == REMINDER_RESERVE_GROUP &&
            item.m_nReserveType == REMINDER_RESERVE_GROUP && e.m_sGroupCrid == item.m_sGroupCrid) {
            REMINDER_ERR("Failed, Group Already booked.");
            return false;
        }
        if (e.m_bRecordListBooking) {
            if (item.m_bRecordListBooking) {
                if (item.CompareEvent(e) && item.CompareServiceAndTime(e)) {
                    REMINDER_ERR("Failed, Program Already booked.");
                    return false;
                }
            } else if (newIsRecording && (item.CompareEvent(e) || item.IsConflict(e))) {
                // A plain recording supersedes the record-list booking it meets.
                REMINDER_LOG("replace with manual booking");
                t_DeleteRemindItemByUid(e.m_nUid);
                continue;
            }
        }
        if (IsPlainRecording(e) && (newIsRecording || item.m_bRecordListBooking) &&
            item.CompareEvent(e)) {
            REMINDER_ERR("Failed, Already booked.");
            return false;
        }
        if (e.m_nReserveType == REMINDER_RESERVE_VIEWING && IsPlainRecording(item) &&
            item.CompareEvent(e)) {
            t_DeleteRemindItemByUid(e.m_nUid);
        }
    }

    m_DeleteSeriesProgramForSingleEntry(item);

    if (item.m_nReserveType == REMINDER_RESERVE_RECORDING_MONITORED) {
        TCProgramId id;
        item.CopyDetailsInto(id);
        std::map<unsigned int, TCProgramData*> parts;
        if (GetProgramsOfEvent(id, parts) && !parts.empty()) {
            REMINDER_LOG("mProgramList size : [%d]", static_cast<int>(parts.size()));
            std::map<unsigned int, TCProgramData*> copy(parts);
            const int result = m_AddSplitEventIntoRemindList(item, startFlag, copy);
            if (notify) db->Notify();
            return result != 0;
        }
    }

    if (item.m_nReserveType != REMINDER_RESERVE_SERIES) {
        t_AddRemindItem(item, false);
        REMINDER_LOG("Reminder item = %s", item.ToString().c_str());
        if (notify) db->Notify();
        return true;
    }

    // A series booking: the base entry first, then every episode the guide knows of.
    t_AddRemindItem(item, false);
    TCProgramId id;
    item.CopyDetailsInto(id);
    TCProgramData own;
    if (GetProgram(id, own)) AddSeriesProgram(own, false);
    std::map<unsigned int, TCProgramData*> episodes;
    GetProgramsByCRID(item.SeriesCrid(), episodes);
    REMINDER_LOG("Series programs size : [%u]", static_cast<unsigned>(episodes.size()));
    for (const auto& entry : episodes) {
        if (entry.second != nullptr) AddSeriesProgram(*entry.second, false);
    }
    if (notify) db->Notify();
    return true;
}

bool CReminderAPIImp::AddSeriesProgram(const TCProgramData& program, bool notify) {
    REMINDER_ENTRY();
    if (!CReminderAPIUtil::FlagSupportRecordingSpec()) {
        REMINDER_ERR("TV does not support PVR, schedule recording failed.");
        return false;
    }
    CRemindInfo episode;
    episode.Set(program, REMINDER_RESERVE_RECORDING_MONITORED);
    if (episode.m_nReserveType != REMINDER_RESERVE_RECORDING_MONITORED) return false;  // no channel
    std::list<std::string> seriesCrids;
    if (program.GetCRIDs(seriesCrids, CRID_TYPE_SERIES) && !seriesCrids.empty()) {
        episode.m_sSeriesCrid = seriesCrids.front();
    }

    const unsigned long now = CReminderAPIUtil::GetCurrentTime();
    if (now >= static_cast<unsigned long>(episode.m_nEventTime) + episode.m_nDuration) {
        REMINDER_ERR("Expired program...Do not add it.");
        return false;
    }

    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    const std::string programCrid = episode.ProgramCrid();
    for (const CRemindInfo& e : list) {
        // The base entry and failed recordings do not book an episode.
        if (e.m_nReserveType == REMINDER_RESERVE_SERIES ||
            e.m_nReserveType == REMINDER_RESERVE_RECORDING_FAILED) {
            continue;
        }
        const bool sameCrid = !programCrid.empty() && e.ProgramCrid() == programCrid;
        if (e.CompareEvent(episode) || sameCrid) {
            REMINDER_ERR(
                "Already scheduled this episode to record, no need to record the same thing twice");
            return false;
        }
    }

    const bool result = t_AddRemindItem(episode, false);
    REMINDER_LOG("Reminder item = %s", episode.ToString().c_str());
    if (notify) CDBControl::GetInstance()->Notify();
    return result;
}

int CReminderAPIImp::m_AddSplitEventIntoRemindList(CRemindInfo& item, bool startFlag,
                                                   std::map<unsigned int, TCProgramData*>& parts) {
    const unsigned long now = CReminderAPIUtil::GetCurrentTime();
    int result = 0;
    std::vector<unsigned long> added;
    const bool asRecording = IsPlainRecording(item);

    for (const auto& entry : parts) {
        if (entry.second == nullptr) continue;
        const TCProgramData& part = *entry.second;
        CRemindInfo r;
        if (asRecording) {
            r.Set(part, REMINDER_RESERVE_RECORDING_MONITORED);
            r.m_sSeriesCrid = item.m_sSeriesCrid;
        } else {
            r.SetTimerViewing(part);
        }
        r.m_nManual = item.m_nManual;
        if (now > EffectiveStart(r)) continue;  // a part that has begun is not booked
        CRemindInfo found;
        if (FindRemindItem(r, found)) continue;
        if (r.m_sTitle.size() < 2) r.m_sTitle = item.m_sTitle;
        if (r.m_sSynopsis.empty()) r.m_sSynopsis = item.m_sSynopsis;

        result = t_AddRemindItem(r, startFlag) ? 1 : 0;
        if (result == 0) {
            // The insert does not write the new UID back into the record, so the parts of this
            // call are known only by the UIDs read back from the store after each insert.
            for (const unsigned long uid : added) t_DeleteRemindItemByUid(uid);
            return 0;
        }
        added.push_back(m_GetNewestUid());
    }
    return result;
}

void CReminderAPIImp::t_DeleteTimeMarginForBackToBackRecording(CRemindInfo* item) {
    if (item == nullptr) return;
    const int mode = CReminderAPIUtil::GetBackToBackRecordingType();
    if (mode != 1 && mode != 2) return;
    REMINDER_LOG("BackToBackRecordingType = %d", mode);

    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    for (CRemindInfo& e : list) {
        if (mode == 2 && !e.CompareService(*item)) continue;
        if (e.m_nEventTime == item->m_nEventTime + item->m_nDuration) {
            e.m_nStartMarginTime = 0;
            item->m_nEndMarginTime = 0;
            t_UpdateRemindItemByUid(e.m_nUid, e);
            REMINDER_LOG("End margin of booking program is removed.");
        } else if (item->m_nEventTime == e.m_nEventTime + e.m_nDuration) {
            e.m_nEndMarginTime = 0;
            item->m_nStartMarginTime = 0;
            t_UpdateRemindItemByUid(e.m_nUid, e);
            REMINDER_LOG("Start margin of booking program is removed.");
        }
    }
}

void CReminderAPIImp::m_DeleteSeriesProgramForSingleEntry(CRemindInfo& item) {
    if (CReminderAPIUtil::GetCountry() != kCountrySingleClearsSeries) return;
    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    const std::string seriesCrid = item.SeriesCrid();
    for (const CRemindInfo& e : list) {
        if (e.m_nReserveType == REMINDER_RESERVE_RECORDING_MONITORED && e.IsPartOfASeries() &&
            e.SeriesCrid() == seriesCrid && EffectiveStart(e) > EffectiveStart(item)) {
            t_DeleteRemindItemByUid(e.m_nUid);
        }
    }
}

// --- Queries ---

bool CReminderAPIImp::GetRemindItemsByType(EExtractType type, std::vector<CRemindInfo>& out,
                                           EOrderByType order) {
    REMINDER_ENTRY();
    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, order);
    out.clear();
    std::copy_if(list.begin(), list.end(), std::back_inserter(out),
                 [type](const CRemindInfo& e) { return IsSelectedByExtractType(e, type); });
    return !out.empty();
}

bool CReminderAPIImp::GetRemindItemsByType(int& count, std::vector<CRemindInfo>& out,
                                           EExtractType type, EOrderByType order) {
    const bool result = GetRemindItemsByType(type, out, order);
    count = static_cast<int>(out.size());
    return result;
}

bool CReminderAPIImp::FindRemindItem(const CRemindInfo& query, CRemindInfo& out) {
    REMINDER_ENTRY();
    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);

    for (const CRemindInfo& e : list) {
        if (e.CompareServiceAndTime(query) &&
            e.m_nReserveType != REMINDER_RESERVE_RECORDING_FAILED &&
            e.m_nReserveType != REMINDER_RESERVE_SERIES &&
            e.m_bRecordListBooking == query.m_bRecordListBooking) {
            REMINDER_LOG("Found it.");
            out = e;
            return true;
        }
    }

    // A guide event that moved by under two minutes is still the booked one: the booking
    // follows it.
    const int64_t queryStart = EffectiveStart(query);
    for (const CRemindInfo& e : list) {
        const int64_t shift = std::llabs(static_cast<int64_t>(EffectiveStart(e)) - queryStart);
        if (e.CompareServiceAndTime(query) && e.m_sTitle == query.m_sTitle && shift >= 1 &&
            shift <= 119) {
            REMINDER_LOG("Found it.");
            out = e;
            out.SetStartTime(static_cast<unsigned long>(queryStart));
            out.m_nDuration = query.m_nStartMarginTime + query.m_nDuration + query.m_nEndMarginTime;
            return UpdateRemindItemByUid(e.m_nUid, out, true, false, true);
        }
    }

    REMINDER_ERR("Cannot find the item.");
    return false;
}

bool CReminderAPIImp::GetTextForTimerRecordingErrorByTimeChange(unsigned short error,
                                                                std::string& text) {
    if (error != kErrnoTimeChanged) return false;
    bindtextdomain("reminder", "/usr/apps/reminder/locale");
    text = dgettext("reminder", "TV_SID_RECORDING_FAILED_TIME_CONSISTENT_MSG");
    return true;
}

// --- Updates and deletion ---

bool CReminderAPIImp::UpdateRemindItemByUid(unsigned long uid, const CRemindInfo& item,
                                            bool clearAlarm, bool startFlag, bool notify) {
    REMINDER_LOG("UID = [%lu], ReserveType = [%d], Alarmed = [%d]", uid,
                 static_cast<int>(item.m_nReserveType), static_cast<int>(item.m_bAlarmed));
    if (IsInvalidUid(uid)) {
        REMINDER_ERR("UID invalid.");
        return false;
    }
    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    if (list.empty()) {
        REMINDER_ERR("list empty.");
        return false;
    }
    const auto stored = FindByUid(list, uid);
    if (stored == list.end()) return false;

    CRemindInfo copy(item);
    copy.m_nUid = stored->m_nUid;
    // A recording that runs keeps its time; other repeating manual items move to their next
    // occurrence.
    if (copy.m_nManual == 1 && copy.m_nRepeatType != REMINDER_REPEAT_NONE && !copy.m_bRecording) {
        copy.SetStartTime(NextOccurrence(copy, startFlag));
    }
    ApplyTimeMarginRule(copy);
    if (clearAlarm) copy.m_bAlarmed = false;
    t_DeleteTimeMarginForBackToBackRecording(&copy);
    t_UpdateRemindItemByUid(uid, copy);
    if (notify) CDBControl::GetInstance()->Notify();
    return true;
}

bool CReminderAPIImp::DeleteRemindItemByUid(unsigned long uid, bool byUser) {
    REMINDER_LOG("UID = [%d]", static_cast<int>(uid));
    if (IsInvalidUid(uid)) return false;
    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    const auto found = FindByUid(list, uid);
    if (found == list.end()) return false;

    const CRemindInfo& item = *found;
    const bool chained =
        item.IsSplitEvent() ||
        (CReminderAPIUtil::GetCountry() == kCountrySplitByCrid && !item.m_sProgramCrid.empty());
    if (!chained) {
        if (!t_DeleteRemindItemByUid(uid)) return false;
        CDBControl::GetInstance()->Notify();
        return true;
    }

    REMINDER_LOG("This uid is Split Event or Current country is Austrailia.");
    const std::string crid = item.ProgramCrid();
    // Two neighbours belong to one chain when they carry the same programme on the same service
    // and the later starts within three hours of the earlier one's end.
    auto linked = [&crid, &item](const CRemindInfo& earlier, const CRemindInfo& later) {
        return earlier.ProgramCrid() == crid && later.ProgramCrid() == crid &&
               earlier.CompareService(item) && later.CompareService(item) &&
               EffectiveStart(later) < PaddedEnd(earlier) + kSplitChainGap;
    };
    size_t head = static_cast<size_t>(found - list.begin());
    while (head > 0 && linked(list[head - 1], list[head])) --head;
    size_t tail = head;
    while (tail + 1 < list.size() && linked(list[tail], list[tail + 1])) ++tail;
    for (size_t i = head; i <= tail; ++i) t_DeleteRemindItemByUid(list[i].m_nUid);
    CDBControl::GetInstance()->Notify();
    return true;
}

bool CReminderAPIImp::DeleteRemindItemAloneByUid(unsigned long uid) {
    if (IsInvalidUid(uid)) return false;
    const bool result = t_DeleteRemindItemByUid(uid);
    CDBControl::GetInstance()->Notify();
    return result;
}

bool CReminderAPIImp::UserDeleteRemindItemByUid(unsigned long uid) {
    CRemindInfo item;
    if (!GetRemindItemByUid(uid, item)) return false;
    return DeleteRemindItemByUid(uid, true);
}

// --- Operations of later builds: each reports that it is not available ---

bool CReminderAPIImp::FlagExistRecordItem() {
    return NotAvailable();
}
bool CReminderAPIImp::GetRemindItemsForMHEG(std::vector<CRemindInfo>&) {
    return NotAvailable();
}
bool CReminderAPIImp::GetRemindItemsForCrid(const std::string&, std::vector<CRemindInfo>&) {
    return NotAvailable();
}
bool CReminderAPIImp::GetStartTimeIsSameItems(const CRemindInfo&, std::vector<CRemindInfo>&,
                                              EScheduledType) {
    return NotAvailable();
}
bool CReminderAPIImp::GetOverlappingRemindItems(const CRemindInfo&, std::vector<CRemindInfo>&,
                                                bool) {
    return NotAvailable();
}
bool CReminderAPIImp::GetOverlappingRemindItems(const CRemindInfo&, std::vector<CRemindInfo>*,
                                                bool) {
    return NotAvailable();
}
bool CReminderAPIImp::FindRemindItemForRCT(const CRemindInfo&, CRemindInfo&) {
    return NotAvailable();
}
bool CReminderAPIImp::FindRemindItemFromProgram(const TCProgramData&, CRemindInfo&) {
    return NotAvailable();
}
bool CReminderAPIImp::FindRemindItemsFromPrograms(std::map<TCProgramData*, CRemindInfo>&) {
    return NotAvailable();
}
bool CReminderAPIImp::FindSeriesBooking(std::string, CRemindInfo&) {
    return NotAvailable();
}
bool CReminderAPIImp::FindGroupBooking(std::string, CRemindInfo&) {
    return NotAvailable();
}
bool CReminderAPIImp::ExistSameTimeRemindItem(const CRemindInfo&, CRemindInfo&) {
    return NotAvailable();
}
bool CReminderAPIImp::ExistSameTimeRemindItem(const CRemindInfo&, CRemindInfo*) {
    return NotAvailable();
}
bool CReminderAPIImp::ExistConflicts(const CRemindInfo&, std::vector<CRemindInfo>&) {
    return NotAvailable();
}
bool CReminderAPIImp::ExistAlternatives(const CRemindInfo&, const std::vector<CRemindInfo>&,
                                        std::map<ERemAlterativeType, std::vector<CRemindInfo>>&) {
    return NotAvailable();
}
bool CReminderAPIImp::IsProgramScheduled(std::string, CRemindInfo*) {
    return NotAvailable();
}
bool CReminderAPIImp::IsChannelScheduled(const TCServiceData&) {
    return NotAvailable();
}
bool CReminderAPIImp::IsBasicSeries(CRemindInfo&) {
    return NotAvailable();
}
bool CReminderAPIImp::IsRecordAsBasicSeries(TCProgramData&) {
    return NotAvailable();
}
bool CReminderAPIImp::IsLatestSeriesProgram(const CRemindInfo&) {
    return NotAvailable();
}
bool CReminderAPIImp::UpdateChannelInfoOfRemindItems(unsigned short) {
    return NotAvailable();
}
bool CReminderAPIImp::UpdateReminditemToMeta() {
    return NotAvailable();
}
bool CReminderAPIImp::UpdateVCItems() {
    return NotAvailable();
}
bool CReminderAPIImp::DeleteRemindItems(std::vector<unsigned long>&) {
    return NotAvailable();
}
bool CReminderAPIImp::DeleteAllRemindItem() {
    return NotAvailable();
}
bool CReminderAPIImp::DeleteExpiredItem() {
    return NotAvailable();
}
bool CReminderAPIImp::DeletePastRemindItem() {
    return NotAvailable();
}
bool CReminderAPIImp::DeleteMatchingRemindItems(EDeleteType, const void*, EChannelType, bool) {
    return NotAvailable();
}
bool CReminderAPIImp::DeleteOverlappingRemindItems(const CRemindInfo&) {
    return NotAvailable();
}
bool CReminderAPIImp::GetRecordReadyRemindItem(CRemindInfo&) {
    return NotAvailable();
}
bool CReminderAPIImp::GetCurrentRecordingItems(std::vector<CRemindInfo>&) {
    return NotAvailable();
}
bool CReminderAPIImp::TransRecording2Fail(unsigned long, int) {
    return NotAvailable();
}
bool CReminderAPIImp::RecordingIsDelayed(unsigned long) {
    return NotAvailable();
}
bool CReminderAPIImp::DeleteRecordingItem() {
    return NotAvailable();
}
int CReminderAPIImp::CheckRemindItemIsRecordable(unsigned long) {
    NotAvailable();
    return -1;
}
