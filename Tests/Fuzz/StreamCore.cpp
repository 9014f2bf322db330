// SPDX-License-Identifier: Apache-2.0
#include "StreamCore.h"

#include <algorithm>
#include <cstring>

#include "CaptionDelivery.h"
#include "PacketSync.h"
#include "PesDelivery.h"
#include "ProgramSubscriber.h"
#include "SectionDelivery.h"
#include "StreamTables.h"

namespace {

using namespace tvservice;

// The callbacks of sections and programs know no object.
StreamCore::Sums* s_sums = nullptr;

// Reads each byte: a sanitizer then sees whether they all exist.
void Touch(const unsigned char* bytes, std::size_t size) {
    s_sums->bytes += static_cast<std::size_t>(std::count(bytes, bytes + size, 0x47));
}

void OnSection(bool /*flag*/, unsigned short size, unsigned char* data, int /*id*/) {
    ++s_sums->sections;
    Touch(data, size);
}

void OnProgram(EProgramChangeType /*type*/, TCProgramData* data, int /*param*/, int /*id*/) {
    ++s_sums->notices;
    const TCProgramData copy = *data;
    s_sums->bytes += copy.service_name.size() + copy.event.text.size();
}

void OnCaption(TSCaption& caption, void* /*user*/) {
    ++s_sums->captions;
    Touch(caption.bytes.data(), caption.bytes.size());
}

void OnPes(TSPESData& data, void* /*user*/) {
    ++s_sums->pes;
    Touch(data.bytes.data(), data.bytes.size());
}

} // namespace

class StreamCore::Parts final : private TableSink {
public:
    Parts()
        : m_router(m_demuxer), m_guide([this](EProgramChangeType type, const TCProgramData& data) {
              m_programs.Deliver(type, data);
          }),
          m_tables(m_router, m_guide, *this), m_sectionTable(MakeSections()),
          m_dataTable(std::make_shared<DataSubscriber>(ScreenKey{PROFILE_MAIN, 0}, [] {})),
          m_pesTable(std::make_shared<PESDataSubscriber>(ScreenKey{PROFILE_MAIN, 0}, [] {})),
          m_programs(OnProgram, [] {}), m_sections(m_router, m_sectionTable),
          m_captions(m_demuxer, m_dataTable), m_pes(m_demuxer, m_pesTable) {
        s_sums = &sums;
        int id = 0;
        m_programs.SubscribeProgram(TCProgramFilteringItem(), id);
        m_programs.SubscribeProgramList(0, 0, 0, 0xFFFFFFFF, SUBSCRIBE_BOTH, id);
        m_programs.SubscribeProgramListPF(0, 0, SUBSCRIBE_BOTH, id);
        m_dataTable->SubscribeData(OnCaption, nullptr, id);
        m_pesTable->SubscribePESData(OnPes, nullptr, id);
        m_programs.Sync(m_guide);
        m_sections.Sync();
        m_captions.Sync();
        m_pes.Sync();
    }

    void Push(std::span<const unsigned char> bytes) {
        std::span<std::uint8_t> room = m_sync.Room(bytes.size());
        std::copy(bytes.begin(), bytes.end(), room.begin());
        m_sync.Filled(bytes.size());
        while (const auto packet = m_sync.Next()) {
            ++sums.packets;
            m_demuxer.Push(*packet);
            if (m_mayShowOthers) {
                m_mayShowOthers = false;
                Show();
            }
        }
    }
    void Break() {
        m_sync.Clear();
        m_demuxer.Break();
    }

    Sums sums;

private:
    static std::shared_ptr<SectionSubscriber> MakeSections() {
        auto sections = std::make_shared<SectionSubscriber>(OnSection, [] {});
        int handle = 0;
        for (const unsigned short pid : {0x0000, 0x0011, 0x0012, 0x0014, 0x1001, 0x1002}) {
            TCSectionCriteriaHelper criteria(pid);
            criteria.SetCrcCheck(pid % 2 == 0);
            criteria.SetOnChangeOnly(pid % 3 == 0);
            sections->SubscribeSection(0, criteria, handle);
        }
        return sections;
    }

    // The first program's captions, and the packets of all its streams.
    void Show() {
        const std::optional<Pat>& pat = m_tables.LatestPat();
        const Pmt* pmt =
            pat && !pat->programs.empty() ? m_tables.LatestPmt(pat->programs[0].number) : nullptr;
        m_captions.Show(pmt);
        std::vector<std::uint16_t> pids;
        for (const Pmt::Stream& stream : pmt ? pmt->streams : std::vector<Pmt::Stream>()) {
            pids.push_back(stream.component.pid);
        }
        m_pes.SetPids(pids);
        m_router.Collect();
    }

    void OnPat(const Pat& /*pat*/) override { m_mayShowOthers = true; }
    void OnPmt(std::uint16_t /*pid*/, const Pmt& /*pmt*/) override { m_mayShowOthers = true; }
    void OnTime(const StreamTime& /*time*/) override {}

    PacketSync m_sync;
    Demuxer m_demuxer;
    SectionRouter m_router;
    ProgramGuide m_guide;
    StreamTables m_tables;
    const std::shared_ptr<SectionSubscriber> m_sectionTable;
    const std::shared_ptr<DataSubscriber> m_dataTable;
    const std::shared_ptr<PESDataSubscriber> m_pesTable;
    ProgramSubscriber m_programs;
    SectionDelivery m_sections;
    CaptionDelivery m_captions;
    PesDelivery m_pes;
    bool m_mayShowOthers = false;
};

StreamCore::StreamCore() : m_parts(std::make_unique<Parts>()) {}
StreamCore::~StreamCore() = default;

void StreamCore::Push(std::span<const unsigned char> bytes) {
    s_sums = &m_parts->sums;
    m_parts->Push(bytes);
}

void StreamCore::Break() {
    s_sums = &m_parts->sums;
    m_parts->Break();
}

const StreamCore::Sums& StreamCore::Seen() const {
    return m_parts->sums;
}
