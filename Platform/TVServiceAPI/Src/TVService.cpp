// SPDX-License-Identifier: Apache-2.0
#include "TVService.h"

#include <algorithm>
#include <pthread.h>

#include "ServiceLog.h"

namespace tvservice {

namespace {

constexpr std::chrono::seconds LOST_AFTER(2);
constexpr std::chrono::milliseconds LONGEST_WAIT(500);
constexpr unsigned PACKETS_PER_STEP = 512; // between two looks at everything else

// The delivery to another subscriber, or to none.
template <typename Delivery, typename Source, typename Subscriber>
void Renew(std::unique_ptr<Delivery>& delivery, Source& source,
           const std::shared_ptr<Subscriber>& former, const std::shared_ptr<Subscriber>& next) {
    if (next != former) {
        delivery = next ? std::make_unique<Delivery>(source, next) : nullptr;
    }
}

} // namespace

TVService::TVService(std::shared_ptr<WakeEvent> wake)
    : m_wake(std::move(wake)), m_reader(m_wake), m_settingsFile(SettingsFile::DefaultPath()),
      m_router(m_demuxer), m_guide([this](EProgramChangeType type, const TCProgramData& data) {
          if (m_subscribers.programs) {
              m_subscribers.programs->Deliver(type, data);
          }
      }),
      m_tables(m_router, m_guide, *this), m_thread([this] { Run(); }) {}

TVService::~TVService() {
    End();
    m_thread.join();
}

void TVService::End() {
    m_isEnding = true;
    m_wake->Wake();
}

void TVService::SetSubscribers(const Subscribers& subscribers) {
    {
        const marrow::base::MutexLock lock(m_mutex);
        m_next = subscribers;
    }
    m_wake->Wake();
}

// --- the thread ---

void TVService::Run() {
    pthread_setname_np(pthread_self(), "tv-stream");
    while (!m_isEnding) {
        Step();
    }
    m_hasEnded = true;
}

void TVService::Step() {
    const Clock::time_point now = Clock::now();
    TakeSubscribers();
    TakeSettings(now);
    if (m_demuxer.GetCounters().packets != m_packetsSeen) {
        m_packetsSeen = m_demuxer.GetCounters().packets;
        m_lastPacket = now;
    } else if (m_isFound && now - m_lastPacket >= LOST_AFTER) {
        SetFound(false);
    }
    const Clock::time_point limit = std::min(now + LONGEST_WAIT, m_settingsFile.NextPoll());
    for (unsigned count = 0; count < PACKETS_PER_STEP && !m_isEnding; ++count) {
        const StreamReader::Next next = m_reader.Read(limit);
        switch (next.what) {
        case StreamReader::Next::What::Packet:
            OnPacket(next.packet);
            break;
        case StreamReader::Next::What::Break:
            m_demuxer.Break();
            return;
        case StreamReader::Next::What::End:
            OnEnd(next.again);
            return;
        case StreamReader::Next::What::Nothing:
            return;
        }
    }
}

void TVService::TakeSubscribers() {
    Subscribers next;
    {
        const marrow::base::MutexLock lock(m_mutex);
        next = m_next;
    }
    if (next != m_subscribers) {
        Renew(m_sections, m_router, m_subscribers.sections, next.sections);
        Renew(m_captions, m_demuxer, m_subscribers.data, next.data);
        Renew(m_pes, m_demuxer, m_subscribers.pes, next.pes);
        m_subscribers = next;
        ShowPrograms();
    }
    if (m_sections) {
        m_sections->Sync();
        m_router.Collect();
    }
    if (m_captions) {
        m_captions->Sync();
    }
    if (m_pes) {
        m_pes->Sync();
    }
    if (m_subscribers.programs) {
        m_subscribers.programs->Sync(m_guide);
    }
    if (m_subscribers.signals) {
        m_subscribers.signals->Sync();
    }
}

void TVService::TakeSettings(Clock::time_point now) {
    const std::optional<Settings> settings = m_settingsFile.Poll(now);
    if (!settings || *settings == m_settings) {
        return;
    }
    const bool otherSource = settings->source != m_settings.source;
    if (otherSource && m_isFound) {
        SetFound(false); // told to the screens that there were
    }
    m_settings = *settings;
    if (otherSource) {
        m_demuxer.Break();
        m_demuxer.GetCounters() = Counters();
        m_packetsSeen = 0;
        m_tables.Clear();
        m_timesEnded = 0;
        m_reader.SetSource(m_settings.source);
    }
    ShowPrograms();
}

void TVService::OnPacket(const std::uint8_t* packet) {
    if (!m_isFound) {
        SetFound(true);
    }
    m_demuxer.Push(StreamReader::Packet(packet, PACKET_BYTES));
    if (m_mayShowOthers) {
        ShowPrograms();
    }
}

void TVService::OnEnd(bool again) {
    m_demuxer.Break();
    ++m_timesEnded;
    Raise(SIGNAL_END_OF_FILE, Screens(), m_timesEnded, again ? 1 : 0);
}

void TVService::SetFound(bool isFound) {
    m_isFound = isFound;
    m_lastPacket = Clock::now();
    const Counters& counters = m_demuxer.GetCounters();
    if (isFound) {
        ++m_timesFound;
        TVSERVICE_LOG(DLOG_INFO, "stream found");
        Raise(SIGNAL_STREAM_FOUND, Screens(), m_timesFound, 0);
        return;
    }
    const std::uint64_t errors = counters.badPackets + counters.gaps;
    TVSERVICE_LOG(DLOG_INFO,
                  "stream lost: %llu packets, %llu bytes skipped, %llu bad packets, %llu gaps, "
                  "%llu bad sections, %llu wrong CRCs, %llu bad PES packets",
                  static_cast<unsigned long long>(counters.packets),
                  static_cast<unsigned long long>(m_reader.SkippedBytes()),
                  static_cast<unsigned long long>(counters.badPackets),
                  static_cast<unsigned long long>(counters.gaps),
                  static_cast<unsigned long long>(counters.badSections),
                  static_cast<unsigned long long>(counters.badCrcs),
                  static_cast<unsigned long long>(counters.badPes));
    Raise(SIGNAL_STREAM_LOST, Screens(), static_cast<std::uint32_t>(m_reader.SkippedBytes()),
          static_cast<std::uint32_t>(errors));
}

// --- what the screens show ---

std::vector<ScreenKey> TVService::Screens() const {
    std::vector<ScreenKey> screens;
    for (const auto& [screen, settings] : m_settings.screens) {
        screens.push_back(screen);
    }
    return screens;
}

// The program_number, or 0 where the screen shows nothing.
std::uint16_t TVService::ProgramOf(const ScreenKey& screen) const {
    const auto settings = m_settings.screens.find(screen);
    if (settings == m_settings.screens.end()) {
        return 0;
    }
    if (settings->second.program != 0) {
        return settings->second.program;
    }
    const std::optional<Pat>& pat = m_tables.LatestPat();
    return pat && !pat->programs.empty() ? pat->programs[0].number : std::uint16_t{0};
}

void TVService::ShowPrograms() {
    m_mayShowOthers = false;
    if (m_captions) {
        m_captions->Show(m_tables.LatestPmt(ProgramOf(m_captions->Screen())));
    }
    if (m_pes) {
        const auto settings = m_settings.screens.find(m_pes->Screen());
        m_pes->SetPids(settings != m_settings.screens.end() ? settings->second.pes
                                                            : std::vector<std::uint16_t>());
    }
    m_router.Collect();
}

// --- tables ---

void TVService::Raise(ESignalType signal, const std::vector<ScreenKey>& screens,
                      std::uint32_t value, std::uint32_t extra) {
    if (m_subscribers.signals) {
        m_subscribers.signals->Raise(signal, screens, TSSignalData{value, extra});
    }
}

void TVService::OnPat(const Pat& pat) {
    m_mayShowOthers = true;
    Raise(SIGNAL_PAT_CHANGED, Screens(), pat.transportStreamId, pat.version);
}

void TVService::OnPmt(std::uint16_t pid, const Pmt& pmt) {
    m_mayShowOthers = true;
    std::vector<ScreenKey> screens = Screens();
    std::erase_if(screens, [this, &pmt](const ScreenKey& screen) {
        return ProgramOf(screen) != pmt.programNumber;
    });
    Raise(SIGNAL_PMT_CHANGED, screens, pmt.programNumber,
          pid | static_cast<std::uint32_t>(pmt.version) << 16);
}

void TVService::OnTime(const StreamTime& time) {
    Raise(SIGNAL_TIME, Screens(), static_cast<std::uint32_t>(time.utc),
          static_cast<std::uint32_t>(time.localOffset));
}

} // namespace tvservice
