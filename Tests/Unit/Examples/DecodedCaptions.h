// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <gtest/gtest.h>
#include <vector>

#include "Cea608.h"
#include "Cea608Decoder.h"

/// A decoder, and the captions that it has told.
class DecodedCaptions : public testing::Test {
protected:
    using Lines = Cea608Decoder::Lines;
    using Captions = std::vector<Lines>;

    // Pairs as they are sent.
    void Push(const std::vector<streammaker::CaptionPair>& pairs) {
        for (const streammaker::CaptionPair& pair : pairs) {
            m_decoder.Push(pair[0], pair[1]);
        }
    }
    // A pair without its parity.
    void Send(std::uint8_t first, std::uint8_t second) {
        Push({streammaker::WithParity(first, second)});
    }
    void SendTwice(std::uint8_t first, std::uint8_t second) {
        Send(first, second);
        Send(first, second);
    }
    // The misc control codes of channel 1.
    void Command(std::uint8_t second) { SendTwice(0x14, second); }
    // Characters of ASCII.
    void Type(const char* text) {
        for (; *text != '\0'; text += text[1] == '\0' ? 1 : 2) {
            Send(static_cast<std::uint8_t>(text[0]), static_cast<std::uint8_t>(text[1]));
        }
    }

    static constexpr std::uint8_t RESUME_LOADING = 0x20;
    static constexpr std::uint8_t BACKSPACE = 0x21;
    static constexpr std::uint8_t DELETE_TO_END_OF_ROW = 0x24;
    static constexpr std::uint8_t ROLL_UP_2 = 0x25;
    static constexpr std::uint8_t ROLL_UP_3 = 0x26;
    static constexpr std::uint8_t RESUME_DIRECT = 0x29;
    static constexpr std::uint8_t RESUME_TEXT = 0x2B;
    static constexpr std::uint8_t ERASE_SHOWN = 0x2C;
    static constexpr std::uint8_t CARRIAGE_RETURN = 0x2D;
    static constexpr std::uint8_t ERASE_LOADED = 0x2E;
    static constexpr std::uint8_t END_OF_CAPTION = 0x2F;

    Captions m_captions;
    Cea608Decoder m_decoder{[this](const Lines& lines) { m_captions.push_back(lines); }};
};
