// CReminderAPIImp, refreshing stored bookings after a channel rescan or a guide update.
#include "ReminderAPIImp.h"

#include "ReminderAPIImpInternal.h"

using namespace engine_detail;

bool CReminderAPIImp::UpdateChannelInfoOfRemindItems(unsigned short) {
    return NotAvailable();
}

bool CReminderAPIImp::UpdateReminditemToMeta() {
    return NotAvailable();
}

bool CReminderAPIImp::UpdateVCItems() {
    return NotAvailable();
}
