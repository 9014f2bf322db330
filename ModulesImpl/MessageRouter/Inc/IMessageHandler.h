// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "IModule.h"
#include "TCMessage.h"

namespace marrow::msg {

/// Takes messages in and sends notifications out. Derives virtually, as IMessageRouter does. Any
/// thread.
class IMessageHandler : public virtual IModule {
public:
    /// As IMessageRouter::Route, for the service that the message's subject names.
    virtual Quill::TCMessage OnMessage(const Quill::TCMessage& message, bool blocking) = 0;
    /// Publishes the message as a signal on the bus. There is nothing to report.
    virtual void SendNotification(Quill::TCMessage message) = 0;
    ~IMessageHandler() override;
};

} // namespace marrow::msg
