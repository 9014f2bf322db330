// SPDX-License-Identifier: Apache-2.0
#include "TCHandler.h"

namespace Quill {

TCHandler::~TCHandler() = default;

bool TCHandler::t_OnEvent(const TCEvent* /*event*/) {
    return false;
}

void TCHandler::t_Clear(TCEvent* /*event*/) {}

} // namespace Quill
