// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include <sqlite3.h>

namespace vconf {

class Database;

/// A prepared statement of a database, which outlives it. One thread at a time. Throws StoreError.
class Statement {
public:
    Statement(Database& database, const char* sql);

    /// From its beginning to its end, which frees what it has locked.
    class Run {
    public:
        explicit Run(Statement& statement) : m_statement(statement.m_statement.get()) {}
        ~Run() {
            sqlite3_reset(m_statement);
            sqlite3_clear_bindings(m_statement);
        }
        Run(const Run&) = delete;
        Run& operator=(const Run&) = delete;

    private:
        sqlite3_stmt* const m_statement;
    };

    // Parameters, from 1. A text must live until the run's end.
    void Bind(int parameter, std::int64_t value);
    void Bind(int parameter, double value);
    void Bind(int parameter, std::string_view value);

    /// Whether there is a row.
    bool Step();

    // Columns of the row, from 0.
    int Class(int column) const { return sqlite3_column_type(m_statement.get(), column); }
    std::int64_t Integer(int column) const {
        return sqlite3_column_int64(m_statement.get(), column);
    }
    double Real(int column) const { return sqlite3_column_double(m_statement.get(), column); }
    /// Holds until the next step.
    std::string_view Text(int column) const;

private:
    struct Finalize {
        void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
    };

    void Check(int result) const;

    Database& m_database;
    std::unique_ptr<sqlite3_stmt, Finalize> m_statement;
};

} // namespace vconf
