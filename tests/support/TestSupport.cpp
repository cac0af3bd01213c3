#include "TestSupport.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "DataControl.h"

namespace testsupport {

std::string SampleProfilePath() {
    return REMINDER_SAMPLE_PROFILE;
}

void LoadSampleTelevision() {
    std::string error;
    ASSERT_TRUE(tvsim::LoadProfileFile(SampleProfilePath(), &error)) << error;
}

std::vector<tvsim::LogLine> LogLinesContaining(const std::string& needle) {
    std::vector<tvsim::LogLine> found;
    for (const auto& line : tvsim::Logs()) {
        if (line.text.find(needle) != std::string::npos) found.push_back(line);
    }
    return found;
}

namespace {
bool EndsWithMessage(const std::string& text, const std::string& message) {
    const std::string tail = "> " + message;
    return text.size() >= tail.size() &&
           text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}
}  // namespace

bool Logged(const std::string& message) {
    for (const auto& line : tvsim::Logs()) {
        if (EndsWithMessage(line.text, message)) return true;
    }
    return false;
}

bool LoggedOn(int logId, const std::string& message) {
    for (const auto& line : tvsim::Logs()) {
        if (line.logId == logId && EndsWithMessage(line.text, message)) return true;
    }
    return false;
}

std::string WriteTempFile(const std::string& name, const std::string& content) {
    const char* tmp = std::getenv("TMPDIR");
    const std::string path = std::string(tmp != nullptr ? tmp : "/tmp") + "/reminder-test-" +
                             std::to_string(getpid()) + "-" + name;
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

void ClearStore() {
    CDBControl::GetInstance()->DeleteItem(CDBCriteria());
}

SCommandRun RunShell(const std::string& command) {
    SCommandRun run;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return run;
    char buffer[4096];
    size_t n = 0;
    while ((n = fread(buffer, 1, sizeof(buffer), pipe)) > 0) run.output.append(buffer, n);
    const int status = pclose(pipe);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

}  // namespace testsupport
