// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <vector>

#include "Continuity.h"
#include "Counters.h"
#include "PesHeader.h"

namespace tvservice {

/// Who wants the PES packets of a PID.
class PesSink {
public:
    /// A packet from its start code on. `damaged`: some of it is missing, or may be wrong. The
    /// bytes may be swapped into another vector meanwhile, and hold until this returns.
    virtual void OnPes(std::vector<std::uint8_t>& bytes, bool damaged) = 0;

protected:
    ~PesSink() = default;
};

/// Makes the PES packets of one PID out of its transport packets (ISO/IEC 13818-1, 2.4.3.6). One of
/// open length, as video has them, ends where the next one begins. What is longer than the limit is
/// cut there.
class PesAssembler {
public:
    static constexpr std::size_t MAX_BYTES = std::size_t{8} << 20;

    PesAssembler(PesSink& sink, Counters& counters, std::size_t limit = MAX_BYTES);

    void Push(const TsPacket& packet);
    /// The stream ends here: an open packet is whole.
    void Flush();
    /// What follows isn't the continuation of what came.
    void Reset();

private:
    void Begin(Bytes payload);
    void Start();
    void Drop();
    void Add(Bytes payload);
    void Finish(bool damaged);

    PesSink& m_sink;
    Counters& m_counters;
    const std::size_t m_limit;
    Continuity m_continuity;
    std::vector<std::uint8_t> m_bytes;
    bool m_underWay = false;
    bool m_isStarting = false; // its first bytes aren't all there
    bool m_damaged = false;
    std::optional<std::size_t> m_length; // of the packet that is under way, where it says so
};

} // namespace tvservice
