// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>
#include <vector>

#include "Demuxer.h"
#include "SectionAssembler.h"

namespace tvservice {

/// Hands the sections of a PID to all who want them; they are assembled once. One thread; a sink
/// may add and remove sinks, itself among them.
class SectionRouter {
public:
    explicit SectionRouter(Demuxer& demuxer);
    ~SectionRouter();
    SectionRouter(const SectionRouter&) = delete;
    SectionRouter& operator=(const SectionRouter&) = delete;

    void Add(std::uint16_t pid, SectionSink& sink);
    void Remove(std::uint16_t pid, SectionSink& sink);

    /// Lets go of PIDs that nobody wants any more: between packets.
    void Collect();

private:
    class Pid;

    Demuxer& m_demuxer;
    std::map<std::uint16_t, std::unique_ptr<Pid>> m_pids;
    bool m_mayCollect = false;
};

} // namespace tvservice
