// SPDX-License-Identifier: Apache-2.0
#include "StreamReader.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "ServiceLog.h"
#include "TimeSpec.h"

namespace tvservice {

namespace {

constexpr std::chrono::seconds RETRY(1);
constexpr std::chrono::milliseconds SHORTEST_ROUND(100); // of a file that is played again

} // namespace

StreamReader::StreamReader(std::shared_ptr<WakeEvent> wake) : m_wake(std::move(wake)) {}

void StreamReader::SetSource(const SourceSettings& settings) {
    m_settings = settings;
    m_source.reset();
    m_retry = {};
    m_lastError.clear();
    m_sync = PacketSync();
    m_pacer.Reset();
    m_round = {};
    m_early = nullptr;
    m_isAtEnd = false;
    m_isEmpty = true;
}

void StreamReader::Wait(int descriptor, Clock::time_point limit) {
    const auto left = limit - Clock::now();
    if (left > Clock::duration::zero()) {
        const timespec timeout = marrow::base::ToTimeSpec(left);
        pollfd waiting[] = {{m_wake->Number(), POLLIN, 0}, {descriptor, POLLIN, 0}};
        ppoll(waiting, descriptor < 0 ? 1 : 2, &timeout, nullptr); // a signal is as good as a wake
    }
    m_wake->Clear();
}

void StreamReader::Open(Clock::time_point now) {
    m_retry = now + RETRY;
    try {
        m_source = Source::Open(m_settings.address);
        m_isPaced = m_settings.pace == SourceSettings::Pace::Clock ||
                    (m_settings.pace == SourceSettings::Pace::ByKind && m_source->IsFile());
        if (m_lastError.empty()) {
            TellSource();
        }
    } catch (const std::runtime_error& error) {
        TellError(error.what());
    }
}

void StreamReader::TellSource() const {
    TVSERVICE_LOG(DLOG_INFO, "the stream comes from %s", m_settings.address.c_str());
}

// Once, while it stays the same.
void StreamReader::TellError(const std::string& error) {
    if (m_lastError != error) {
        m_lastError = error;
        TVSERVICE_LOG(DLOG_WARN, "%s; trying again each second", error.c_str());
    }
}

StreamReader::Next StreamReader::ReadSlowly(Clock::time_point limit) {
    if (m_early == nullptr) {
        const std::optional<Packet> packet = m_sync.Next();
        if (!packet) {
            return Fill(limit);
        }
        m_early = packet->data();
        m_isEmpty = false;
        if (m_isPaced) {
            const Clock::time_point now = Clock::now();
            m_due = m_pacer.DueAt(*packet, now).value_or(now);
        }
    }
    if (m_isPaced && m_due > Clock::now()) {
        Wait(-1, std::min(m_due, limit));
        if (m_due > Clock::now()) {
            return {};
        }
    }
    return {Next::What::Packet, std::exchange(m_early, nullptr), false};
}

// No packet is left: reads more, or waits for it.
StreamReader::Next StreamReader::Fill(Clock::time_point limit) {
    const Clock::time_point now = Clock::now();
    if (!m_source && !m_settings.address.empty() && now >= m_retry) {
        Open(now);
    }
    if (now < m_round) {
        Wait(-1, std::min(limit, m_round));
        return {};
    }
    if (!m_source || m_isAtEnd) {
        const bool mayOpen = !m_source && !m_settings.address.empty();
        Wait(-1, mayOpen ? std::min(limit, m_retry) : limit);
        return {};
    }
    try {
        const Source::Result result = m_source->Read(m_sync.Room(Source::LEAST_ROOM));
        switch (result.outcome) {
        case Source::Outcome::Data:
            if (!m_lastError.empty()) { // it works again
                m_lastError.clear();
                TellSource();
            }
            m_sync.Filled(result.size);
            return {};
        case Source::Outcome::Nothing:
            Wait(m_source->Descriptor(), limit);
            return {};
        case Source::Outcome::End:
            if (!m_source->IsFile()) { // a device that has been taken away, say
                throw std::system_error(ENODATA, std::generic_category(), m_settings.address);
            }
            break;
        }
    } catch (const std::system_error& error) {
        TellError(error.what());
        m_source.reset();
        m_retry = now + RETRY;
        Forget();
        return {Next::What::Break, nullptr, false};
    }
    Forget();
    if (m_isEmpty) {
        TVSERVICE_LOG(DLOG_WARN, "no transport packet is in %s", m_settings.address.c_str());
    }
    m_isAtEnd = !m_settings.loop || std::exchange(m_isEmpty, true) || !m_source->Rewind();
    // A few packets that no clock holds back would come as fast as they can be read.
    m_round = std::max(now, m_round + SHORTEST_ROUND);
    return {Next::What::End, nullptr, !m_isAtEnd};
}

// What follows continues nothing.
void StreamReader::Forget() {
    m_sync.Clear();
    m_pacer.Reset();
}

} // namespace tvservice
