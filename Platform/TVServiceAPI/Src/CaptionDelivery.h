// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <tuple>

#include "DataSubscriber.h"
#include "Demuxer.h"
#include "PresentationOrder.h"
#include "Tables.h"

namespace tvservice {

/// Brings the captions of a screen's program to a subscriber. While nobody wants any, no packet is
/// looked at. The library's thread.
class CaptionDelivery {
public:
    CaptionDelivery(Demuxer& demuxer, std::shared_ptr<DataSubscriber> subscriber);
    ~CaptionDelivery();
    CaptionDelivery(const CaptionDelivery&) = delete;
    CaptionDelivery& operator=(const CaptionDelivery&) = delete;

    const ScreenKey& Screen() const { return m_subscriber->Screen(); }

    /// Which program the screen shows, null for none: between packets.
    void Show(const Pmt* pmt);
    /// Takes over what has changed at the subscriber: between packets.
    void Sync();

private:
    using StreamKey = std::tuple<std::uint16_t, std::uint8_t, Pmt::Captions>; // PID, stream_type
    class Stream;
    class Video;
    class Packets;

    void Follow();
    std::unique_ptr<Stream> MakeStream(const StreamKey& key);
    void Deliver(TSCaption& caption);

    Demuxer& m_demuxer;
    const std::shared_ptr<DataSubscriber> m_subscriber;
    DataSubscriber::Table::List m_subscriptions;
    std::optional<Pmt> m_pmt;
    std::map<StreamKey, std::unique_ptr<Stream>> m_streams; // that carry captions
};

} // namespace tvservice
