// Helpers shared by the test binaries.
#ifndef REMINDER_TEST_SUPPORT_H
#define REMINDER_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tvsim/tvsim.h"

namespace testsupport {

// Path of the sample television profile.
std::string SampleProfilePath();
// Loads the sample television; fails the test when it does not load.
void LoadSampleTelevision();
// Every log line whose text contains `needle`.
std::vector<tvsim::LogLine> LogLinesContaining(const std::string& needle);
// Whether some log line ends with the message `message` (the text after the "> " prefix).
bool Logged(const std::string& message);
// Whether some line on buffer `logId` ends with `message`.
bool LoggedOn(int logId, const std::string& message);
// Writes `content` to a new file in the temporary directory and returns its path.
std::string WriteTempFile(const std::string& name, const std::string& content);
// Removes every row of the test process's store.
void ClearStore();

// A shell command's exit status (-1 when it did not exit normally) and what it wrote to its
// standard output.
struct SCommandRun {
    int status = -1;
    std::string output;
};
SCommandRun RunShell(const std::string& command);

// A fixture for tests that run reminderctl as a process against a database of their own, in a
// folder of the test's own that is removed afterwards.
class CToolTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    // Exit status and standard output of `reminderctl --db DB ARGUMENTS`; standard error is
    // dropped.
    std::pair<int, std::string> Run(const std::string& arguments) const;

    std::filesystem::path m_dir;
    std::string m_db;
};

}  // namespace testsupport

#endif
