// SPDX-License-Identifier: Apache-2.0

// A pair is a control code, whose first byte is from 0x10 to 0x1F and which every encoder sends
// twice, or one or two characters. Codes say which of the field's services has the word: channel 1
// or 2, and there the captions or the text. Characters belong to who has it. There are two
// memories: pop-on fills the one out of sight and changes it for the one that is shown, the other
// styles write on the screen.

#include "Cea608Decoder.h"

#include <algorithm>
#include <array>
#include <bit>
#include <utility>

#include "Cea608Characters.h"

namespace {

constexpr std::uint8_t FIRST_PRINTABLE = 0x20;
constexpr std::uint8_t SOLID_BLOCK = 0x7F;
constexpr std::uint8_t CHANNEL_2 = 0x08; // in the first byte of a control code

// In the first of three bytes of cc_data.
constexpr std::uint8_t CC_VALID = 0x04;
constexpr std::uint8_t CC_TYPE = 0x03;
constexpr std::uint8_t FIELD_1 = 0;

// The miscellaneous control codes' second bytes; the first is 0x14.
enum Command : std::uint8_t {
    RESUME_CAPTION_LOADING = 0x20,
    BACKSPACE = 0x21,
    DELETE_TO_END_OF_ROW = 0x24,
    ROLL_UP_2_ROWS = 0x25,
    ROLL_UP_4_ROWS = 0x27,
    FLASH_ON = 0x28,
    RESUME_DIRECT_CAPTIONING = 0x29,
    TEXT_RESTART = 0x2A,
    RESUME_TEXT_DISPLAY = 0x2B,
    ERASE_DISPLAYED_MEMORY = 0x2C,
    CARRIAGE_RETURN = 0x2D,
    ERASE_NON_DISPLAYED_MEMORY = 0x2E,
    END_OF_CAPTION = 0x2F,
};

bool HasOddParity(std::uint8_t byte) {
    return std::popcount(byte) % 2 == 1;
}

} // namespace

Cea608Decoder::Cea608Decoder(OnCaption onCaption) : m_onCaption(std::move(onCaption)) {}

void Cea608Decoder::PushCcData(std::span<const unsigned char> ccData) {
    for (; ccData.size() >= 3; ccData = ccData.subspan(3)) {
        if ((ccData[0] & CC_VALID) != 0 && (ccData[0] & CC_TYPE) == FIELD_1) {
            Push(ccData[1], ccData[2]);
        }
    }
}

void Cea608Decoder::Push(std::uint8_t first, std::uint8_t second) {
    const bool isFirstIntact = HasOddParity(first);
    const bool isSecondIntact = HasOddParity(second);
    const unsigned lastCode = std::exchange(m_lastCode, 0);
    first &= 0x7FU;
    second &= 0x7FU;
    if (first >= FIRST_PRINTABLE || first == 0) {
        OnCharacter(first, isFirstIntact);
        OnCharacter(second, isSecondIntact);
        return;
    }
    // Below 0x10 are the data services of field 2.
    if (!isFirstIntact || !isSecondIntact || first < 0x10 || second < FIRST_PRINTABLE) {
        return;
    }
    const unsigned code = static_cast<unsigned>(first) << 8 | second;
    if (code != lastCode) {
        m_lastCode = code;
        OnControl(first, second);
    }
}

void Cea608Decoder::OnCharacter(std::uint8_t byte, bool isIntact) {
    if (byte >= FIRST_PRINTABLE) {
        Write(BasicCharacter(isIntact ? byte : SOLID_BLOCK));
    }
}

void Cea608Decoder::OnControl(std::uint8_t first, std::uint8_t second) {
    m_isOurs = (first & CHANNEL_2) == 0;
    if (!m_isOurs) {
        return;
    }
    if (second >= 0x40) {
        OnPreamble(first, second);
    } else if (first == 0x11 && second < 0x30) {
        Write(U' '); // a change of colour takes a cell
    } else if (first == 0x11) {
        Write(SpecialCharacter(second));
    } else if (first == 0x12 || first == 0x13) {
        Backspace(); // over the basic character that stands in for it elsewhere
        Write(ExtendedCharacter(first, second));
    } else if (first == 0x14 && second < 0x30) {
        OnCommand(second);
    } else if (first == 0x17 && second >= 0x21 && second <= 0x23 && IsWriting()) {
        m_column = std::min(m_column + second - 0x20, Cea608Memory::COLUMNS - 1); // tab offset
    }
}

// Where the next characters go.
void Cea608Decoder::OnPreamble(std::uint8_t first, std::uint8_t second) {
    // By the first byte, and bit 5 of the second; counted from 1, 0 is undefined.
    static constexpr std::array<std::array<int, 2>, 8> ROWS{
        {{11, 0}, {1, 2}, {3, 4}, {12, 13}, {14, 15}, {5, 6}, {7, 8}, {9, 10}}};
    const int row = ROWS[first & 0x07U][second >> 5 & 0x01U] - 1;
    if (row < 0 || !IsWriting()) {
        return;
    }
    if (m_mode == Mode::ROLL_UP) {
        SetBaseRow(row);
    } else {
        m_row = row;
    }
    const bool isIndent = (second & 0x10U) != 0;
    m_column = isIndent ? (second >> 1 & 0x07) * 4 : 0;
}

void Cea608Decoder::OnCommand(std::uint8_t command) {
    switch (command) {
    case RESUME_CAPTION_LOADING:
        Complete();
        m_isText = false;
        m_mode = Mode::POP_ON;
        break;
    case BACKSPACE:
        Backspace();
        break;
    case DELETE_TO_END_OF_ROW:
        if (IsWriting()) {
            Target().ClearFrom(m_row, m_column);
        }
        break;
    case FLASH_ON:
        Write(U' ');
        break;
    case RESUME_DIRECT_CAPTIONING:
        Complete();
        m_isText = false;
        m_mode = Mode::PAINT_ON;
        break;
    case TEXT_RESTART:
    case RESUME_TEXT_DISPLAY:
        m_isText = true;
        break;
    case ERASE_DISPLAYED_MEMORY:
        Complete();
        m_shown.Clear();
        break;
    case CARRIAGE_RETURN:
        RollUp();
        break;
    case ERASE_NON_DISPLAYED_MEMORY:
        m_loaded.Clear();
        break;
    case END_OF_CAPTION:
        ShowLoaded();
        break;
    default:
        if (command >= ROLL_UP_2_ROWS && command <= ROLL_UP_4_ROWS) {
            BeginRollUp(command - ROLL_UP_2_ROWS + 2);
        }
    }
}

void Cea608Decoder::Write(char32_t character) {
    if (!IsWriting()) {
        return;
    }
    // In a full row the last cell is written again.
    Target().Put(m_row, std::min(m_column, Cea608Memory::COLUMNS - 1), character);
    m_column = std::min(m_column + 1, Cea608Memory::COLUMNS);
    m_isUntold = m_isUntold || m_mode != Mode::POP_ON;
}

void Cea608Decoder::Backspace() {
    if (IsWriting() && m_column > 0) {
        --m_column;
        Target().Put(m_row, m_column, 0);
    }
}

void Cea608Decoder::BeginRollUp(int rows) {
    m_isText = false;
    if (m_mode != Mode::ROLL_UP) {
        Complete();
        m_shown.Clear();
        m_loaded.Clear();
        m_mode = Mode::ROLL_UP;
        m_row = Cea608Memory::ROWS - 1;
        m_column = 0;
    }
    m_rollUpRows = rows;
    SetBaseRow(m_row);
}

void Cea608Decoder::RollUp() {
    if (IsWriting() && m_mode == Mode::ROLL_UP) {
        Complete();
        m_shown.KeepAndMove(m_row, m_row - 1, m_rollUpRows - 1);
        m_column = 0;
    }
}

// The rows go along. There is room for all of them above the lowest.
void Cea608Decoder::SetBaseRow(int row) {
    row = std::max(row, m_rollUpRows - 1);
    m_shown.KeepAndMove(m_row, row, m_rollUpRows);
    m_row = row;
}

void Cea608Decoder::ShowLoaded() {
    Complete();
    m_isText = false;
    m_mode = Mode::POP_ON;
    std::swap(m_shown, m_loaded);
    if (const Lines lines = m_shown.Lines(); !lines.empty()) {
        m_onCaption(lines);
    }
}

void Cea608Decoder::Complete() {
    if (!std::exchange(m_isUntold, false)) {
        return;
    }
    Lines lines;
    if (m_mode != Mode::ROLL_UP) {
        lines = m_shown.Lines();
    } else if (std::string line = m_shown.Line(m_row); !line.empty()) {
        lines.push_back(std::move(line));
    }
    if (!lines.empty()) {
        m_onCaption(lines);
    }
}
