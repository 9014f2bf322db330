// SPDX-License-Identifier: Apache-2.0

// The character sets by the standard's tables.

#include "DecodedCaptions.h"

#include <array>
#include <string>

namespace {

class Cea608Characters : public DecodedCaptions {
protected:
    // The caption that a pop-on of these codes shows.
    template <typename Codes>
    std::string Shown(Codes codes) {
        m_captions.clear();
        Command(RESUME_LOADING);
        Command(ERASE_LOADED);
        SendTwice(0x14, 0x60); // row 15
        codes();
        Command(END_OF_CAPTION);
        return m_captions.size() == 1 && m_captions[0].size() == 1 ? m_captions[0][0] : "";
    }
};

TEST_F(Cea608Characters, OfTheBasicSetAreAsciiButForEleven) {
    const auto basic = [this](std::uint8_t from, std::uint8_t to) {
        return Shown([=, this] {
            for (std::uint8_t byte = from; byte <= to; ++byte) {
                Send(byte, 0);
            }
        });
    };
    EXPECT_EQ(basic(0x21, 0x3A), "!\"#$%&’()á+,-./0123456789:");
    EXPECT_EQ(basic(0x3B, 0x5A), ";<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ");
    EXPECT_EQ(basic(0x5B, 0x6F), "[é]íóúabcdefghijklmno");
    EXPECT_EQ(basic(0x70, 0x7F), "pqrstuvwxyzç÷Ññ█");
}

TEST_F(Cea608Characters, OfTheSpecialSetHaveAPairEach) {
    EXPECT_EQ(Shown([this] {
                  for (std::uint8_t second = 0x30; second <= 0x3F; ++second) {
                      SendTwice(0x11, second);
                  }
              }),
              "®°½¿™¢£♪à èâêîôû")
        << "the tenth is transparent";
}

TEST_F(Cea608Characters, OfTheExtendedSetsTakeThePlaceOfTheOneAhead) {
    const auto extended = [this](std::uint8_t first) {
        return Shown([=, this] {
            for (std::uint8_t second = 0x20; second <= 0x3F; ++second) {
                Type("x");
                SendTwice(first, second);
            }
        });
    };
    EXPECT_EQ(extended(0x12), "ÁÉÓÚÜü‘¡*'—©℠•“”ÀÂÇÈÊËëÎÏïÔÙùÛ«»");
    EXPECT_EQ(extended(0x13), "ÃãÍÌìÒòÕõ{}\\^_|~ÄäÖöß¥¤│ÅåØø┌┐└┘");
}

TEST_F(Cea608Characters, ComeBackFromWhatAnEncoderMakesOfThem) {
    const std::string first = "¿Qué? [Ñandú] ½ °C, 100 % ™";
    const std::string second = "♪ à bientôt, ça ira: 4÷2 ’ 5£ ♪";
    Push(streammaker::CaptionPairs(first + "\n" + second, streammaker::CaptionStyle::POP_ON));
    EXPECT_EQ(m_captions, Captions({{first, second}}));
}

} // namespace
