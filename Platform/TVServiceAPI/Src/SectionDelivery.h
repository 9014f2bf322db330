// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>

#include "SectionRouter.h"
#include "SectionSubscriber.h"

namespace tvservice {

/// Brings the sections of the stream to a subscriber's filters. The library's thread.
class SectionDelivery {
public:
    SectionDelivery(SectionRouter& router, std::shared_ptr<SectionSubscriber> subscriber);
    ~SectionDelivery();
    SectionDelivery(const SectionDelivery&) = delete;
    SectionDelivery& operator=(const SectionDelivery&) = delete;

    /// Takes over what has changed at the subscriber: between packets.
    void Sync();

private:
    class Pid;

    SectionRouter& m_router;
    const std::shared_ptr<SectionSubscriber> m_subscriber;
    SectionSubscriber::Table::List m_filters;
    std::map<std::uint16_t, std::unique_ptr<Pid>> m_pids;
};

} // namespace tvservice
