// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace marrow::base {

/// A JSON text that grows at its end. Numbers and strings come out as JsonCpp's writers write them,
/// digit for digit: what reads the daemon's texts has always seen these. One thread at a time.
class JsonText {
public:
    /// What becomes of code points outside of ASCII in a string.
    enum class Escape {
        CONTROLS,  ///< nothing: their bytes are copied, whether they are UTF-8 or not
        NON_ASCII, ///< they are written as \uXXXX
    };

    void Add(char c) {
        char* const at = Room(1);
        *at = c;
        m_size += 1;
    }

    void Add(std::string_view text) {
        std::memcpy(Room(text.size()), text.data(), text.size());
        m_size += text.size();
    }

    /// `count` times the same character.
    void Add(std::size_t count, char c) {
        std::memset(Room(count), c, count);
        m_size += count;
    }

    void AddInteger(std::int64_t value) { AddDigits(value); }
    void AddInteger(std::uint64_t value) { AddDigits(value); }

    /// With 17 significant digits, which any double survives. JSON has neither infinities nor NaN:
    /// a number that is too large for any reader, and null, stand for them.
    void AddReal(double value) {
        if (!std::isfinite(value)) {
            Add(std::string_view(std::isnan(value) ? "null" : value < 0 ? "-1e+9999" : "1e+9999"));
        } else if (!AddShortReal(value)) {
            AddLongReal(value);
        }
    }

    /// In quotes. False, and a text that nobody should use, if code points are to be escaped and
    /// `text` is no UTF-8.
    template <Escape ESCAPE>
    bool AddString(std::string_view text) {
        const char* from = text.data();
        const char* const end = from + text.size();
        // Whenever a byte is looked at, there is room for all that are left, for an escape and for
        // the last quote.
        char* to = Room(text.size() + SPARE);
        const auto addEscape = [&](std::string_view escape) {
            std::memcpy(to, escape.data(), escape.size());
            m_size = static_cast<std::size_t>(to - m_bytes.get()) + escape.size();
            to = Room(static_cast<std::size_t>(end - from) + SPARE);
        };
        *to++ = '"';
        while (from != end) {
            while (end - from >= 8 && CopyPlainWord<ESCAPE>(to, from)) {
                from += 8;
                to += 8;
            }
            // A short rest, or the word in which something is to be done.
            for (const char* const stop = from + std::min<std::ptrdiff_t>(8, end - from);
                 from < stop;) {
                const auto byte = static_cast<unsigned char>(*from);
                if (!NeedsEscape<ESCAPE>(byte)) {
                    *to++ = *from++;
                } else if (byte < 0x80) {
                    ++from;
                    std::array<char, 6> escape{};
                    addEscape(EscapeOf(byte, escape));
                } else {
                    const char32_t point = TakeCodePoint(from, end);
                    if (point == NO_CODE_POINT) {
                        return false;
                    }
                    std::array<char, 12> escape{};
                    addEscape(EscapeOf(point, escape));
                }
            }
        }
        *to++ = '"';
        m_size = static_cast<std::size_t>(to - m_bytes.get());
        return true;
    }

    std::string_view Text() const { return {m_bytes.get(), m_size}; }

    /// Begins anew. The memory is kept for the next text, unless a rare long one has needed it.
    void Clear() {
        m_size = 0;
        if (m_capacity > LARGEST_KEPT) {
            m_bytes.reset(new char[LEAST_CAPACITY]);
            m_capacity = LEAST_CAPACITY;
        }
    }

private:
    static constexpr std::size_t LEAST_CAPACITY = 1024;
    static constexpr std::size_t LARGEST_KEPT = 256UL * 1024;
    static constexpr std::size_t SPARE = 16;
    static constexpr char32_t NO_CODE_POINT = 0xFFFFFFFF;

    // Where the text ends, with room for so many bytes.
    char* Room(std::size_t count) {
        if (m_capacity - m_size < count) {
            Grow(count);
        }
        return &m_bytes[m_size];
    }

    void Grow(std::size_t count) {
        const std::size_t capacity =
            std::max({m_size + count, m_capacity + m_capacity / 2, LEAST_CAPACITY});
        std::unique_ptr<char[]> bytes(new char[capacity]); // not zeroed
        std::memcpy(bytes.get(), m_bytes.get(), m_size);
        m_bytes = std::move(bytes);
        m_capacity = capacity;
    }

    template <class Integer>
    void AddDigits(Integer value) {
        constexpr std::size_t LONGEST = 20; // a sign and 19 digits, or 20 digits
        char* const at = Room(LONGEST);
        m_size += static_cast<std::size_t>(std::to_chars(at, at + LONGEST, value).ptr - at);
    }

    // Most reals of a message are short: 0.25, 12.5, 3. What has ten binary places has no more
    // than ten decimal ones, and six digits before them leave room for all of these, so that the
    // digits are exact and nothing is to be rounded.
    bool AddShortReal(double value) {
        constexpr double PLACES = 1024;
        constexpr std::uint64_t DECIMALS_OF_ONE = 9765625; // ten decimal places of 1 / 1024
        const double magnitude = std::abs(value);
        if (!(magnitude < 1e6)) {
            return false;
        }
        const auto scaled = static_cast<std::uint64_t>(magnitude * PLACES);
        if (static_cast<double>(scaled) != magnitude * PLACES) {
            return false;
        }
        if (std::signbit(value)) {
            Add('-');
        }
        AddDigits(scaled / 1024);
        char* const at = Room(11);
        at[0] = '.';
        std::uint64_t decimals = scaled % 1024 * DECIMALS_OF_ONE;
        if (decimals == 0) {
            at[1] = '0'; // the reader is to see a real
            m_size += 2;
            return true;
        }
        std::size_t count = 10;
        for (; decimals % 10 == 0; decimals /= 10) {
            --count;
        }
        for (std::size_t place = count; place > 0; --place, decimals /= 10) {
            at[place] = static_cast<char>('0' + decimals % 10);
        }
        m_size += 1 + count;
        return true;
    }

    void AddLongReal(double value) {
        constexpr std::size_t LONGEST = 32; // a sign, 17 digits, a point, an exponent: 24
        char* const at = Room(LONGEST + 2);
        const char* const end =
            std::to_chars(at, at + LONGEST, value, std::chars_format::general, 17).ptr;
        const std::string_view digits(at, static_cast<std::size_t>(end - at));
        m_size += digits.size();
        if (digits.find_first_of(".e") == std::string_view::npos) {
            Add(std::string_view(".0"));
        }
    }

    template <Escape ESCAPE>
    static bool NeedsEscape(unsigned char byte) {
        return byte < 0x20 || byte == '"' || byte == '\\' ||
               (ESCAPE == Escape::NON_ASCII && byte >= 0x80);
    }

    // Copies eight bytes; false where one of them needs an escape.
    template <Escape ESCAPE>
    static bool CopyPlainWord(char* to, const char* from) {
        constexpr std::uint64_t ONES = 0x0101010101010101U;
        constexpr std::uint64_t HIGH_BITS = ONES << 7U;
        std::uint64_t word = 0;
        std::memcpy(&word, from, 8);
        std::memcpy(to, &word, 8);
        // A byte that is less than what is subtracted borrows, and shows its high bit.
        const std::uint64_t quotes = word ^ (ONES * '"');
        const std::uint64_t backslashes = word ^ (ONES * '\\');
        const std::uint64_t found = ((word - ONES * 0x20) & ~word) | ((quotes - ONES) & ~quotes) |
                                    ((backslashes - ONES) & ~backslashes);
        return ((ESCAPE == Escape::NON_ASCII ? found | word : found) & HIGH_BITS) == 0;
    }

    static void PutHex(char* at, char32_t unit) {
        constexpr std::string_view DIGITS = "0123456789abcdef";
        at[0] = '\\';
        at[1] = 'u';
        for (unsigned i = 0; i < 4; ++i) {
            at[2 + i] = DIGITS[(unit >> (12 - 4 * i)) & 0xFU];
        }
    }

    static std::string_view EscapeOf(unsigned char byte, std::array<char, 6>& room) {
        switch (byte) {
        case '"':
            return "\\\"";
        case '\\':
            return "\\\\";
        case '\b':
            return "\\b";
        case '\f':
            return "\\f";
        case '\n':
            return "\\n";
        case '\r':
            return "\\r";
        case '\t':
            return "\\t";
        default:
            PutHex(room.data(), byte);
            return {room.data(), room.size()};
        }
    }

    static std::string_view EscapeOf(char32_t point, std::array<char, 12>& room) {
        if (point < 0x10000) {
            PutHex(room.data(), point);
            return {room.data(), 6};
        }
        PutHex(room.data(), 0xD800 + ((point - 0x10000) >> 10U));
        PutHex(room.data() + 6, 0xDC00 + ((point - 0x10000) & 0x3FFU));
        return {room.data(), 12};
    }

    // The code point outside of ASCII that stands at `from`, which is moved behind it (RFC 3629).
    static char32_t TakeCodePoint(const char*& from, const char* end) {
        const auto lead = static_cast<unsigned char>(*from);
        const unsigned more = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
        if (lead < 0xC2 || lead > 0xF4 || end - from <= static_cast<std::ptrdiff_t>(more)) {
            return NO_CODE_POINT;
        }
        char32_t point = lead & (0x3FU >> more);
        for (unsigned i = 1; i <= more; ++i) {
            const auto byte = static_cast<unsigned char>(from[i]);
            if ((byte & 0xC0U) != 0x80) {
                return NO_CODE_POINT;
            }
            point = point << 6U | (byte & 0x3FU);
        }
        constexpr std::array<char32_t, 4> LEAST{0, 0x80, 0x800, 0x10000};
        if (point < LEAST[more] || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) {
            return NO_CODE_POINT;
        }
        from += more + 1;
        return point;
    }

    std::unique_ptr<char[]> m_bytes{new char[LEAST_CAPACITY]};
    std::size_t m_size = 0;
    std::size_t m_capacity = LEAST_CAPACITY;
};

} // namespace marrow::base
