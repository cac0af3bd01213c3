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

void CToolTest::SetUp() {
    const ::testing::TestInfo* test = ::testing::UnitTest::GetInstance()->current_test_info();
    m_dir =
        std::filesystem::temp_directory_path() /
        (std::string("reminderctl-") + test->test_suite_name() + "-" + std::to_string(getpid()));
    std::filesystem::remove_all(m_dir);
    std::filesystem::create_directories(m_dir);
    m_db = (m_dir / "ReminderFile_v1.db").string();
}

void CToolTest::TearDown() {
    std::filesystem::remove_all(m_dir);
}

std::pair<int, std::string> CToolTest::Run(const std::string& arguments) const {
    const SCommandRun run = RunShell(std::string(REMINDER_TOOL_PATH) + " --db '" + m_db + "' " +
                                     arguments + " 2>/dev/null");
    return {run.status, run.output};
}

}  // namespace testsupport
