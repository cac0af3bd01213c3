// CReminderAPIUtil, alternative broadcasts: other showings of a booked programme, found in the
// guide by its programme CRID, that would not conflict.
#include <map>

#include "ReminderAPIUtil.h"
#include "ReminderLog.h"
#include "TVServiceAPI.h"

namespace {

// The CRID that every showing of a programme shares: without its instance suffix ("…#2").
std::string ShowingCrid(const std::string& crid) {
    return crid.substr(0, crid.find('#'));
}

bool ShowingsOf(const std::string& crid, std::map<unsigned int, TCProgramData*>& programs) {
    IServiceGuide* guide = nullptr;
    if (!TVServiceAPI::CreateServiceGuide(1, 0, &guide) || guide == nullptr) {
        REMINDER_ERR("CreateServiceGuide failed.");
        return false;
    }
    return guide->GetProgramsByCRID(crid, CRID_TYPE_PROGRAM, programs) == 1;
}

// The showing booked as `booking` is: same kind, same manual flag, the booking's margins kept
// where the guide gives none.
CRemindInfo AsBooking(const TCProgramData& program, const CRemindInfo& booking) {
    CRemindInfo showing;
    showing.Set(program, booking.m_nReserveType);
    showing.m_nManual = booking.m_nManual;
    showing.m_bRecordListBooking = booking.m_bRecordListBooking;
    if (showing.m_sSeriesCrid.empty()) showing.m_sSeriesCrid = booking.m_sSeriesCrid;
    return showing;
}

}  // namespace

std::vector<CRemindInfo> CReminderAPIUtil::m_GetBookingAlternative(const CRemindInfo& booking,
                                                                   const CRemindInfo* replaced,
                                                                   const CRemindInfo* avoid) {
    std::vector<CRemindInfo> alternatives;
    const std::string crid = ShowingCrid(booking.m_sProgramCrid);
    if (crid.empty()) return alternatives;
    std::map<unsigned int, TCProgramData*> programs;
    if (!ShowingsOf(crid, programs)) return alternatives;

    const unsigned long now = GetCurrentTime();
    for (const auto& entry : programs) {
        if (entry.second == nullptr) continue;
        const TCProgramData& program = *entry.second;
        if (program.ServiceId() == booking.m_nServiceId &&
            program.EventId() == booking.m_nEventId) {
            continue;  // the booked showing itself
        }
        std::string instance;
        if (booking.m_sProgramCrid.find('#') != std::string::npos &&
            program.GetProgramCRID(instance) &&
            CompareStrIgnoringCase(instance, booking.m_sProgramCrid) == 0) {
            continue;  // another part of the same split showing, not another showing
        }
        CRemindInfo showing = AsBooking(program, booking);
        if (showing.m_nServiceId != program.ServiceId()) continue;  // a channel we do not have
        if (showing.m_nEventTime - showing.m_nStartMarginTime <= now) continue;
        if (avoid != nullptr && CheckDuplicateTimeAndRepeat(avoid, &showing)) continue;
        if (m_HasConflicts(showing, replaced)) continue;
        alternatives.push_back(showing);
    }
    REMINDER_LOG("Alternatives of [%s] : [%u]", booking.m_sProgramCrid.c_str(),
                 static_cast<unsigned>(alternatives.size()));
    return alternatives;
}

bool CReminderAPIUtil::ExistAlternatives(
    const CRemindInfo& item, const std::vector<CRemindInfo>& conflicts,
    std::map<ERemAlterativeType, std::vector<CRemindInfo>>& out) {
    REMINDER_ENTRY();
    out.clear();
    std::vector<CRemindInfo> forItem = m_GetBookingAlternative(item, nullptr, nullptr);
    std::vector<CRemindInfo> forConflicting;
    for (const CRemindInfo& booking : conflicts) {
        // Moving a conflicting booking helps only where it leaves the new item's time.
        for (CRemindInfo& showing : m_GetBookingAlternative(booking, &booking, &item)) {
            showing.m_nUid = booking.m_nUid;
            forConflicting.push_back(std::move(showing));
        }
    }
    const bool found = !forItem.empty() || !forConflicting.empty();
    out[REM_ALTERNATIVE_FOR_ITEM] = std::move(forItem);
    out[REM_ALTERNATIVE_FOR_CONFLICTING] = std::move(forConflicting);
    return found;
}
