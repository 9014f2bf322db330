// SPDX-License-Identifier: Apache-2.0
#include "StreamReader.h"

#include <algorithm>
#include <poll.h>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "ServiceLog.h"

namespace tvservice {

namespace {

constexpr std::chrono::seconds RETRY(1);

} // namespace

StreamReader::StreamReader(std::shared_ptr<WakeEvent> wake) : m_wake(std::move(wake)) {}

void StreamReader::SetSource(const SourceSettings& settings) {
    m_settings = settings;
    m_source.reset();
    m_retry = {};
    m_lastError.clear();
    m_sync.Clear();
    m_pacer.Reset();
    m_early = nullptr;
    m_isAtEnd = false;
    m_isEmpty = true;
}

bool StreamReader::IsPaced() const {
    return m_settings.pace == SourceSettings::Pace::Clock ||
           (m_settings.pace == SourceSettings::Pace::ByKind && m_source && m_source->IsFile());
}

void StreamReader::Wait(int descriptor, Clock::time_point limit) {
    const auto left = limit - Clock::now();
    if (left > Clock::duration::zero()) {
        const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(left).count();
        const timespec timeout{nanoseconds / 1000000000, nanoseconds % 1000000000};
        pollfd waiting[] = {{m_wake->Number(), POLLIN, 0}, {descriptor, POLLIN, 0}};
        ppoll(waiting, descriptor < 0 ? 1 : 2, &timeout, nullptr); // a signal is as good as a wake
    }
    m_wake->Clear();
}

void StreamReader::Open(Clock::time_point now) {
    m_retry = now + RETRY;
    try {
        m_source = Source::Open(m_settings.address);
        m_lastError.clear();
        TVSERVICE_LOG(DLOG_INFO, "the stream comes from %s", m_settings.address.c_str());
    } catch (const std::runtime_error& error) {
        if (m_lastError != error.what()) {
            m_lastError = error.what();
            TVSERVICE_LOG(DLOG_WARN, "%s; trying again each second", error.what());
        }
    }
}

StreamReader::Next StreamReader::Read(Clock::time_point limit) {
    const bool isPaced = IsPaced();
    if (m_early == nullptr) {
        const std::optional<Packet> packet = m_sync.Next();
        if (!packet) {
            return Fill(limit);
        }
        m_early = packet->data();
        m_isEmpty = false;
        if (isPaced) {
            const Clock::time_point now = Clock::now();
            m_due = m_pacer.DueAt(*packet, now).value_or(now);
        }
    }
    if (isPaced && m_due > Clock::now()) {
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
    if (!m_source || m_isAtEnd) {
        const bool mayOpen = !m_source && !m_settings.address.empty();
        Wait(-1, mayOpen ? std::min(limit, m_retry) : limit);
        return {};
    }
    try {
        const Source::Result result = m_source->Read(m_sync.Room(Source::LEAST_ROOM));
        switch (result.outcome) {
        case Source::Outcome::Data:
            m_sync.Filled(result.size);
            return {};
        case Source::Outcome::Nothing:
            Wait(m_source->Descriptor(), limit);
            return {};
        case Source::Outcome::End:
            break;
        }
    } catch (const std::system_error& error) {
        TVSERVICE_LOG(DLOG_WARN, "%s; opening it again in a second", error.what());
        m_source.reset();
        m_retry = now + RETRY;
        return {};
    }
    m_sync.Clear();
    m_pacer.Reset();
    m_isAtEnd = !m_settings.loop || std::exchange(m_isEmpty, true) || !m_source->Rewind();
    return {Next::What::End, nullptr, !m_isAtEnd};
}

} // namespace tvservice
