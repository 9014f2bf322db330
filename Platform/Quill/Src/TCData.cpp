// SPDX-License-Identifier: Apache-2.0
#include "TCData.h"

namespace Quill {

TCData::TCData() = default;
TCData::~TCData() = default;

} // namespace Quill
