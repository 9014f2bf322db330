// SPDX-License-Identifier: Apache-2.0
#include "Statement.h"

#include "Database.h"

namespace vconf {

Statement::Statement(Database& database, const char* sql) : m_database(database) {
    sqlite3_stmt* statement = nullptr;
    Check(sqlite3_prepare_v3(database.Handle(), sql, -1, SQLITE_PREPARE_PERSISTENT, &statement,
                             nullptr));
    m_statement.reset(statement);
}

void Statement::Check(int result) const {
    if (result != SQLITE_OK) {
        m_database.Fail();
    }
}

void Statement::Bind(int parameter, std::int64_t value) {
    Check(sqlite3_bind_int64(m_statement.get(), parameter, value));
}

void Statement::Bind(int parameter, double value) {
    Check(sqlite3_bind_double(m_statement.get(), parameter, value));
}

void Statement::Bind(int parameter, std::string_view value) {
    // A text of no length may have no address, and would be null then.
    const char* const text = value.empty() ? "" : value.data();
    Check(sqlite3_bind_text64(m_statement.get(), parameter, text, value.size(), SQLITE_STATIC,
                              SQLITE_UTF8));
}

bool Statement::Step() {
    const int result = sqlite3_step(m_statement.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
        m_database.Fail();
    }
    return result == SQLITE_ROW;
}

std::string_view Statement::Text(int column) const {
    const unsigned char* const text = sqlite3_column_text(m_statement.get(), column);
    if (text == nullptr) {
        return {};
    }
    return {reinterpret_cast<const char*>(text),
            static_cast<std::size_t>(sqlite3_column_bytes(m_statement.get(), column))};
}

} // namespace vconf
