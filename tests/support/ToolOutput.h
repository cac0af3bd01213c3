// Reading what reminderctl printed: plain text and its --json form.
#ifndef REMINDER_TOOL_OUTPUT_H
#define REMINDER_TOOL_OUTPUT_H

#include <json/json.h>

#include <sstream>
#include <string>

namespace testsupport {

inline bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

inline Json::Value ParseJson(const std::string& text) {
    Json::Value value;
    std::istringstream(text) >> value;  // throws on malformed text, which fails the test
    return value;
}

}  // namespace testsupport

#endif
