// SPDX-License-Identifier: Apache-2.0
#include "StreamTables.h"

#include "TableIds.h"

namespace tvservice {

namespace {

// PIDs of ISO/IEC 13818-1, table 2-3, and EN 300 468, table 1.
constexpr std::uint16_t PAT_PID = 0x0000;
constexpr std::uint16_t SDT_PID = 0x0011;
constexpr std::uint16_t EIT_PID = 0x0012;
constexpr std::uint16_t TIME_PID = 0x0014;

} // namespace

StreamTables::StreamTables(SectionRouter& router, ProgramGuide& guide, TableSink& sink)
    : m_router(router), m_guide(guide), m_sink(sink),
      m_patEntry(*this, &StreamTables::OnPatSection),
      m_sdtEntry(*this, &StreamTables::OnSdtSection),
      m_eitEntry(*this, &StreamTables::OnEitSection),
      m_timeEntry(*this, &StreamTables::OnTimeSection) {
    m_router.Add(PAT_PID, m_patEntry);
    m_router.Add(SDT_PID, m_sdtEntry);
    m_router.Add(EIT_PID, m_eitEntry);
    m_router.Add(TIME_PID, m_timeEntry);
}

StreamTables::~StreamTables() {
    m_router.Remove(PAT_PID, m_patEntry);
    m_router.Remove(SDT_PID, m_sdtEntry);
    m_router.Remove(EIT_PID, m_eitEntry);
    m_router.Remove(TIME_PID, m_timeEntry);
    for (const auto& [number, entry] : m_maps) {
        m_router.Remove(entry->Pid(), *entry);
    }
}

const Pmt* StreamTables::LatestPmt(std::uint16_t programNumber) const {
    const auto entry = m_maps.find(programNumber);
    return entry != m_maps.end() && entry->second->latest ? &*entry->second->latest : nullptr;
}

void StreamTables::Clear() {
    m_patSections.Clear();
    m_sdtSections.Clear();
    m_pat.reset();
    FollowPrograms();
    m_guide.Clear();
}

void StreamTables::OnPatSection(const Section& section) {
    if (section.TableId() != PAT_TABLE) {
        return;
    }
    const std::vector<SectionBytes>* whole = m_patSections.Add(section);
    std::optional<Pat> pat = whole ? DecodePat(*whole) : std::nullopt;
    if (!pat) {
        return;
    }
    if (m_pat && m_pat->transportStreamId != pat->transportStreamId) {
        m_pat.reset(); // another stream: its maps are new, also where they look the same
        FollowPrograms();
    }
    m_pat = std::move(pat);
    FollowPrograms();
    m_guide.SetPat(*m_pat);
    m_sdtSections.Clear(); // for the names of the programs that are new
    m_sink.OnPat(*m_pat);
}

// Listens to the maps of the programs of the PAT, and to no others.
void StreamTables::FollowPrograms() {
    std::map<std::uint16_t, std::unique_ptr<MapEntry>> before = std::exchange(m_maps, {});
    for (const Pat::Program& program : m_pat ? m_pat->programs : std::vector<Pat::Program>()) {
        std::unique_ptr<MapEntry>& entry = m_maps[program.number];
        if (entry) {
            continue; // listed twice
        }
        const auto known = before.find(program.number);
        if (known != before.end() && known->second && known->second->Pid() == program.pmtPid) {
            entry = std::move(known->second);
            continue;
        }
        entry = std::make_unique<MapEntry>(*this, program);
        m_router.Add(program.pmtPid, *entry);
    }
    for (auto& [number, entry] : before) {
        if (entry) {
            m_router.Remove(entry->Pid(), *entry);
        }
    }
}

void StreamTables::MapEntry::OnSection(const Section& section) {
    if (section.TableId() != PMT_TABLE || !section.IsLong() ||
        section.Extension() != m_program.number || section.LastNumber() != 0) { // always one
        return;
    }
    const std::vector<SectionBytes>* whole = m_collector.Add(section);
    std::optional<Pmt> pmt = whole ? DecodePmt(*whole) : std::nullopt;
    if (pmt) {
        latest = std::move(pmt);
        m_owner.m_guide.SetPmt(m_program.pmtPid, *latest);
        m_owner.m_sink.OnPmt(m_program.pmtPid, *latest);
    }
}

void StreamTables::OnSdtSection(const Section& section) {
    if (section.TableId() != SDT_TABLE || !m_pat || !section.IsLong() ||
        section.Extension() != m_pat->transportStreamId) {
        return;
    }
    const std::vector<SectionBytes>* whole = m_sdtSections.Add(section);
    if (const std::optional<Sdt> sdt = whole ? DecodeSdt(*whole) : std::nullopt) {
        m_guide.SetSdt(*sdt);
    }
}

void StreamTables::OnEitSection(const Section& section) {
    const std::uint8_t table = section.TableId();
    const bool isOurs = table == PRESENT_FOLLOWING_TABLE ||
                        (table >= FIRST_SCHEDULE_TABLE && table <= LAST_SCHEDULE_TABLE);
    if (!isOurs || !m_guide.Wants(section)) {
        return;
    }
    if (const std::optional<EitSection> eit = DecodeEit(section)) {
        m_guide.SetEit(section, *eit);
    }
}

void StreamTables::OnTimeSection(const Section& section) {
    const bool isTime =
        section.TableId() == TIME_AND_DATE_TABLE || section.TableId() == TIME_OFFSET_TABLE;
    if (!isTime || !section.IsIntact()) {
        return;
    }
    if (const std::optional<StreamTime> time = DecodeTime(section)) {
        m_sink.OnTime(*time);
    }
}

} // namespace tvservice
