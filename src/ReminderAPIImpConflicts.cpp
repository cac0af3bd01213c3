// CReminderAPIImp, tuner conflicts and alternative broadcasts.
#include "ReminderAPIImp.h"

#include "ReminderAPIImpInternal.h"

using namespace engine_detail;

bool CReminderAPIImp::ExistConflicts(const CRemindInfo&, std::vector<CRemindInfo>&) {
    return NotAvailable();
}

bool CReminderAPIImp::ExistAlternatives(const CRemindInfo&, const std::vector<CRemindInfo>&,
                                        std::map<ERemAlterativeType, std::vector<CRemindInfo>>&) {
    return NotAvailable();
}
