#include "ReliabilitySupport.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <iostream>

namespace reliability {

bool ExecSql(const std::string& path, const std::string& sql, std::vector<std::string>* rows) {
    sqlite3* db = nullptr;
    bool ok = sqlite3_open(path.c_str(), &db) == SQLITE_OK;
    sqlite3_busy_timeout(db, 10000);
    const auto keep = [](void* out, int, char** values, char**) {
        if (out != nullptr)
            static_cast<std::vector<std::string>*>(out)->push_back(values[0] ? values[0] : "");
        return 0;
    };
    ok = ok && sqlite3_exec(db, sql.c_str(), keep, rows, nullptr) == SQLITE_OK;
    sqlite3_close(db);
    return ok;
}

std::string IntegrityCheck(const std::string& path) {
    std::vector<std::string> rows;
    return ExecSql(path, "PRAGMA integrity_check", &rows) && !rows.empty() ? rows[0] : "<failed>";
}

bool StoredTitles(const std::string& path, std::multiset<std::string>* titles) {
    std::vector<std::string> rows;
    if (!ExecSql(path, "SELECT Title FROM Items", &rows)) return false;
    titles->insert(rows.begin(), rows.end());
    return true;
}

long Missing(const std::string& path, const std::set<std::string>& acked) {
    std::multiset<std::string> stored;
    if (!StoredTitles(path, &stored)) return static_cast<long>(acked.size());
    return std::count_if(acked.begin(), acked.end(),
                         [&](const std::string& title) { return stored.count(title) == 0; });
}

std::set<std::string> Titles(const std::vector<std::string>& lines, const std::string& prefix) {
    std::set<std::string> titles;
    for (const std::string& line : lines) {
        if (line.rfind(prefix, 0) == 0) titles.insert(line.substr(prefix.size()));
    }
    return titles;
}

void Figures(std::initializer_list<SFigure> figures) {
    const char* test = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    for (const SFigure& f : figures) {
        std::cout << "FIGURE " << test << " " << f.name << " " << f.value << std::endl;
        ::testing::Test::RecordProperty(f.name, f.value);
    }
}

}  // namespace reliability
