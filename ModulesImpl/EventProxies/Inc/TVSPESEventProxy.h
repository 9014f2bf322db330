// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "IListenable.h"
#include "Mutex.h"
#include "TSPESData.h"

class IPESDataSubscriber;

namespace marrow::evt {

/// What a listener gets: one PES packet, with the values of TSPESData.
struct tvs_pes_event_arg_t {
    std::uint32_t word_a;
    unsigned short short_b;
    std::uint32_t word_c;
    /// An array that all listeners share: to be read only. Null where the packet has no bytes.
    std::shared_ptr<unsigned char> data;
    int size; ///< in bytes
};

/// The PES packets of the TV service library: each to all listeners, on the workers that they name.
///
/// Any thread; packets come on the library's thread. m_mutex guards the fields, and is held while
/// the platform is asked, on the caller's thread, and while a packet is delivered: a platform that
/// called back from within those calls would wait for ever. What the platform answers goes nowhere:
/// listeners of a delivery that it refuses hear nothing.
class TVSPESEventProxy : public IListenable<tvs_pes_event_arg_t> {
public:
    /// The process's one. It has the platform's subscriber made at once.
    static TVSPESEventProxy& Get();

    /// Returns the platform's subscriber, a running delivery with it.
    ~TVSPESEventProxy() override;

    /// Adds the listener behind the others and starts the delivery for the first one. Who
    /// subscribes twice gets each packet twice.
    void Subscribe(IListener* listener);

    /// Removes the listener once. Stops the delivery where one listener is left, whoever calls: a
    /// foreign listener leaves that one in its place and without packets, and no Subscribe starts
    /// the delivery again until it has unsubscribed itself.
    void Unsubscribe(IListener* listener);

    /// What the platform calls; `user` is the proxy. The packet remains the platform's.
    static void PesDataCallback(TSPESData& data, void* user);

private:
    TVSPESEventProxy();

    std::vector<IListener*> m_listeners GUARDED_BY(m_mutex); // not owned
    // The platform's; the same from construction to destruction. Nobody looks whether it is there.
    IPESDataSubscriber* m_subscriber = nullptr;
    int m_subscription_id GUARDED_BY(m_mutex) = 0; // the platform's
    base::Mutex m_mutex;
};

} // namespace marrow::evt
