// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

#include "Bytes.h"
#include "SiText.h"

namespace streammaker {

/// A descriptor of a table; its length is that of the data.
struct Descriptor {
    std::uint8_t tag = 0;
    Bytes data;
};

// Languages are ISO 639-2 codes of three letters. Throw std::invalid_argument for a language of
// another length, std::length_error where the texts are too long for one descriptor.

/// EN 300 468, 6.2.33.
Descriptor ServiceDescriptor(std::uint8_t serviceType, const SiText& provider, const SiText& name);
/// EN 300 468, 6.2.37.
Descriptor ShortEventDescriptor(std::string_view language, const SiText& name, const SiText& text);
/// EN 300 468, 6.2.41, of one subtitle: type 0x10 is for the ordinary viewer.
Descriptor SubtitlingDescriptor(std::string_view language, std::uint16_t compositionPage = 1,
                                std::uint16_t ancillaryPage = 1, std::uint8_t type = 0x10);
/// EN 300 468, 6.2.43, of one page: magazine 1 to 8, two digits; type 2 is a subtitle page.
Descriptor TeletextDescriptor(std::string_view language, std::uint8_t type = 2,
                              std::uint8_t magazine = 8, std::uint8_t page = 0x88);
/// ISO/IEC 13818-1, 2.6.18.
Descriptor LanguageDescriptor(std::string_view language, std::uint8_t audioType = 0);

} // namespace streammaker
