// SPDX-License-Identifier: Apache-2.0
#include "Cea608Memory.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace {

using namespace std::string_view_literals;

constexpr std::u32string_view BLANKS = U" \0"sv;

bool IsInside(int row) {
    return row >= 0 && row < Cea608Memory::ROWS;
}

// UTF-8. The character sets have nothing beyond 16 bits.
void Append(std::string& text, char32_t character) {
    if (character < 0x80) {
        text += static_cast<char>(character);
    } else if (character < 0x800) {
        text += static_cast<char>(0xC0U | character >> 6);
        text += static_cast<char>(0x80U | (character & 0x3FU));
    } else {
        text += static_cast<char>(0xE0U | (character >> 12 & 0x0FU));
        text += static_cast<char>(0x80U | (character >> 6 & 0x3FU));
        text += static_cast<char>(0x80U | (character & 0x3FU));
    }
}

} // namespace

void Cea608Memory::Put(int row, int column, char32_t character) {
    if (IsInside(row) && column >= 0 && column < COLUMNS) {
        m_rows[row][column] = character;
    }
}

void Cea608Memory::Clear() {
    m_rows = {};
}

void Cea608Memory::ClearRow(int row) {
    ClearFrom(row, 0);
}

void Cea608Memory::ClearFrom(int row, int column) {
    for (; column < COLUMNS; ++column) {
        Put(row, column, 0);
    }
}

void Cea608Memory::KeepAndMove(int from, int to, int count) {
    const std::array<Row, ROWS> before = m_rows;
    Clear();
    for (int i = 0; i < count; ++i) {
        if (IsInside(from - i) && IsInside(to - i)) {
            m_rows[to - i] = before[from - i];
        }
    }
}

std::string Cea608Memory::Line(int row) const {
    std::string line;
    if (!IsInside(row)) {
        return line;
    }
    std::u32string_view cells(m_rows[row].data(), COLUMNS);
    cells = cells.substr(std::min(cells.find_first_not_of(BLANKS), cells.size()));
    cells = cells.substr(0, cells.find_last_not_of(BLANKS) + 1);
    for (const char32_t cell : cells) {
        Append(line, cell == 0 ? U' ' : cell);
    }
    return line;
}

std::vector<std::string> Cea608Memory::Lines() const {
    std::vector<std::string> lines;
    for (int row = 0; row < ROWS; ++row) {
        if (std::string line = Line(row); !line.empty()) {
            lines.push_back(std::move(line));
        }
    }
    return lines;
}
