#include "ReminderLog.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "dlog.h"

namespace reminder {
namespace {

const char* BaseName(const char* path) {
    const char* slash = std::strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

std::string FormatMessage(const char* fmt, va_list args) {
    va_list probe;
    va_copy(probe, args);
    const int needed = std::vsnprintf(nullptr, 0, fmt, probe);
    va_end(probe);
    if (needed <= 0) return std::string();
    std::vector<char> buffer(static_cast<size_t>(needed) + 1);
    std::vsnprintf(buffer.data(), buffer.size(), fmt, args);
    return std::string(buffer.data(), static_cast<size_t>(needed));
}

// Per thread: the message of the last failure line since the last entry line.
thread_local std::string t_lastFailure;

}  // namespace

void Log(int logId, const char* file, const char* function, int line, const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    const std::string message = FormatMessage(fmt, args);
    va_end(args);
    __dlog_print(static_cast<log_id_t>(logId), kLogPriority, kLogTag, "%s: %s(%d) > %s",
                 BaseName(file), function, line, message.c_str());
    if (logId == kLogSystem) t_lastFailure = message;
}

void ForgetLastFailure() {
    t_lastFailure.clear();
}

void LogEntry(const char* file, const char* function, int line) {
    __dlog_print(static_cast<log_id_t>(kLogMain), kLogPriority, kLogTag, "%s: %s(%d) > ",
                 BaseName(file), function, line);
}

const std::string& LastFailureMessage() {
    return t_lastFailure;
}

}  // namespace reminder
