#include "ReminderLog.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#include "dlog.h"

namespace reminder {
namespace {

const char* BaseName(const char* path) {
    const char* slash = std::strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

std::string FormatMessage(const char* fmt, va_list args) {
    // Most lines fit the stack buffer and are formatted once; a longer one is formatted again
    // into a buffer of its size.
    char shortLine[512];
    va_list first;
    va_copy(first, args);
    const int needed = std::vsnprintf(shortLine, sizeof shortLine, fmt, first);
    va_end(first);
    if (needed <= 0) return std::string();
    if (static_cast<size_t>(needed) < sizeof shortLine) {
        return std::string(shortLine, static_cast<size_t>(needed));
    }
    std::string message(static_cast<size_t>(needed) + 1, '\0');
    std::vsnprintf(&message[0], message.size(), fmt, args);
    message.resize(static_cast<size_t>(needed));
    return message;
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
