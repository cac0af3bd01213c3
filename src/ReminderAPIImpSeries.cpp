// CReminderAPIImp, series and group lookups.
#include "ReminderAPIImp.h"

#include "ReminderAPIImpInternal.h"

using namespace engine_detail;

bool CReminderAPIImp::FindSeriesBooking(std::string, CRemindInfo&) {
    return NotAvailable();
}

bool CReminderAPIImp::FindGroupBooking(std::string, CRemindInfo&) {
    return NotAvailable();
}

bool CReminderAPIImp::IsBasicSeries(CRemindInfo&) {
    return NotAvailable();
}

bool CReminderAPIImp::IsRecordAsBasicSeries(TCProgramData&) {
    return NotAvailable();
}

bool CReminderAPIImp::IsLatestSeriesProgram(const CRemindInfo&) {
    return NotAvailable();
}
