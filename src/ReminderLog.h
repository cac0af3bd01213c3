// The library's one logging helper. Every line goes to the platform log with the tag
// "REMINDER-API" and priority 5, prefixed "<file>: <function>(<line>) > ". Failure lines go to
// the system buffer, all others to the main buffer.
//
// The helper also remembers, per thread, the message of the last failure line written since the
// thread last began a facade call (ForgetLastFailure). That is how a refusal reaches the caller as
// text (CReminderAPI::LastRefusal()) without parsing the platform log.
#ifndef REMINDER_LOG_H
#define REMINDER_LOG_H

#include <string>

namespace reminder {

constexpr const char* kLogTag = "REMINDER-API";
constexpr int kLogPriority = 5;
constexpr int kLogMain = 0;
constexpr int kLogSystem = 2;

void Log(int logId, const char* file, const char* function, int line, const char* fmt, ...)
    __attribute__((format(printf, 5, 6)));
// The entry line of an operation.
void LogEntry(const char* file, const char* function, int line);
// Starts the calling thread's failure message afresh; the facade calls it as a call begins.
void ForgetLastFailure();
// The message of the calling thread's last failure line since it was last forgotten; empty when
// there was none.
const std::string& LastFailureMessage();

}  // namespace reminder

// An ordinary line.
#define REMINDER_LOG(...) \
    ::reminder::Log(::reminder::kLogMain, __FILE__, __func__, __LINE__, __VA_ARGS__)
// A failure line.
#define REMINDER_ERR(...) \
    ::reminder::Log(::reminder::kLogSystem, __FILE__, __func__, __LINE__, __VA_ARGS__)
// The entry line of a public operation: the prefix with an empty message.
#define REMINDER_ENTRY() ::reminder::LogEntry(__FILE__, __func__, __LINE__)

#endif
