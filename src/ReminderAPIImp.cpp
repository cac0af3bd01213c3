// CReminderAPIImp: the scheduling engine. Every operation re-reads the Items table through the
// store and filters it in memory; the database file is the only state.
#include "ReminderAPIImp.h"

#include <cmath>

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
    } else {
        m_pDBusInfo->Refresh();  // joins a bus that restarted since
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
    if (m_engine.m_nOperationDepth++ == 0) m_engine.m_bSnapshotValid = false;
    if (!m_bWrites) return;
    CDBControl* db = CDBControl::GetInstance();
    // A list read before the transaction began may be older than the file: read it again
    // under the lock.
    if (db->TransactionDepth() == 0) m_engine.m_bSnapshotValid = false;
    m_bBegan = db->BeginTransaction();
    if (!m_bBegan) m_engine.m_bOperationRefused = true;
}

CReminderAPIImp::COperation::~COperation() {
    // Not committed: what was written stays unless a write failed, in which case the
    // transaction was marked failed and its end rolls everything back.
    if (m_bWrites && m_bBegan && !m_bDone) CDBControl::GetInstance()->EndTransaction();
    if (--m_engine.m_nOperationDepth == 0) {
        m_engine.m_bOperationRefused = false;
        m_engine.m_bSnapshotValid = false;
        m_engine.m_vSnapshot.clear();
    }
}

bool CReminderAPIImp::COperation::Ok() const {
    if (!m_bWrites) return true;
    return m_bBegan && !CDBControl::GetInstance()->TransactionFailed();
}

bool CReminderAPIImp::COperation::Commit() {
    if (!m_bWrites) return true;
    if (!m_bBegan || m_bDone) return false;
    m_bDone = true;
    const bool committed = CDBControl::GetInstance()->EndTransaction();
    // A rolled-back transaction leaves the snapshot ahead of the file.
    if (!committed) m_engine.m_bSnapshotValid = false;
    return committed;
}

// --- The operation's snapshot ---

namespace {

// The country that tells series by their id, and the id of no series.
constexpr int kCountrySeriesById = 5;
constexpr uint16_t kNoSeriesId = 0xFFFF;

// The StartTime column as stored: the record's padded start as a signed 32-bit number.
int32_t StoredStartTime(const CRemindInfo& e) {
    return static_cast<int32_t>(e.m_nEventTime - e.m_nStartMarginTime);
}

// The orders of the list as SQLite gives them: the ORDER BY columns (text by bytes, shorter
// first on a common prefix), rows with equal keys in UID order.
bool StartTimeOrder(const CRemindInfo& a, const CRemindInfo& b) {
    const int32_t sa = StoredStartTime(a);
    const int32_t sb = StoredStartTime(b);
    return sa != sb ? sa < sb : a.m_nUid < b.m_nUid;
}

bool TitleOrder(const CRemindInfo& a, const CRemindInfo& b) {
    const int compared = a.m_sTitle.compare(b.m_sTitle);
    return compared != 0 ? compared < 0 : a.m_nUid < b.m_nUid;
}

bool ChannelNumberOrder(const CRemindInfo& a, const CRemindInfo& b) {
    if (a.m_nMajor != b.m_nMajor) return a.m_nMajor < b.m_nMajor;
    if (a.m_nMinor != b.m_nMinor) return a.m_nMinor < b.m_nMinor;
    return a.m_nUid < b.m_nUid;
}

bool TableOrder(const CRemindInfo& a, const CRemindInfo& b) {
    return a.m_nUid < b.m_nUid;
}

// The record as the store reads back the row it was written to: the store keeps every field
// as it is (its columns are at least as wide as the fields, text is kept byte for byte) but a
// frequency that is not a number, which it keeps as unknown. Patching the snapshot with this
// spares reading the row back.
CRemindInfo AsStored(const CRemindInfo& written, unsigned long uid) {
    CRemindInfo stored(written);
    stored.m_nUid = static_cast<uint32_t>(uid);
    if (!std::isfinite(stored.m_frequency)) stored.m_frequency = -1.0f;
    return stored;
}

CDBCriteria OrderCriteria(EOrderByType order) {
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
    return criteria;
}

}  // namespace

void CReminderAPIImp::m_ServeSnapshot(std::vector<CRemindInfo>& out, EOrderByType order) const {
    out = m_vSnapshot;
    switch (order) {
        case REM_ORDER_BY_START_TIME:
            break;  // the snapshot's own order
        case REM_ORDER_BY_TITLE:
            std::sort(out.begin(), out.end(), TitleOrder);
            break;
        case REM_ORDER_BY_CHANNEL_NUMBER:
            std::sort(out.begin(), out.end(), ChannelNumberOrder);
            break;
        default:
            std::sort(out.begin(), out.end(), TableOrder);
            break;
    }
}

void CReminderAPIImp::m_PatchSnapshot(unsigned long uid, const CRemindInfo* row) {
    if (!m_bSnapshotValid) return;
    const auto old = std::find_if(m_vSnapshot.begin(), m_vSnapshot.end(),
                                  [uid](const CRemindInfo& e) { return e.m_nUid == uid; });
    if (old != m_vSnapshot.end()) m_vSnapshot.erase(old);
    if (row == nullptr) return;
    const auto at = std::upper_bound(m_vSnapshot.begin(), m_vSnapshot.end(), *row, StartTimeOrder);
    m_vSnapshot.insert(at, *row);
}

// --- Store primitives ---

void CReminderAPIImp::t_GetScheduledList(std::vector<CRemindInfo>& out, EOrderByType order) {
    t_ReadScheduledList(out, order);
}

bool CReminderAPIImp::t_ReadScheduledList(std::vector<CRemindInfo>& out, EOrderByType order) {
    if (m_bOperationRefused) {
        out.clear();
        return false;
    }
    if (m_nOperationDepth > 0 && m_bSnapshotValid) {
        m_ServeSnapshot(out, order);
        REMINDER_LOG("Scheduled list size : [%u]", static_cast<unsigned>(out.size()));
        return true;
    }
    CDBControl* db = CDBControl::GetInstance();
    if (!db->BeginTransaction()) {
        out.clear();
        return false;
    }
    // Inside an operation the list is read once, in start-time order, and kept; other orders
    // are sorted from it.
    const bool keep = m_nOperationDepth > 0;
    std::vector<CRemindInfo>& target = keep ? m_vSnapshot : out;
    target.clear();
    db->FindItem(OrderCriteria(keep ? REM_ORDER_BY_START_TIME : order), target);
    const bool read = db->LastResult() == 0;
    db->EndTransaction();
    if (keep) {
        if (read) {
            m_bSnapshotValid = true;
            m_ServeSnapshot(out, order);
        } else {
            out = target;
            target.clear();
        }
    }
    REMINDER_LOG("Scheduled list size : [%u]", static_cast<unsigned>(out.size()));
    return read;
}

bool CReminderAPIImp::t_GetRemindItemByUid(unsigned long uid, CRemindInfo& out) {
    if (m_bOperationRefused) return false;
    REMINDER_LOG("Data Operation...Select");
    CDBControl* db = CDBControl::GetInstance();
    db->BeginTransaction();
    std::vector<CRemindInfo> found;
    const bool result = db->FindItem(ByUid(uid), found);
    db->EndTransaction();
    if (result && !found.empty()) out = std::move(found.front());
    return result;
}

bool CReminderAPIImp::t_AddRemindItem(const CRemindInfo& item, bool startFlag) {
    if (m_bOperationRefused) return false;
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
    // The neighbours' trims and the insert land together or not at all.
    CDBControl* db = CDBControl::GetInstance();
    if (!db->BeginTransaction()) return false;
    t_DeleteTimeMarginForBackToBackRecording(&copy);

    REMINDER_LOG("Data Operation...Insert");
    const bool result = !db->TransactionFailed() && db->AddItem(copy);
    if (result && m_bSnapshotValid) {
        const unsigned long uid = db->LastInsertUid();
        const CRemindInfo stored = AsStored(copy, uid);
        m_PatchSnapshot(uid, &stored);
    }
    if (!result) db->MarkTransactionFailed();
    return db->EndTransaction() && result;
}

bool CReminderAPIImp::t_UpdateRemindItemByUid(unsigned long uid, const CRemindInfo& item) {
    if (m_bOperationRefused) return false;
    REMINDER_LOG("Data Operation...Update");
    CDBControl* db = CDBControl::GetInstance();
    if (!db->BeginTransaction()) return false;
    const bool result = db->UpdateItem(ByUid(uid), item);
    // An update of a UID that no row has changes nothing.
    if (result && m_bSnapshotValid && FindByUid(m_vSnapshot, uid) != m_vSnapshot.end()) {
        const CRemindInfo stored = AsStored(item, uid);
        m_PatchSnapshot(uid, &stored);
    }
    if (!result) db->MarkTransactionFailed();
    return db->EndTransaction() && result;
}

bool CReminderAPIImp::t_DeleteRemindItemByUid(unsigned long uid) {
    if (m_bOperationRefused) return false;
    REMINDER_LOG("Data Operation...Delete");
    CDBControl* db = CDBControl::GetInstance();
    if (!db->BeginTransaction()) return false;
    const bool result = db->DeleteItem(ByUid(uid));
    if (result) m_PatchSnapshot(uid, nullptr);
    if (!result) db->MarkTransactionFailed();
    return db->EndTransaction() && result;
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

// --- List limits ---

bool CReminderAPIImp::GetRemindItemByUid(unsigned long uid, CRemindInfo& out) {
    REMINDER_ENTRY();
    return t_GetRemindItemByUid(uid, out);
}

int CReminderAPIImp::GetRemindItemCnt() {
    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    // A series counts once, through its base entry; failed single recordings are free.
    // CRemindInfo::IsPartOfASeries asks the television for the country on every call; the
    // count asks once and applies the same rule (series by id in that one market, by CRID
    // elsewhere).
    const bool seriesById = CReminderAPIUtil::GetCountry() == kCountrySeriesById;
    const auto uncounted =
        std::count_if(list.begin(), list.end(), [seriesById](const CRemindInfo& e) {
            const bool partOfASeries =
                seriesById ? e.m_nSeriesId < kNoSeriesId : !e.m_sSeriesCrid.empty();
            if (partOfASeries) return e.m_nReserveType != REMINDER_RESERVE_SERIES;
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
