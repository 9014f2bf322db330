// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <string>
#include <vector>

/// A caption memory of CEA-608: 15 rows of 32 cells, counted from 0. What lies outside of it is
/// passed over. One thread.
class Cea608Memory {
public:
    static constexpr int ROWS = 15;
    static constexpr int COLUMNS = 32;

    /// 0 empties the cell.
    void Put(int row, int column, char32_t character);
    void Clear();
    void ClearRow(int row);
    /// Empties the cells from `column` to the end of the row.
    void ClearFrom(int row, int column);

    /// Moves the `count` rows whose lowest one is `from`, so that this is `to` then; every other
    /// row is empty afterwards.
    void KeepAndMove(int from, int to, int count);

    /// A row's text in UTF-8, without the blanks at its ends.
    std::string Line(int row) const;
    /// The rows that have a text, from the top.
    std::vector<std::string> Lines() const;

private:
    using Row = std::array<char32_t, COLUMNS>;

    std::array<Row, ROWS> m_rows{};
};
