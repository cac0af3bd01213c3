// The bookings that the reliability suite writes, shared by the tests and the worker process.
#ifndef RELIABILITY_BOOKING_H
#define RELIABILITY_BOOKING_H

#include <unistd.h>

#include <string>
#include <vector>

#include "DataControl.h"
#include "RemindInfo.h"
#include "ReminderAPIUtil.h"

namespace reliability {

// A viewing booking in the future with fields of its own, so that no rule takes it for another.
inline CRemindInfo Booking(const std::string& title, unsigned n) {
    CRemindInfo item;
    item.m_nReserveType = REMINDER_RESERVE_VIEWING;
    item.m_sTitle = title;
    item.m_nServiceId = 1000 + n % 50000;
    item.m_nMajor = static_cast<uint16_t>(1 + n % 900);
    item.m_nEventId = static_cast<uint16_t>(n);
    item.m_nEventTime = static_cast<uint32_t>(CReminderAPIUtil::GetCurrentTime() + 86400 +
                                              (getpid() % 1000) * 7200 + (n % 5000) * 600);
    item.m_nDuration = 300;
    return item;
}

// The UID of the row titled `title`, read through the store; 0 when there is none.
inline unsigned long UidOf(const std::string& title) {
    CDBCriteria criteria;
    criteria.Where(CDBCriteria::CRITERIA_TITLE, title);
    std::vector<CRemindInfo> rows;
    if (!CDBControl::GetInstance()->FindItem(criteria, rows) || rows.empty()) return 0;
    return rows.front().m_nUid;
}

}  // namespace reliability

#endif
