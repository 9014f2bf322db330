// SPDX-License-Identifier: Apache-2.0
#include "SectionAssembler.h"

#include <algorithm>

namespace tvservice {

namespace {

constexpr std::uint8_t STUFFING = 0xFF; // in the place of a table id

} // namespace

SectionAssembler::SectionAssembler(SectionSink& sink, Counters& counters)
    : m_sink(sink), m_counters(counters) {
    m_partial.reserve(Section::MAX_BYTES);
}

void SectionAssembler::Reset() {
    m_continuity.Reset();
    m_partial.clear();
}

void SectionAssembler::Drop() {
    if (!m_partial.empty()) {
        ++m_counters.badSections;
        m_partial.clear();
    }
}

void SectionAssembler::Push(const TsPacket& packet) {
    const Continuity::Use use = m_continuity.Judge(packet, m_counters);
    if (use == Continuity::Use::None) {
        return;
    }
    if (use == Continuity::Use::Begin) {
        Drop();
    }
    if (!packet.unitStart) {
        if (!m_partial.empty()) {
            Continue(packet.payload); // behind its end there is only stuffing
        }
        return;
    }
    const std::size_t pointer = packet.payload[0];
    if (1 + pointer > packet.payload.size()) {
        ++m_counters.badSections;
        m_partial.clear();
        return;
    }
    if (!m_partial.empty()) {
        Continue(packet.payload.subspan(1, pointer));
        Drop(); // if it isn't whole now, it never will be
    }
    Begin(packet.payload.subspan(1 + pointer));
}

// Adds to the section that is under way, up to its end.
void SectionAssembler::Continue(Bytes bytes) {
    if (m_partial.size() < Section::START_BYTES) {
        const std::size_t missing = Section::START_BYTES - m_partial.size();
        const Bytes start = bytes.first(std::min(missing, bytes.size()));
        m_partial.insert(m_partial.end(), start.begin(), start.end());
        bytes = bytes.subspan(start.size());
        if (m_partial.size() < Section::START_BYTES) {
            return;
        }
    }
    const std::size_t length = Section::LengthOf(m_partial);
    if (length > Section::MAX_BYTES) {
        Drop();
        return;
    }
    const Bytes rest = bytes.first(std::min(length - m_partial.size(), bytes.size()));
    m_partial.insert(m_partial.end(), rest.begin(), rest.end());
    if (m_partial.size() == length) {
        Emit(m_partial);
        m_partial.clear();
    }
}

// The sections that begin in a packet, one behind the other.
void SectionAssembler::Begin(Bytes bytes) {
    while (!bytes.empty() && bytes[0] != STUFFING) {
        if (bytes.size() < Section::START_BYTES || Section::LengthOf(bytes) > bytes.size()) {
            m_partial.push_back(bytes[0]);
            Continue(bytes.subspan(1));
            return;
        }
        const std::size_t length = Section::LengthOf(bytes);
        Emit(bytes.first(length));
        bytes = bytes.subspan(length);
    }
}

void SectionAssembler::Emit(Bytes bytes) {
    const Section section(bytes);
    if (!section.IsIntact()) {
        ++m_counters.badCrcs;
    }
    m_sink.OnSection(section);
}

} // namespace tvservice
