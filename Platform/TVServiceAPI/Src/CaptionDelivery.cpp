// SPDX-License-Identifier: Apache-2.0
#include "CaptionDelivery.h"

#include "PesAssembler.h"
#include "VideoCaptions.h"

namespace tvservice {

namespace {

// A packet of subtitles or teletext says how long it is, in 16 bits.
constexpr std::size_t LONGEST_PACKET = PesHeader::START_BYTES + 0xFFFF;

void SetTime(TSCaption& caption, const std::optional<TimeStamp>& pts) {
    caption.byte_b = pts ? 1 : 0;
    caption.word_c = static_cast<std::uint32_t>(pts.value_or(0) >> 1);
}

} // namespace

class CaptionDelivery::Stream : public PacketSink {
public:
    virtual ~Stream() = default;
};

class CaptionDelivery::Video final : public Stream {
public:
    Video(CaptionDelivery& owner, std::uint8_t streamType, Counters& counters)
        : m_captions(
              streamType,
              [&owner](const CodedPicture& picture) {
                  TSCaption caption;
                  caption.word_a = CAPTION_CC_DATA;
                  SetTime(caption, picture.pts);
                  caption.bytes = picture.ccData;
                  owner.Deliver(caption);
              },
              counters) {}

    void OnPacket(const TsPacket& packet) override { m_captions.Push(packet); }
    void OnBreak() override {
        m_captions.Flush();
        m_captions.Reset();
    }

private:
    VideoCaptions m_captions;
};

class CaptionDelivery::Packets final : public Stream, private PesSink {
public:
    Packets(CaptionDelivery& owner, ECaptionFormat format, Counters& counters)
        : m_owner(owner), m_format(format), m_assembler(*this, counters, LONGEST_PACKET) {}

    void OnPacket(const TsPacket& packet) override { m_assembler.Push(packet); }
    void OnBreak() override { m_assembler.Reset(); }

private:
    void OnPes(std::vector<std::uint8_t>& bytes, bool damaged) override {
        const std::optional<PesHeader> header = PesHeader::Parse(bytes);
        if (damaged || !header) {
            return;
        }
        TSCaption caption;
        caption.word_a = m_format;
        SetTime(caption, header->pts);
        caption.bytes.swap(bytes);
        m_owner.Deliver(caption);
        caption.bytes.swap(bytes);
    }

    CaptionDelivery& m_owner;
    const ECaptionFormat m_format;
    PesAssembler m_assembler;
};

CaptionDelivery::CaptionDelivery(Demuxer& demuxer, std::shared_ptr<DataSubscriber> subscriber)
    : m_demuxer(demuxer), m_subscriber(std::move(subscriber)) {}

CaptionDelivery::~CaptionDelivery() {
    for (const auto& [key, stream] : m_streams) {
        m_demuxer.Remove(std::get<0>(key), *stream);
    }
}

void CaptionDelivery::Show(const Pmt* pmt) {
    m_pmt = pmt != nullptr ? std::optional(*pmt) : std::nullopt;
    Follow();
}

void CaptionDelivery::Sync() {
    if (m_subscriber->Subscriptions().Take(m_subscriptions)) {
        Follow();
    }
}

std::unique_ptr<CaptionDelivery::Stream> CaptionDelivery::MakeStream(const StreamKey& key) {
    const auto [pid, streamType, captions] = key;
    Counters& counters = m_demuxer.GetCounters();
    if (VideoCaptions::CanRead(streamType)) {
        return std::make_unique<Video>(*this, streamType, counters);
    }
    if (captions == Pmt::Captions::DvbSubtitles) {
        return std::make_unique<Packets>(*this, CAPTION_DVB_SUBTITLE, counters);
    }
    if (captions == Pmt::Captions::Teletext) {
        return std::make_unique<Packets>(*this, CAPTION_TELETEXT, counters);
    }
    return nullptr;
}

// A stream that stays as it is goes on with what it has collected.
void CaptionDelivery::Follow() {
    std::map<StreamKey, std::unique_ptr<Stream>> before = std::exchange(m_streams, {});
    if (m_pmt && !m_subscriptions.empty()) {
        for (const Pmt::Stream& stream : m_pmt->streams) {
            const StreamKey key{stream.component.pid, stream.component.stream_type,
                                stream.captions};
            if (m_streams.contains(key)) {
                continue; // listed twice
            }
            if (const auto known = before.find(key); known != before.end()) {
                m_streams.insert(before.extract(known));
            } else if (std::unique_ptr<Stream> made = MakeStream(key)) {
                m_demuxer.Add(stream.component.pid, *made);
                m_streams.emplace(key, std::move(made));
            }
        }
    }
    for (const auto& [key, stream] : before) {
        m_demuxer.Remove(std::get<0>(key), *stream);
    }
}

void CaptionDelivery::Deliver(TSCaption& caption) {
    for (const auto& [id, subscription] : m_subscriptions) {
        subscription->gate.Pass([&, &entry = *subscription] { //
            entry.callback(caption, entry.user);
        });
    }
}

} // namespace tvservice
