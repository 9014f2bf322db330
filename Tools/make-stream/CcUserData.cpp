// SPDX-License-Identifier: Apache-2.0
#include "CcUserData.h"

#include <stdexcept>

namespace streammaker {

namespace {

constexpr std::size_t TRIPLET = 3;
constexpr std::size_t MOST_TRIPLETS = 31;
constexpr std::uint8_t FIELD_1 = 0xFC; // marker_bits, cc_valid, cc_type 0

} // namespace

Bytes CcTriplets(const std::vector<CaptionPair>& pairs) {
    Bytes triplets;
    for (const CaptionPair& pair : pairs) {
        triplets.insert(triplets.end(), {FIELD_1, pair[0], pair[1]});
    }
    return triplets;
}

Bytes CcUserData(const Bytes& triplets) {
    if (triplets.size() % TRIPLET != 0 || triplets.size() > MOST_TRIPLETS * TRIPLET) {
        throw std::invalid_argument("cc_data is of at most 31 triplets");
    }
    const auto count = static_cast<unsigned>(triplets.size() / TRIPLET);
    Bytes bytes{'G', 'A', '9', '4', 0x03};
    bytes.push_back(static_cast<std::uint8_t>(0xC0U | count)); // process_cc_data_flag, cc_count
    bytes.push_back(0xFF);                                     // em_data
    Append(bytes, triplets);
    bytes.push_back(0xFF); // marker_bits
    return bytes;
}

} // namespace streammaker
