// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "Bytes.h"
#include "Cea608.h"

namespace streammaker {

/// The three bytes of cc_data for each pair of field 1: marker_bits, cc_valid, cc_type 0 and the
/// pair (CTA-708, 4.4).
Bytes CcTriplets(const std::vector<CaptionPair>& pairs);

/// ATSC1_data of cc_data (ATSC A/53 part 4, 6.2.2): identifier, user_data_type_code 3, the triplets
/// and their count. Throws std::invalid_argument for more than 31 triplets, or part of one.
Bytes CcUserData(const Bytes& triplets);

} // namespace streammaker
