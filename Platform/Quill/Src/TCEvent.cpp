// SPDX-License-Identifier: Apache-2.0
#include "TCEvent.h"

namespace Quill {

TCEvent::~TCEvent() = default;

} // namespace Quill
