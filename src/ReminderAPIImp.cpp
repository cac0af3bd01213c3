// CReminderAPIImp: the scheduling engine. Every operation re-reads the Items table through the
// store and filters it in memory; the database file is the only state.
#include "ReminderAPIImp.h"

#include "ReminderDBusInfo.h"
#include "ReminderAPIImpInternal.h"

using namespace engine_detail;

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

// --- Operations ---

CReminderAPIImp::COperation::COperation(CReminderAPIImp& engine, bool writes)
    : m_engine(engine), m_bWrites(writes) {
    if (m_bWrites) m_bOutermost = CDBControl::GetInstance()->BeginTransaction();
}

CReminderAPIImp::COperation::~COperation() {
    if (m_bWrites && m_bOutermost && !m_bDone) {
        CDBControl* db = CDBControl::GetInstance();
        db->MarkTransactionFailed();
        db->EndTransaction();
    }
}

bool CReminderAPIImp::COperation::Ok() const {
    return !m_bWrites || m_bOutermost;
}

bool CReminderAPIImp::COperation::Commit() {
    if (!m_bWrites) return true;
    if (!m_bOutermost || m_bDone) return false;
    m_bDone = true;
    return CDBControl::GetInstance()->EndTransaction();
}

// --- Store primitives ---

void CReminderAPIImp::t_GetScheduledList(std::vector<CRemindInfo>& out, EOrderByType order) {
    t_ReadScheduledList(out, order);
}

bool CReminderAPIImp::t_ReadScheduledList(std::vector<CRemindInfo>& out, EOrderByType order) {
    CDBControl* db = CDBControl::GetInstance();
    if (!db->BeginTransaction()) return false;
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
    const bool read = CDBControl::LastStoreError() == 0;
    db->EndTransaction();
    REMINDER_LOG("Scheduled list size : [%u]", static_cast<unsigned>(out.size()));
    return read;
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
