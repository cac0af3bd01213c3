// CReminderAPIImp, tuner conflicts and alternative broadcasts.
#include "ReminderAPIImp.h"

#include "ReminderAPIImpInternal.h"

using namespace engine_detail;

bool CReminderAPIImp::ExistConflicts(const CRemindInfo&, std::vector<CRemindInfo>&) {
    return NotAvailable();
}

bool CReminderAPIImp::ExistAlternatives(
    const CRemindInfo& item, const std::vector<CRemindInfo>& conflicts,
    std::map<ERemAlterativeType, std::vector<CRemindInfo>>& alternatives) {
    REMINDER_ENTRY();
    // Every showing is checked for conflicts against the same stored list: read it once.
    const COperation op(*this, false);
    return CReminderAPIUtil::ExistAlternatives(item, conflicts, alternatives);
}
