// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "EProfile.h"

namespace tvservice {

/// One of the television's pictures.
struct ScreenKey {
    EProfile profile = PROFILE_NONE;
    int screen = 0;

    auto operator<=>(const ScreenKey&) const = default; // NOLINT(modernize-use-nullptr): no pointer
};

struct ScreenSettings {
    std::uint16_t program = 0;      ///< program_number; 0: the first of the PAT
    std::vector<std::uint16_t> pes; ///< PIDs

    bool operator==(const ScreenSettings&) const = default;
};

struct SourceSettings {
    enum class Pace {
        ByKind, ///< a file by its clock, everything else as it comes
        Clock,  ///< no faster than the stream's clock reference
        Fast,
    };

    std::string address; ///< a path, or udp://GROUP-OR-ADDRESS:PORT; empty: none
    Pace pace = Pace::ByKind;
    bool loop = true;

    bool operator==(const SourceSettings&) const = default;
};

/// What the settings file says; its format stands in Docs/tv.md.
struct Settings {
    SourceSettings source;
    std::map<ScreenKey, ScreenSettings> screens{{{PROFILE_MAIN, 0}, {}}};

    /// Throws std::runtime_error, with words for the one who wrote the text.
    static Settings Parse(const std::string& text);

    bool operator==(const Settings&) const = default;
};

} // namespace tvservice
