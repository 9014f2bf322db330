// SPDX-License-Identifier: Apache-2.0
#include "IIPC.h"

namespace marrow::dbg {

IIPC::~IIPC() = default;

} // namespace marrow::dbg
