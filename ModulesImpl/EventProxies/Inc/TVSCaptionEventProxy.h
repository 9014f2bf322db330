// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "IListenable.h"
#include "Mutex.h"
#include "TSCaption.h"

class IDataSubscriber;

namespace marrow::evt {

/// The captions of the TV service library, for one listener at a time, on the worker that the
/// listener names.
///
/// Any thread; captions come on the library's thread. m_mutex guards the fields, and is held while
/// the platform is asked, on the caller's thread, and while a caption is delivered: a platform that
/// called back from within those calls would wait for ever. What the platform answers goes nowhere:
/// a listener that it refuses hears nothing.
class TVSCaptionEventProxy : public IListenable<TSCaption> {
public:
    /// The process's one. It has the platform's subscriber made at once.
    static TVSCaptionEventProxy& Get();

    /// Returns the platform's subscriber, a running delivery with it.
    ~TVSCaptionEventProxy() override;

    /// Starts the delivery. False where somebody else has it: who came first keeps it. False, too,
    /// where the platform has no subscriber.
    bool Subscribe(IListener* listener);

    /// Stops the delivery and lets go of the listener. False where nobody is subscribed, and where
    /// the platform has no subscriber.
    ///
    /// Who calls doesn't matter to the platform's part: a foreign listener stops the delivery too,
    /// and gets true. The one that is subscribed then hears nothing and keeps its place, until it
    /// unsubscribes itself.
    bool Unsubscribe(IListener* listener);

    /// What the platform calls; `user` is the proxy. The caption remains the platform's.
    static void CaptionCallback(TSCaption& caption, void* user);

private:
    TVSCaptionEventProxy();

    // The platform's; the same from construction to destruction, and null where it made none.
    IDataSubscriber* m_subscriber = nullptr;
    int m_subscription_id GUARDED_BY(m_mutex) = 0;           // the platform's
    std::vector<IListener*> m_listeners GUARDED_BY(m_mutex); // not owned; one at the most
    base::Mutex m_mutex;
};

} // namespace marrow::evt
