// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "ClockPacer.h"
#include "PacketSync.h"
#include "Settings.h"
#include "Source.h"
#include "WakeEvent.h"

namespace tvservice {

/// Reads packets from the source that the settings name, no faster than they say, and opens it
/// again when it has failed. One thread.
class StreamReader {
public:
    using Clock = std::chrono::steady_clock;
    using Packet = std::span<const std::uint8_t, PACKET_BYTES>;

    struct Next {
        enum class What {
            Packet,
            Nothing, ///< it has waited, or somebody has woken it
            Break,   ///< the source has failed: what follows continues nothing
            End,     ///< of a file: it begins again where `again` is true, else it stays here
        };
        What what = What::Nothing;
        const std::uint8_t* packet = nullptr; ///< holds until the next call
        bool again = false;
    };

    /// `wake` has a Read that waits return.
    explicit StreamReader(std::shared_ptr<WakeEvent> wake);

    /// Another source; nothing of the old one is left.
    void SetSource(const SourceSettings& settings);

    /// The next packet, once it is due. Waits until `limit` at most.
    Next Read(Clock::time_point limit) {
        if (!m_isPaced && m_early == nullptr) { // the short way
            if (const std::optional<Packet> packet = m_sync.Next()) {
                m_isEmpty = false;
                return {Next::What::Packet, packet->data(), false};
            }
        }
        return ReadSlowly(limit);
    }

    std::uint64_t SkippedBytes() const { return m_sync.SkippedBytes(); }

private:
    void Open(Clock::time_point now);
    void TellSource() const;
    void TellError(const std::string& error);
    Next ReadSlowly(Clock::time_point limit);
    Next Fill(Clock::time_point limit);
    void Forget();
    void Wait(int descriptor, Clock::time_point limit);

    const std::shared_ptr<WakeEvent> m_wake;
    SourceSettings m_settings;
    std::unique_ptr<Source> m_source;
    Clock::time_point m_retry{};
    std::string m_lastError; // the source's, until it brings something
    PacketSync m_sync;
    Clock::time_point m_round{}; // when a file may be begun again, or has been
    bool m_isPaced = false;
    ClockPacer m_pacer;
    const std::uint8_t* m_early = nullptr; // a packet that isn't due yet
    Clock::time_point m_due{};
    bool m_isAtEnd = false;
    bool m_isEmpty = true; // no packet since the beginning: a file to begin again has some
};

} // namespace tvservice
