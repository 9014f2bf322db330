// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "TSPESData.h"

/// The subscriber of PES packets, which TVServiceAPI::CreatePESDataSubscriber makes. Any thread;
/// the callback comes on the library's thread, one call after the other and never from within a
/// call of this interface.
class IPESDataSubscriber {
public:
    /// The packet is the library's, to be read only, and holds until the callback returns.
    using Callback = void (*)(TSPESData& data, void* user);

    virtual ~IPESDataSubscriber();

    /// Starts the delivery of the PIDs that the settings name for the profile and screen, and
    /// writes its id. Returns 1, or 0 where there is no callback.
    virtual int SubscribePESData(Callback callback, void* user, int& id) = 0;

    /// Has a subscription deliver this PID from now on, in place of the settings'. Returns 1, or 0
    /// where there is no such subscription or the PID is above 0x1FFF.
    virtual int SelectPES(int id, unsigned short pid) = 0;

    /// Stops it; a callback that is under way may still come. Returns 1, or 0 where there is no
    /// such subscription.
    virtual int UnsubscribePESData(int id) = 0;
};
