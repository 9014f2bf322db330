// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Finding.h"

namespace hearthctl {

/// A service as the daemon would take it from its manifest, and where that stands.
struct Declaration {
    /// A text of the manifest.
    struct Text {
        std::string text;
        Place place;
    };

    Text name;
    Text library; ///< empty where there is none
    std::uint8_t priority = 0;
    bool startsByItself = true;
    std::vector<Text> dependencies;
};

} // namespace hearthctl
