// Helpers of the reliability suite: its worker process, looks at the booking file through a
// connection of the test's own, and the figures the suite measures.
#ifndef RELIABILITY_SUPPORT_H
#define RELIABILITY_SUPPORT_H

#include <cstdlib>
#include <initializer_list>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ChildProcess.h"

namespace reliability {

using Child = testsupport::CChild;

// The worker process of the suite (reliability_worker.cpp) with `args`.
inline std::vector<std::string> Worker(std::vector<std::string> args) {
    args.insert(args.begin(), RELIABILITY_WORKER);
    return args;
}
// The test process's database file.
inline std::string DatabasePath() {
    return std::getenv("REMINDER_DB_PATH");
}

// Runs `sql` on the file with a connection of our own, read-write as any next user of the file
// (a writer killed mid-transaction leaves a journal that only a writer rolls back); the first
// column of each row goes to `rows`. False on any failure.
bool ExecSql(const std::string& path, const std::string& sql,
             std::vector<std::string>* rows = nullptr);
// What SQLite's own check says of the file.
std::string IntegrityCheck(const std::string& path);
// Titles of every row, or false when the file could not be read.
bool StoredTitles(const std::string& path, std::multiset<std::string>* titles);
// How many of `acked` are not in the file (all of them when it cannot be read).
long Missing(const std::string& path, const std::set<std::string>& acked);
// The rest of every line of `lines` that starts with `prefix`.
std::set<std::string> Titles(const std::vector<std::string>& lines, const std::string& prefix);

// One measured figure, printed as "FIGURE <test> <name> <value>" and recorded in the test's XML.
struct SFigure {
    template <typename T>
    SFigure(const char* n, T v) : name(n), value(std::to_string(v)) {}
    SFigure(const char* n, std::string v) : name(n), value(std::move(v)) {}
    const char* name;
    std::string value;
};
void Figures(std::initializer_list<SFigure> figures);

}  // namespace reliability

#endif
