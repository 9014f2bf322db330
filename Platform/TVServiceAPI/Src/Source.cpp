// SPDX-License-Identifier: Apache-2.0
#include "Source.h"

#include <string_view>

#include "FileSource.h"
#include "UdpSource.h"

namespace tvservice {

Source::~Source() = default;

std::unique_ptr<Source> Source::Open(const std::string& address) {
    constexpr std::string_view UDP = "udp://";
    if (address.starts_with(UDP)) {
        return std::make_unique<UdpSource>(address.substr(UDP.size()));
    }
    return std::make_unique<FileSource>(address);
}

} // namespace tvservice
