// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "SubscriptionManager.h"
#include "TVSEvent.h"

namespace marrow::evt {

// In the executable, whose copy hosted libraries bind to.
extern template class SubscriptionManager<tvs_event_t, tvs_event_args_t>;

/// The signals of the TV service library: each to the listeners of its profile and screen, on the
/// worker that the listener names.
///
/// Any thread. The bookkeeping and its lock are the base's, and signals come on the library's
/// thread. The platform is asked by the hooks, on the main thread in the order in which they were
/// scheduled, or before its main loop runs on the subscriber's; what it answers goes nowhere. A
/// listener whose signal the platform refuses hears nothing, and nobody is told.
class TVSEventProxy : public SubscriptionManager<tvs_event_t, tvs_event_args_t> {
public:
    /// The process's one. It has the platform's subscriber made at once.
    static TVSEventProxy& Get();

    /// Returns the platform's subscriber. The platform isn't asked to stop what is still wanted.
    ~TVSEventProxy() override;

    void Subscribe(ESignalType signal, EProfile profile, unsigned short screen,
                   IListener* listener);
    void Unsubscribe(ESignalType signal, EProfile profile, unsigned short screen,
                     IListener* listener);

    // For the base, with the platform's answer.
    bool OnFirstSubCb(tvs_event_t key) override;
    bool OnLastUnsubCb(tvs_event_t key) override;

    /// What the platform calls; `user` is the proxy. Always 0.
    static int SignalCallback(ESignalType signal, EProfile profile, unsigned short screen,
                              TSSignalData data, void* user);

private:
    TVSEventProxy();

    // The platform's; the same from construction to destruction. Null where the platform made
    // none, which nobody looks at: the first hook falls over it.
    ISignalSubscriber* m_subscriber = nullptr;
};

} // namespace marrow::evt
