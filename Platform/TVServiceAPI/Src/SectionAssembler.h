// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "Continuity.h"
#include "Counters.h"
#include "Section.h"

namespace tvservice {

/// Who wants the sections of a PID.
class SectionSink {
public:
    /// The section holds until this returns.
    virtual void OnSection(const Section& section) = 0;

protected:
    ~SectionSink() = default;
};

/// Makes the sections of one PID out of its packets (ISO/IEC 13818-1, 2.4.4). A section that lies
/// in one packet is passed on from there, without a copy. What is cut or lies about its length is
/// counted and dropped, up to the next section's start.
class SectionAssembler {
public:
    SectionAssembler(SectionSink& sink, Counters& counters);

    void Push(const TsPacket& packet);
    /// What follows isn't the continuation of what came.
    void Reset();

private:
    void Drop();
    void Continue(Bytes bytes);
    void Begin(Bytes bytes);
    void Emit(Bytes bytes);

    SectionSink& m_sink;
    Counters& m_counters;
    Continuity m_continuity;
    std::vector<std::uint8_t> m_partial; // empty: none is under way
};

} // namespace tvservice
