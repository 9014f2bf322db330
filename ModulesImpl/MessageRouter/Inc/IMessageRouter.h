// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "IModule.h"
#include "TCMessage.h"

namespace marrow::msg {

/// Delivers messages to services. Derives virtually, so that the router, which is an
/// IMessageHandler too, holds one IModule. Any thread.
class IMessageRouter : public virtual IModule {
public:
    /// Delivers `message` to the service and waits for what it answers; an empty payload means that
    /// nothing answered. `blocking` is true for a method call and false for a signal.
    virtual Quill::TCMessage Route(const std::string& serviceName, bool blocking,
                                   const Quill::TCMessage& message) = 0;
    ~IMessageRouter() override;
};

} // namespace marrow::msg
