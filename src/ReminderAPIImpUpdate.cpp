// CReminderAPIImp, update and deletion, and the housekeeping passes.
#include "ReminderAPIImp.h"

#include "ReminderAPIImpInternal.h"

using namespace engine_detail;

// --- Updates and deletion ---

bool CReminderAPIImp::UpdateRemindItemByUid(unsigned long uid, const CRemindInfo& item,
                                            bool clearAlarm, bool startFlag, bool notify) {
    REMINDER_LOG("UID = [%lu], ReserveType = [%d], Alarmed = [%d]", uid,
                 static_cast<int>(item.m_nReserveType), static_cast<int>(item.m_bAlarmed));
    if (IsInvalidUid(uid)) {
        REMINDER_ERR("UID invalid.");
        return false;
    }
    COperation op(*this, true);
    if (!op.Ok()) return false;
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
    if (!t_UpdateRemindItemByUid(uid, copy) || !op.Commit()) return false;
    if (notify) CDBControl::GetInstance()->Notify();
    return true;
}

bool CReminderAPIImp::DeleteRemindItemByUid(unsigned long uid, bool byUser) {
    REMINDER_LOG("UID = [%d]", static_cast<int>(uid));
    if (IsInvalidUid(uid)) return false;
    COperation op(*this, true);
    if (!op.Ok()) return false;
    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    const auto found = FindByUid(list, uid);
    if (found == list.end()) return false;

    const CRemindInfo& item = *found;
    const bool chained =
        item.IsSplitEvent() ||
        (CReminderAPIUtil::GetCountry() == kCountrySplitByCrid && !item.m_sProgramCrid.empty());
    if (!chained) {
        if (!t_DeleteRemindItemByUid(uid) || !op.Commit()) return false;
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
    for (size_t i = head; i <= tail; ++i) {
        if (!t_DeleteRemindItemByUid(list[i].m_nUid)) return false;
    }
    if (!op.Commit()) return false;
    CDBControl::GetInstance()->Notify();
    return true;
}

bool CReminderAPIImp::DeleteRemindItemAloneByUid(unsigned long uid) {
    if (IsInvalidUid(uid)) return false;
    COperation op(*this, true);
    if (!t_DeleteRemindItemByUid(uid) || !op.Commit()) return false;
    CDBControl::GetInstance()->Notify();
    return true;
}

bool CReminderAPIImp::UserDeleteRemindItemByUid(unsigned long uid) {
    COperation op(*this, true);
    CRemindInfo item;
    if (!GetRemindItemByUid(uid, item)) return false;
    return DeleteRemindItemByUid(uid, true) && op.Commit();
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
