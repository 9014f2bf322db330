// SPDX-License-Identifier: Apache-2.0
#pragma once

// One thread, "tv-stream", does everything that has to do with the stream: it reads packets, hands
// them to those who follow a PID, decodes the tables, and makes the callbacks. What belongs to it
// alone has no lock.
//
// Any other thread only changes tables of subscriptions (SubscriptionTable), each under a lock of
// its own that is held for the change alone, and wakes the thread, which takes the new list over
// between two packets. So no call of a subscriber waits for the stream, and no callback is made
// with a lock held: a callback may take any lock, also one that is held around such a call.
//
// What a callback must not do after its subscription has ended is kept by a CallbackGate for each.

#include <atomic>
#include <memory>
#include <thread>

#include "CaptionDelivery.h"
#include "Mutex.h"
#include "PesDelivery.h"
#include "ProgramSubscriber.h"
#include "SectionDelivery.h"
#include "SettingsFile.h"
#include "SignalSubscriber.h"
#include "StreamReader.h"
#include "StreamTables.h"

namespace tvservice {

/// Those that exist.
struct Subscribers {
    std::shared_ptr<SignalSubscriber> signals;
    std::shared_ptr<SectionSubscriber> sections;
    std::shared_ptr<ProgramSubscriber> programs;
    std::shared_ptr<DataSubscriber> data;
    std::shared_ptr<PESDataSubscriber> pes;

    bool AreNone() const { return !signals && !sections && !programs && !data && !pes; }
    bool operator==(const Subscribers&) const = default;
};

/// The stream and its thread.
class TVService final : private TableSink {
public:
    /// Throws std::system_error where the thread cannot be started.
    explicit TVService(std::shared_ptr<WakeEvent> wake);
    /// Ends the thread; not on the thread itself.
    ~TVService();
    TVService(const TVService&) = delete;
    TVService& operator=(const TVService&) = delete;

    /// From now on these. Any thread, like the next ones.
    void SetSubscribers(const Subscribers& subscribers);
    /// The thread ends soon; the destructor waits for it, and not at all once it has ended.
    void End();
    bool HasEnded() const { return m_hasEnded; }
    bool IsOwnThread() const { return std::this_thread::get_id() == m_thread.get_id(); }

private:
    using Clock = StreamReader::Clock;

    void Run();
    void TakeSubscribers();
    void TakeSettings(Clock::time_point now);
    void Step();
    void OnPacket(const std::uint8_t* packet);
    void OnEnd(bool again);
    void SetFound(bool isFound);
    void ShowPrograms();
    std::uint16_t ProgramOf(const ScreenKey& screen) const;
    std::vector<ScreenKey> Screens() const;
    void Raise(ESignalType signal, const std::vector<ScreenKey>& screens, std::uint32_t value,
               std::uint32_t extra);

    void OnPat(const Pat& pat) override;
    void OnPmt(std::uint16_t pid, const Pmt& pmt) override;
    void OnTime(const StreamTime& time) override;

    const std::shared_ptr<WakeEvent> m_wake;
    std::atomic<bool> m_isEnding{false};
    std::atomic<bool> m_hasEnded{false};
    marrow::base::Mutex m_mutex;
    Subscribers m_next GUARDED_BY(m_mutex);

    // What follows is the thread's.
    StreamReader m_reader;
    Subscribers m_subscribers;
    SettingsFile m_settingsFile;
    Settings m_settings;
    Demuxer m_demuxer;
    SectionRouter m_router;
    ProgramGuide m_guide;
    StreamTables m_tables;
    std::unique_ptr<SectionDelivery> m_sections;
    std::unique_ptr<CaptionDelivery> m_captions;
    std::unique_ptr<PesDelivery> m_pes;
    bool m_mayShowOthers = false; // the screens' programs, since a table has changed
    bool m_isFound = false;
    std::uint32_t m_timesFound = 0;
    std::uint32_t m_timesEnded = 0;
    Clock::time_point m_lastPacket{};
    std::uint64_t m_packetsSeen = 0;

    std::thread m_thread; // the last: it uses what stands above
};

} // namespace tvservice
