#include "ReminderLog.h"

#include <charconv>
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

// The line's head: "<file>: <function>(<line>) > ".
void AppendWhere(std::string& text, const char* file, const char* function, int line) {
    char digits[16];
    const auto end = std::to_chars(digits, digits + sizeof digits, line).ptr;
    text.append(BaseName(file)).append(": ").append(function).append("(");
    text.append(digits, end).append(") > ");
}

// Most messages are constant text or fit the stack buffer; only a longer one is formatted
// twice.
void AppendMessage(std::string& text, const char* fmt, va_list args) {
    if (std::strchr(fmt, '%') == nullptr) {
        text.append(fmt);
        return;
    }
    char shortLine[512];
    va_list first;
    va_copy(first, args);
    const int needed = std::vsnprintf(shortLine, sizeof shortLine, fmt, first);
    va_end(first);
    if (needed <= 0) return;
    const auto length = static_cast<size_t>(needed);
    if (length < sizeof shortLine) {
        text.append(shortLine, length);
        return;
    }
    const size_t at = text.size();
    text.resize(at + length + 1);
    std::vsnprintf(&text[at], length + 1, fmt, args);
    text.resize(at + length);
}

void Emit(int logId, const std::string& text) {
    // Already formatted: handed on as a plain string, so no '%' in it is read again.
    __dlog_print(static_cast<log_id_t>(logId), kLogPriority, kLogTag, "%s", text.c_str());
}

// Per thread: the message of the last failure line since the last entry line.
thread_local std::string t_lastFailure;

// Per thread, the buffer a line is built in: it keeps its capacity, so a line costs no
// allocation; after an unusually long line it gives the memory back.
std::string& LineBuffer() {
    constexpr size_t kKeptCapacity = 4096;
    thread_local std::string line;
    if (line.capacity() > kKeptCapacity) {
        std::string().swap(line);
    } else {
        line.clear();
    }
    return line;
}

}  // namespace

void Log(int logId, const char* file, const char* function, int line, const char* fmt, ...) {
    std::string& text = LineBuffer();
    AppendWhere(text, file, function, line);
    const size_t head = text.size();
    va_list args;
    va_start(args, fmt);
    AppendMessage(text, fmt, args);
    va_end(args);
    Emit(logId, text);
    if (logId == kLogSystem) t_lastFailure.assign(text, head, std::string::npos);
}

void ForgetLastFailure() {
    t_lastFailure.clear();
}

void LogEntry(const char* file, const char* function, int line) {
    std::string& text = LineBuffer();
    AppendWhere(text, file, function, line);
    Emit(kLogMain, text);
}

const std::string& LastFailureMessage() {
    return t_lastFailure;
}

}  // namespace reminder
