// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "TSCaption.h"

/// The subscriber of captions, which TVServiceAPI::CreateDataSubscriber makes: of the program that
/// its profile and screen show. Any thread; the callback comes on the library's thread, one call
/// after the other and never from within a call of this interface.
class IDataSubscriber {
public:
    /// The caption is the library's, to be read only, and holds until the callback returns.
    using Callback = void (*)(TSCaption& caption, void* user);

    virtual ~IDataSubscriber();

    /// Starts a delivery and writes its id. Returns 1, or 0 where there is no callback.
    virtual int SubscribeData(Callback callback, void* user, int& id) = 0;

    /// Stops it; a callback that is under way may still come. Returns 1, or 0 where there is no
    /// such subscription.
    virtual int UnsubscribeData(int id) = 0;
};
