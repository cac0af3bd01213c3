// CReminderAPI::LastRefusal: the per-thread failure text the logging helper keeps.
#include "ReminderAPI.h"
#include "ReminderLog.h"

std::string CReminderAPI::LastRefusal() {
    return reminder::LastFailureMessage();
}
