// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <cxxabi.h>
#include <memory>
#include <string>

namespace hearthctl {

/// A symbol as the source calls it; a name that was cut, or isn't C++, as it stands.
inline std::string Demangled(const std::string& name) {
    if (!name.starts_with("_Z")) {
        return name; // the library would take a short name of C for a type
    }
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> text(
        abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status), &std::free);
    return status == 0 ? text.get() : name;
}

} // namespace hearthctl
