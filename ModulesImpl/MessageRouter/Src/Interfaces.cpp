// SPDX-License-Identifier: Apache-2.0

// The virtual tables and the type information of this room's interfaces stand where these are
// defined: in the executable, whose copies hosted libraries bind to.

#include "IMessageHandler.h"
#include "IMessageRouter.h"

namespace marrow::msg {

IMessageHandler::~IMessageHandler() = default;
IMessageRouter::~IMessageRouter() = default;

} // namespace marrow::msg
