// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>
#include <optional>

#include "ProgramGuide.h"
#include "SectionRouter.h"
#include "TableCollector.h"

namespace tvservice {

/// Who wants to know about the stream's own tables.
class TableSink {
public:
    virtual void OnPat(const Pat& pat) = 0;
    virtual void OnPmt(std::uint16_t pid, const Pmt& pmt) = 0;
    virtual void OnTime(const StreamTime& time) = 0;

protected:
    ~TableSink() = default;
};

/// Follows the tables that describe the stream, and keeps the guide by them: PAT, the PMT of each
/// of its programs, SDT, EIT, TDT and TOT. One thread.
class StreamTables {
public:
    StreamTables(SectionRouter& router, ProgramGuide& guide, TableSink& sink);
    ~StreamTables();
    StreamTables(const StreamTables&) = delete;
    StreamTables& operator=(const StreamTables&) = delete;

    /// The latest of each; nothing until one has come.
    const std::optional<Pat>& LatestPat() const { return m_pat; }
    const Pmt* LatestPmt(std::uint16_t programNumber) const;

    /// Another stream.
    void Clear();

private:
    // The sections of one PID, handed to a member of this class.
    class Entry final : public SectionSink {
    public:
        using Handler = void (StreamTables::*)(const Section&);
        Entry(StreamTables& owner, Handler handler) : m_owner(owner), m_handler(handler) {}
        void OnSection(const Section& section) override { (m_owner.*m_handler)(section); }

    private:
        StreamTables& m_owner;
        const Handler m_handler;
    };
    // A program's map, on a PID that several may share.
    class MapEntry final : public SectionSink {
    public:
        MapEntry(StreamTables& owner, Pat::Program program) : m_owner(owner), m_program(program) {}
        void OnSection(const Section& section) override;
        std::uint16_t Pid() const { return m_program.pmtPid; }

        std::optional<Pmt> latest;

    private:
        StreamTables& m_owner;
        const Pat::Program m_program;
        TableCollector m_collector;
    };

    void OnPatSection(const Section& section);
    void OnSdtSection(const Section& section);
    void OnEitSection(const Section& section);
    void OnTimeSection(const Section& section);
    void FollowPrograms();

    SectionRouter& m_router;
    ProgramGuide& m_guide;
    TableSink& m_sink;
    Entry m_patEntry;
    Entry m_sdtEntry;
    Entry m_eitEntry;
    Entry m_timeEntry;
    TableCollector m_patSections;
    TableCollector m_sdtSections;
    std::optional<Pat> m_pat;
    std::map<std::uint16_t, std::unique_ptr<MapEntry>> m_maps; // by program_number
};

} // namespace tvservice
