// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "TsPacket.h"

namespace tvservice {

/// The byte triples of cc_data in what follows the user_data_start_code of MPEG-2 video (ATSC A/53
/// part 4, 6.2.2): user_data_identifier "GA94", user_data_type_code 3. Nothing for other user data.
std::optional<Bytes> CcDataOfUserData(Bytes userData);

/// The same in one user_data_registered_itu_t_t35 message (ITU-T H.264, D.1.6): country 0xB5,
/// provider 0x0031, then as above.
std::optional<Bytes> CcDataOfT35(Bytes message);

} // namespace tvservice
