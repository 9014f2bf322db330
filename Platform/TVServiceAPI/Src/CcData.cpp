// SPDX-License-Identifier: Apache-2.0
#include "CcData.h"

#include <algorithm>
#include <array>

namespace tvservice {

namespace {

constexpr std::array<std::uint8_t, 5> CC_START{'G', 'A', '9', '4', 0x03};
constexpr std::array<std::uint8_t, 3> T35_START{0xB5, 0x00, 0x31};
constexpr std::size_t TRIPLE_BYTES = 3;

template <std::size_t Size>
bool StartsWith(Bytes bytes, const std::array<std::uint8_t, Size>& start) {
    return bytes.size() >= Size && std::equal(start.begin(), start.end(), bytes.begin());
}

} // namespace

std::optional<Bytes> CcDataOfUserData(Bytes userData) {
    if (!StartsWith(userData, CC_START) || userData.size() < CC_START.size() + 2) {
        return std::nullopt;
    }
    const std::uint8_t flags = userData[CC_START.size()];
    const bool isProcessed = (flags & 0x40) != 0; // process_cc_data_flag
    const std::size_t size = (flags & 0x1F) * TRIPLE_BYTES;
    const Bytes triples = userData.subspan(CC_START.size() + 2); // behind em_data
    if (!isProcessed || size == 0 || triples.size() < size) {
        return std::nullopt;
    }
    return triples.first(size);
}

std::optional<Bytes> CcDataOfT35(Bytes message) {
    if (!StartsWith(message, T35_START)) {
        return std::nullopt;
    }
    return CcDataOfUserData(message.subspan(T35_START.size()));
}

} // namespace tvservice
