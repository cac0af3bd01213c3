// An outside C++ program built against an installed copy of the library: it books nothing but
// reads the (empty) list of a fresh database file through the facade.
#include <ReminderAPI.h>
#include <ReminderAPIUtil.h>

#include <cstdio>
#include <vector>

int main() {
    CRemindInfo item;
    item.m_sTitle = "Outside";
    if (item.Serialize().empty()) return 1;
    std::vector<CRemindInfo> items;
    int count = -1;
    CReminderAPI::GetInstance()->GetRemindItemsByType(count, items, REM_EXTRACT_ALL_BOOKINGS,
                                                      REM_ORDER_BY_START_TIME);
    if (CReminderAPI::LastStoreError() != 0 || !items.empty()) return 1;
    std::printf("C++ consumer of reminder-api %s: %zu of %d bookings\n",
                REMINDER_API_VERSION_STRING, items.size(), CReminderAPIUtil::GetMaxItemCnt());
    return 0;
}
