// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "Cea608Memory.h"

/// Decodes the captions of CEA-608's channel 1 in field 1. It takes any bytes at all: what makes no
/// sense is passed over. One thread.
///
/// Colours, italics and the like are left out. The bytes' parity is checked: a character that fails
/// shows as a solid block, a control code that fails is dropped, and its second transmission
/// counts.
class Cea608Decoder {
public:
    /// The rows of a caption from the top, in UTF-8.
    using Lines = std::vector<std::string>;
    using OnCaption = std::function<void(const Lines&)>;

    /// `onCaption` is called from within a Push, once for each caption with a text, when it is
    /// complete on the screen:
    ///
    /// - pop-on: all rows, when they are shown;
    /// - roll-up: the lowest row, when it is to roll up or goes;
    /// - paint-on: all rows, when they go or the next caption begins.
    explicit Cea608Decoder(OnCaption onCaption);

    /// The cc_data of a picture (CTA-708, 4.4), of which only field 1 is looked at.
    void PushCcData(std::span<const unsigned char> ccData);
    /// A pair of field 1, with parity.
    void Push(std::uint8_t first, std::uint8_t second);

private:
    enum class Mode { NONE, POP_ON, ROLL_UP, PAINT_ON };

    void OnCharacter(std::uint8_t byte, bool isIntact);
    void OnControl(std::uint8_t first, std::uint8_t second);
    void OnPreamble(std::uint8_t first, std::uint8_t second);
    void OnCommand(std::uint8_t command);

    void Write(char32_t character);
    void Backspace();
    void BeginRollUp(int rows);
    void RollUp();
    void SetBaseRow(int row);
    void ShowLoaded();
    void Complete();

    bool IsWriting() const { return m_isOurs && !m_isText && m_mode != Mode::NONE; }
    Cea608Memory& Target() { return m_mode == Mode::POP_ON ? m_loaded : m_shown; }

    OnCaption m_onCaption;
    Mode m_mode = Mode::NONE; // of the captions; before the first word of it nothing is written
    bool m_isText = false;    // the channel's text service has the word, and not its captions
    bool m_isOurs = false;    // channel 1 has the word, and not channel 2
    unsigned m_lastCode = 0;  // the control code that came last, for its second transmission
    Cea608Memory m_shown;
    Cea608Memory m_loaded;
    int m_row = Cea608Memory::ROWS - 1;
    int m_column = 0;        // COLUMNS where the row is full
    int m_rollUpRows = 0;    // of roll-up; m_row is the lowest one
    bool m_isUntold = false; // something has been written on the screen since the last Complete
};
