// CReminderAPIImp, the recording life cycle: ready, recording, failed, delayed, done.
#include "ReminderAPIImp.h"

#include "ReminderAPIImpInternal.h"

using namespace engine_detail;

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
