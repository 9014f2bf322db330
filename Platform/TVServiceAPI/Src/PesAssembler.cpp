// SPDX-License-Identifier: Apache-2.0
#include "PesAssembler.h"

#include <algorithm>

namespace tvservice {

PesAssembler::PesAssembler(PesSink& sink, Counters& counters, std::size_t limit)
    : m_sink(sink), m_counters(counters), m_limit(limit) {}

void PesAssembler::Reset() {
    m_continuity.Reset();
    m_bytes.clear();
    m_underWay = false;
}

void PesAssembler::Push(const TsPacket& packet) {
    const Continuity::Use use = m_continuity.Judge(packet, m_counters);
    if (use == Continuity::Use::None) {
        return;
    }
    if (use == Continuity::Use::Begin) {
        m_damaged = true;
    }
    if (packet.unitStart) {
        Flush();
        Begin(packet.payload);
    } else if (m_underWay) {
        Add(packet.payload);
    }
}

void PesAssembler::Flush() {
    if (m_underWay && m_isStarting) {
        Drop();
    } else if (m_underWay) {
        Finish(m_damaged || m_length.has_value()); // one that says its length isn't whole yet
    }
}

void PesAssembler::Begin(Bytes payload) {
    m_length.reset();
    m_underWay = true;
    m_isStarting = true;
    m_damaged = false;
    m_bytes.clear();
    Add(payload);
}

void PesAssembler::Drop() {
    ++m_counters.badPes;
    m_underWay = false;
}

// An adaptation field may leave less room in the first packet than the start takes.
void PesAssembler::Start() {
    m_isStarting = false;
    if (!PesHeader::IsStart(m_bytes)) {
        Drop();
        return;
    }
    m_length = PesHeader::LengthOf(m_bytes);
    m_bytes.reserve(std::min(m_length.value_or(0), m_limit));
}

void PesAssembler::Add(Bytes payload) {
    if (m_isStarting) {
        const Bytes start =
            payload.first(std::min(payload.size(), PesHeader::START_BYTES - m_bytes.size()));
        m_bytes.insert(m_bytes.end(), start.begin(), start.end());
        payload = payload.subspan(start.size());
        if (m_bytes.size() < PesHeader::START_BYTES) {
            return;
        }
        Start();
        if (!m_underWay) {
            return;
        }
    }
    const std::size_t limit = std::min(m_length.value_or(m_limit), m_limit);
    const Bytes wanted = payload.first(std::min(payload.size(), limit - m_bytes.size()));
    m_bytes.insert(m_bytes.end(), wanted.begin(), wanted.end());
    if (m_bytes.size() == limit) {
        Finish(m_damaged || m_length != limit);
    }
}

void PesAssembler::Finish(bool damaged) {
    m_underWay = false;
    if (damaged) {
        ++m_counters.badPes;
    }
    m_sink.OnPes(m_bytes, damaged);
    m_bytes.clear();
}

} // namespace tvservice
