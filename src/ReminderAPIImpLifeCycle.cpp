// CReminderAPIImp, the recording life cycle: ready, recording, failed, delayed, done.
#include "ReminderAPIImp.h"

#include "ReminderAPIImpInternal.h"

using namespace engine_detail;

namespace {

// Appends "<column> = <number>" to the criteria's WHERE text.
void AppendEquals(CDBCriteria& criteria, CDBCriteria::CRITERIA_TYPE column, int number) {
    criteria.m_sCriteria += criteria.m_sCriteria.empty() ? " WHERE " : " AND ";
    criteria.m_sCriteria += criteria.m_vColumnNames[column] + " = " + std::to_string(number);
}

}  // namespace

bool CReminderAPIImp::GetRecordReadyRemindItem(CRemindInfo& out) {
    REMINDER_ENTRY();
    COperation op(*this, /*writes=*/true);
    std::vector<CRemindInfo> list;
    if (!t_ReadScheduledList(list, REM_ORDER_BY_START_TIME)) return false;
    // The earliest-starting ready item is handed to the recorder.
    const auto ready = std::find_if(list.begin(), list.end(), [](const CRemindInfo& e) {
        return e.m_nReserveType == REMINDER_RESERVE_RECORDING_READY;
    });
    if (ready == list.end()) return false;
    CRemindInfo item(*ready);
    item.m_nReserveType = REMINDER_RESERVE_RECORDING_IN_PROGRESS;
    if (!t_UpdateRemindItemByUid(item.m_nUid, item)) return false;
    if (!op.Commit()) return false;
    out = item;
    CDBControl::GetInstance()->Notify();
    return true;
}

bool CReminderAPIImp::GetCurrentRecordingItems(std::vector<CRemindInfo>& out) {
    REMINDER_ENTRY();
    CDBCriteria criteria;
    AppendEquals(criteria, CDBCriteria::CRITERIA_RECORDING, 1);
    out.clear();
    CDBControl::GetInstance()->FindItem(criteria, out);
    return !out.empty();
}

bool CReminderAPIImp::TransRecording2Fail(unsigned long uid, int error) {
    REMINDER_ENTRY();
    if (IsInvalidUid(uid)) return false;
    COperation op(*this, /*writes=*/true);
    // Only an item that is being recorded can fail.
    CDBCriteria criteria = ByUid(uid);
    AppendEquals(criteria, CDBCriteria::CRITERIA_RESERVE_TYPE,
                 REMINDER_RESERVE_RECORDING_IN_PROGRESS);
    std::vector<CRemindInfo> found;
    if (!CDBControl::GetInstance()->FindItem(criteria, found) || found.empty()) return false;

    m_DeleteFailedRemindItem();
    CRemindInfo item(found.front());
    item.m_nReserveType = REMINDER_RESERVE_RECORDING_FAILED;
    item.m_bRecording = false;
    item.m_nErrno = static_cast<uint16_t>(error);
    if (!StoreUpdate(*this, uid, item, /*clearAlarm=*/true, /*startFlag=*/false)) return false;
    if (!op.Commit()) return false;
    CDBControl::GetInstance()->Notify();
    return true;
}

bool CReminderAPIImp::RecordingIsDelayed(unsigned long uid) {
    REMINDER_ENTRY();
    if (IsInvalidUid(uid)) return false;
    COperation op(*this, /*writes=*/true);
    CRemindInfo item;
    if (!GetRemindItemByUid(uid, item) ||
        item.m_nReserveType != REMINDER_RESERVE_RECORDING_IN_PROGRESS) {
        return false;
    }
    // Back to waiting, marked as held up by a conflict.
    item.m_bUnresolvedConflict = true;
    item.m_bRecording = false;
    item.m_bAlarmed = false;
    item.m_nReserveType = REMINDER_RESERVE_RECORDING_MONITORED;
    if (!StoreUpdate(*this, uid, item, /*clearAlarm=*/true, /*startFlag=*/false)) return false;
    if (!op.Commit()) return false;
    CDBControl::GetInstance()->Notify();
    return true;
}

bool CReminderAPIImp::DeleteRecordingItem() {
    REMINDER_ENTRY();
    COperation op(*this, /*writes=*/true);
    std::vector<CRemindInfo> list;
    if (!t_ReadScheduledList(list, REM_ORDER_BY_START_TIME)) return false;
    for (const CRemindInfo& e : list) {
        REMINDER_LOG("Remind Info ReserveType=[%d], Recording=[%d]",
                     static_cast<int>(e.m_nReserveType), static_cast<int>(e.m_bRecording));
        if (e.m_nReserveType != REMINDER_RESERVE_RECORDING_IN_PROGRESS || !e.m_bRecording) continue;
        REMINDER_LOG("Remind Info UID=[%ld], PTC=[%d], Major=[%d], Minor=[%d], EventID=[%d]",
                     static_cast<long>(e.m_nUid), e.m_nPTC, e.m_nMajor, e.m_nMinor, e.m_nEventId);
        // A split event being recorded loses all its parts, as when the user deletes it.
        if (!DeleteWithChain(*this, e.m_nUid)) return false;
        if (!op.Commit()) return false;
        CDBControl::GetInstance()->Notify();
        return true;
    }
    return false;
}
