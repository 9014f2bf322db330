// SPDX-License-Identifier: Apache-2.0
#include "Cea608.h"

#include <bit>
#include <map>
#include <stdexcept>
#include <string>

namespace streammaker {

namespace {

constexpr std::size_t LONGEST_LINE = 32;
constexpr std::size_t MOST_LINES = 4;

// Of the miscellaneous control codes in channel 1 of field 1 the second bytes.
enum Command : std::uint8_t {
    RESUME_CAPTION_LOADING = 0x20,
    ROLL_UP_2_ROWS = 0x25,
    RESUME_DIRECT_CAPTIONING = 0x29,
    ERASE_DISPLAYED_MEMORY = 0x2C,
    CARRIAGE_RETURN = 0x2D,
    ERASE_NON_DISPLAYED_MEMORY = 0x2E,
    END_OF_CAPTION = 0x2F,
};

// Preamble address codes of the rows 12 to 15: white, from the first column.
constexpr std::array<CaptionPair, MOST_LINES> LAST_ROWS{
    {{0x13, 0x40}, {0x13, 0x60}, {0x14, 0x40}, {0x14, 0x60}}};

// Where the basic set isn't ASCII. A value of two bytes is a special character.
const std::map<char32_t, std::uint16_t>& OtherCharacters() {
    static const std::map<char32_t, std::uint16_t> characters{
        {U'á', 0x2A},   {U'é', 0x5C},   {U'í', 0x5E},   {U'ó', 0x5F},   {U'ú', 0x60},
        {U'ç', 0x7B},   {U'÷', 0x7C},   {U'Ñ', 0x7D},   {U'ñ', 0x7E},   {U'█', 0x7F},
        {U'’', 0x27},   {U'®', 0x1130}, {U'°', 0x1131}, {U'½', 0x1132}, {U'¿', 0x1133},
        {U'™', 0x1134}, {U'¢', 0x1135}, {U'£', 0x1136}, {U'♪', 0x1137}, {U'à', 0x1138},
        {U'è', 0x113A}, {U'â', 0x113B}, {U'ê', 0x113C}, {U'î', 0x113D}, {U'ô', 0x113E},
        {U'û', 0x113F}};
    return characters;
}

// The code of a character, in one byte or two.
std::uint16_t CodeOf(char32_t character) {
    static constexpr std::u32string_view NOT_ASCII = U"*\\^_`{|}~\x7F";
    if (character >= 0x20 && character < 0x80 &&
        NOT_ASCII.find(character) == std::u32string_view::npos) {
        return static_cast<std::uint16_t>(character);
    }
    const auto found = OtherCharacters().find(character);
    if (found == OtherCharacters().end()) {
        throw std::invalid_argument("a caption has a character that CEA-608 doesn't have");
    }
    return found->second;
}

// Takes the first character off a text in UTF-8.
char32_t TakeCharacter(std::string_view& text) {
    const auto first = static_cast<unsigned char>(text.front());
    const auto length = static_cast<std::size_t>(std::countl_one(first));
    text.remove_prefix(1);
    if (length == 0) {
        return first;
    }
    if (length == 1 || length > 4 || text.size() < length - 1) {
        throw std::invalid_argument("a caption is not UTF-8");
    }
    char32_t character = first & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(text.front());
        if ((byte & 0xC0U) != 0x80U) {
            throw std::invalid_argument("a caption is not UTF-8");
        }
        character = character << 6 | (byte & 0x3FU);
        text.remove_prefix(1);
    }
    return character;
}

std::vector<std::u32string> LinesOf(std::string_view text) {
    std::vector<std::u32string> lines(1);
    while (!text.empty()) {
        const char32_t character = TakeCharacter(text);
        if (character == U'\n') {
            lines.emplace_back();
        } else {
            lines.back().push_back(character);
        }
    }
    for (const std::u32string& line : lines) {
        if (line.empty() || line.size() > LONGEST_LINE) {
            throw std::invalid_argument("a caption's line has 1 to 32 characters");
        }
    }
    return lines;
}

// Puts codes into pairs.
class PairWriter {
public:
    // A code that is lost must not be missed: it comes twice.
    void PutTwice(std::uint8_t first, std::uint8_t second) {
        Fill();
        m_pairs.insert(m_pairs.end(), 2, WithParity(first, second));
    }

    void Put(Command command) { PutTwice(0x14, command); }

    void Put(const std::u32string& line) {
        for (const char32_t character : line) {
            const std::uint16_t code = CodeOf(character);
            if (code > 0xFF) {
                PutTwice(static_cast<std::uint8_t>(code >> 8), static_cast<std::uint8_t>(code));
            } else if (m_half == 0) {
                m_half = static_cast<std::uint8_t>(code);
            } else {
                m_pairs.push_back(WithParity(m_half, static_cast<std::uint8_t>(code)));
                m_half = 0;
            }
        }
        Fill();
    }

    const std::vector<CaptionPair>& Written() const { return m_pairs; }

private:
    void Fill() {
        if (m_half != 0) {
            m_pairs.push_back(WithParity(m_half, 0));
            m_half = 0;
        }
    }

    std::vector<CaptionPair> m_pairs;
    std::uint8_t m_half = 0; // the first character of a pair
};

std::uint8_t WithParity(std::uint8_t byte) {
    return static_cast<std::uint8_t>(std::popcount(byte & 0x7FU) % 2 == 0 ? byte | 0x80U
                                                                          : byte & 0x7FU);
}

void Begin(PairWriter& writer, CaptionStyle style) {
    switch (style) {
    case CaptionStyle::POP_ON:
        writer.Put(RESUME_CAPTION_LOADING);
        writer.Put(ERASE_NON_DISPLAYED_MEMORY);
        break;
    case CaptionStyle::ROLL_UP:
        writer.Put(ROLL_UP_2_ROWS);
        writer.Put(CARRIAGE_RETURN);
        break;
    case CaptionStyle::PAINT_ON:
        writer.Put(RESUME_DIRECT_CAPTIONING);
        break;
    }
}

} // namespace

CaptionPair WithParity(std::uint8_t first, std::uint8_t second) {
    return {WithParity(first), WithParity(second)};
}

std::vector<CaptionPair> CaptionPairs(std::string_view text, CaptionStyle style) {
    const std::vector<std::u32string> lines = LinesOf(text);
    if (lines.size() > (style == CaptionStyle::ROLL_UP ? 1 : MOST_LINES)) {
        throw std::invalid_argument("a caption has at most four lines, for roll-up one");
    }
    PairWriter writer;
    Begin(writer, style);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const CaptionPair& row = LAST_ROWS[MOST_LINES - lines.size() + i];
        writer.PutTwice(row[0], row[1]);
        writer.Put(lines[i]);
    }
    if (style == CaptionStyle::POP_ON) {
        writer.Put(END_OF_CAPTION);
    }
    return writer.Written();
}

std::vector<CaptionPair> CaptionErasure() {
    PairWriter writer;
    writer.Put(ERASE_DISPLAYED_MEMORY);
    return writer.Written();
}

} // namespace streammaker
