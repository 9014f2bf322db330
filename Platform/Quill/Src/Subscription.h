// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <string>

#include "TCServer.h"

namespace Quill {

/// What SubscribeSignal or SubscribeSignals was asked for. Constant after construction, `ended`
/// excepted, which any thread may set once.
struct Subscription {
    Subscription(std::string fromSender, std::string ofSignal, bool asPrefix,
                 TCServer::SignalCallback toCallback, void* withUserData)
        : sender(std::move(fromSender)), signal(std::move(ofSignal)), isPrefix(asPrefix),
          callback(toCallback), userData(withUserData) {}

    const std::string sender; ///< a bus name, or empty for anybody
    const std::string signal;
    const bool isPrefix; ///< all signals that begin so
    const TCServer::SignalCallback callback;
    void* const userData;
    mutable std::atomic<bool> ended{false}; ///< signals on their way are dropped
};

} // namespace Quill
