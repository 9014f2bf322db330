// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "VConf.h"

namespace vconf {

/// The value of another type than the value's own is nothing.
struct StoredValue {
    VConfType type = VCONF_NONE;
    int integer = 0; ///< of VCONF_INT and VCONF_BOOL
    double real = 0;
    std::string text;

    bool operator==(const StoredValue&) const = default;
};

struct StoredKey {
    std::string name;
    StoredValue value;
    std::int64_t number = 0; ///< of its last change, in the one sequence of all changes

    bool operator==(const StoredKey&) const = default;
};

} // namespace vconf
