// SPDX-License-Identifier: Apache-2.0
#include "Descriptors.h"

#include <stdexcept>

namespace streammaker {

namespace {

constexpr std::size_t LANGUAGE_SIZE = 3;
constexpr std::size_t LONGEST_DATA = 255;

void AppendLanguage(Bytes& bytes, std::string_view language) {
    if (language.size() != LANGUAGE_SIZE) {
        throw std::invalid_argument("a language code has three letters");
    }
    bytes.insert(bytes.end(), language.begin(), language.end());
}

void AppendText(Bytes& bytes, const SiText& text) {
    const Bytes& written = text.Written();
    if (bytes.size() + 1 + written.size() > LONGEST_DATA) {
        throw std::length_error("a descriptor has at most 255 bytes");
    }
    bytes.push_back(static_cast<std::uint8_t>(written.size()));
    Append(bytes, written);
}

} // namespace

Descriptor ServiceDescriptor(std::uint8_t serviceType, const SiText& provider, const SiText& name) {
    Descriptor descriptor{0x48, {serviceType}};
    AppendText(descriptor.data, provider);
    AppendText(descriptor.data, name);
    return descriptor;
}

Descriptor ShortEventDescriptor(std::string_view language, const SiText& name, const SiText& text) {
    Descriptor descriptor{0x4D, {}};
    AppendLanguage(descriptor.data, language);
    AppendText(descriptor.data, name);
    AppendText(descriptor.data, text);
    return descriptor;
}

Descriptor SubtitlingDescriptor(std::string_view language, std::uint16_t compositionPage,
                                std::uint16_t ancillaryPage, std::uint8_t type) {
    Descriptor descriptor{0x59, {}};
    AppendLanguage(descriptor.data, language);
    descriptor.data.push_back(type);
    Append16(descriptor.data, compositionPage);
    Append16(descriptor.data, ancillaryPage);
    return descriptor;
}

Descriptor TeletextDescriptor(std::string_view language, std::uint8_t type, std::uint8_t magazine,
                              std::uint8_t page) {
    Descriptor descriptor{0x56, {}};
    AppendLanguage(descriptor.data, language);
    descriptor.data.push_back(static_cast<std::uint8_t>(type << 3U | magazine % 8U));
    descriptor.data.push_back(page);
    return descriptor;
}

Descriptor LanguageDescriptor(std::string_view language, std::uint8_t audioType) {
    Descriptor descriptor{0x0A, {}};
    AppendLanguage(descriptor.data, language);
    descriptor.data.push_back(audioType);
    return descriptor;
}

} // namespace streammaker
