// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "TsPacket.h"

namespace tvservice {

/// Who wants the units of a video stream.
class UnitSink {
public:
    /// A unit begins, and this is the first byte behind its start code. Returns how much of the
    /// unit is wanted in bytes, that first one included; 0 for none.
    virtual std::size_t OnUnitStart(std::uint8_t firstByte) = 0;
    /// A unit that was wanted has ended. What was asked for, or less where it was shorter; zero
    /// bytes that stand ahead of the next start code may be among it.
    virtual void OnUnit(Bytes unit) = 0;

protected:
    ~UnitSink() = default;
};

/// Cuts a run of bytes at its start codes 00 00 01 (ISO/IEC 13818-2, 6.2.1; ITU-T H.264, annex B).
/// The bytes come in pieces that end anywhere. Only what is wanted is copied: most of a video
/// stream is slices, and those are only looked through for the byte 01.
class StartCodeScanner {
public:
    explicit StartCodeScanner(UnitSink& sink) : m_sink(sink) {}

    void Push(Bytes bytes);
    /// What follows isn't the continuation of what came: the unit that is under way is dropped.
    void Reset();

private:
    void BeginUnit(std::uint8_t firstByte);
    void Capture(Bytes bytes);
    void EndUnit();

    UnitSink& m_sink;
    unsigned m_zeros = 0;        // zero bytes at the end of what came, two at most
    bool m_startFollows = false; // a start code ended what came
    std::size_t m_wanted = 0;    // of the unit that is under way
    std::vector<std::uint8_t> m_unit;
};

} // namespace tvservice
