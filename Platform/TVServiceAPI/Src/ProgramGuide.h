// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <utility>
#include <vector>

#include "IProgramSubscriber.h"
#include "Tables.h"

namespace tvservice {

/// What the tables of the stream say about its programs, put together, with a notice of each
/// change. One thread. Programs are those of the PAT; what other tables say about others is passed
/// over and taken when it comes again.
class ProgramGuide {
public:
    using Notice = std::function<void(EProgramChangeType, const TCProgramData&)>;

    explicit ProgramGuide(Notice notice);

    void SetPat(const Pat& pat);
    void SetPmt(std::uint16_t pmtPid, const Pmt& pmt);
    void SetSdt(const Sdt& sdt);

    /// Whether a section of an EIT is of interest: of a known program, and not the one that is
    /// there already.
    bool Wants(const Section& eit) const;
    void SetEit(const Section& section, const EitSection& eit);

    /// Another stream: all programs go.
    void Clear();

    /// Each program, with its present event.
    std::vector<TCProgramData> Programs() const;
    /// The present and the following event of each program with this key, as far as they are known.
    std::vector<TCProgramData> PresentAndFollowing(unsigned long long key) const;
    /// The events that are on air from `first` up to `second`, in the order of their start.
    std::vector<TCProgramData> Schedule(unsigned long long key, std::int64_t first,
                                        std::int64_t second) const;

private:
    using SectionKey = std::pair<std::uint8_t, std::uint8_t>; // table id, section_number
    struct Program {
        TCProgramData data; // without an event
        TSProgramEvent present;
        TSProgramEvent following;
        std::map<SectionKey, std::uint32_t> fingerprints; // of the EIT sections that are there
        std::map<SectionKey, std::vector<TSProgramEvent>> schedule;
        std::size_t scheduled = 0;
    };

    static TCProgramData With(const Program& program, const TSProgramEvent& event);
    void SetEvent(EProgramChangeType type, const Program& program, TSProgramEvent& event,
                  const EitSection& eit);
    static bool IsBehindLastTable(std::uint8_t tableId, const EitSection& eit);
    bool SetSchedule(Program& program, const EitSection& eit);

    const Notice m_notice;
    std::map<std::uint16_t, Program> m_programs; // by service_id
};

} // namespace tvservice
