// A test's own connection to a database file, for looking at and changing it behind the store's
// back.
#ifndef REMINDER_TEST_RAW_DB_H
#define REMINDER_TEST_RAW_DB_H

#include <sqlite3.h>

#include <memory>
#include <string>

#include "DataControl.h"

namespace testsupport {

using Statement = std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)>;

// The text of a column of the current row, byte for byte; empty for NULL.
inline std::string ColumnText(sqlite3_stmt* s, int column) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(s, column));
    if (text == nullptr) return std::string();
    return std::string(text, static_cast<size_t>(sqlite3_column_bytes(s, column)));
}

// The store's file, once the store has created it and its table.
inline std::string StoreFile() {
    CDBControl::GetInstance();
    return CDBControl::DatabasePath();
}

class CRawDb {
public:
    explicit CRawDb(const std::string& path = StoreFile()) {
        sqlite3* db = nullptr;
        sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
        m_db.reset(db);
    }
    bool Exec(const std::string& sql) {
        return sqlite3_exec(m_db.get(), sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
    }
    Statement Prepare(const std::string& sql) {
        sqlite3_stmt* raw = nullptr;
        sqlite3_prepare_v2(m_db.get(), sql.c_str(), -1, &raw, nullptr);
        return Statement(raw, &sqlite3_finalize);
    }
    // The first column of the first row as text; "<none>" without a row.
    std::string Text(const std::string& sql) {
        const Statement s = Prepare(sql);
        return s && sqlite3_step(s.get()) == SQLITE_ROW ? ColumnText(s.get(), 0) : "<none>";
    }

private:
    std::unique_ptr<sqlite3, decltype(&sqlite3_close)> m_db{nullptr, &sqlite3_close};
};

}  // namespace testsupport

#endif
