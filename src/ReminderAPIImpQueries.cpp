// CReminderAPIImp, queries and lookups over the stored list.
#include "ReminderAPIImp.h"

#include <libintl.h>

#include "ReminderAPIImpInternal.h"

using namespace engine_detail;

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

bool CReminderAPIImp::ExistSameTimeRemindItem(const CRemindInfo&, CRemindInfo&) {
    return NotAvailable();
}

bool CReminderAPIImp::ExistSameTimeRemindItem(const CRemindInfo&, CRemindInfo*) {
    return NotAvailable();
}

bool CReminderAPIImp::IsProgramScheduled(std::string, CRemindInfo*) {
    return NotAvailable();
}

bool CReminderAPIImp::IsChannelScheduled(const TCServiceData&) {
    return NotAvailable();
}

bool CReminderAPIImp::DeleteOverlappingRemindItems(const CRemindInfo&) {
    return NotAvailable();
}
