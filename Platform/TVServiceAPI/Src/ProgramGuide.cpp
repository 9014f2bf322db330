// SPDX-License-Identifier: Apache-2.0
#include "ProgramGuide.h"

#include <algorithm>
#include <set>

#include "TableIds.h"

namespace tvservice {

namespace {

constexpr std::uint8_t PRESENT_SECTION = 0;
constexpr std::uint8_t FOLLOWING_SECTION = 1;
constexpr std::size_t MOST_SCHEDULED = 20000; // events of a program: a month has a few thousand

} // namespace

ProgramGuide::ProgramGuide(Notice notice) : m_notice(std::move(notice)) {}

TCProgramData ProgramGuide::With(const Program& program, const TSProgramEvent& event) {
    TCProgramData data = program.data;
    data.event = event;
    return data;
}

// --- tables ---

void ProgramGuide::SetPat(const Pat& pat) {
    std::set<std::uint16_t> listed;
    for (const Pat::Program& program : pat.programs) {
        listed.insert(program.number);
    }
    for (auto entry = m_programs.begin(); entry != m_programs.end();) {
        if (listed.contains(entry->first) &&
            entry->second.data.transport_stream_id == pat.transportStreamId) {
            ++entry;
            continue;
        }
        const Program gone = std::move(entry->second);
        entry = m_programs.erase(entry);
        m_notice(PROGRAM_GONE, With(gone, gone.present));
    }
    for (const Pat::Program& program : pat.programs) {
        const auto [entry, isNew] = m_programs.try_emplace(program.number);
        TCProgramData& data = entry->second.data;
        if (isNew) {
            data.transport_stream_id = pat.transportStreamId;
            data.service_id = program.number;
            data.pmt_pid = program.pmtPid;
            m_notice(PROGRAM_APPEARED, data);
        } else if (data.pmt_pid != program.pmtPid) {
            data.pmt_pid = program.pmtPid;
            m_notice(PROGRAM_CHANGED, With(entry->second, entry->second.present));
        }
    }
}

void ProgramGuide::SetPmt(std::uint16_t pmtPid, const Pmt& pmt) {
    const auto entry = m_programs.find(pmt.programNumber);
    if (entry == m_programs.end() || entry->second.data.pmt_pid != pmtPid) {
        return;
    }
    Program& program = entry->second;
    TCProgramData data = program.data;
    data.pcr_pid = pmt.pcrPid;
    data.components.clear();
    for (const Pmt::Stream& stream : pmt.streams) {
        data.components.push_back(stream.component);
    }
    if (!(data == program.data)) {
        program.data = data;
        m_notice(PROGRAM_CHANGED, With(program, program.present));
    }
}

void ProgramGuide::SetSdt(const Sdt& sdt) {
    for (const Sdt::Service& service : sdt.services) {
        const auto entry = m_programs.find(service.serviceId);
        if (entry == m_programs.end() ||
            entry->second.data.transport_stream_id != sdt.transportStreamId) {
            continue;
        }
        Program& program = entry->second;
        TCProgramData data = program.data;
        data.original_network_id = sdt.originalNetworkId;
        data.service_name = service.name;
        data.provider_name = service.provider;
        data.service_type = service.type;
        data.running_status = service.runningStatus;
        data.free_to_air = service.freeToAir;
        if (!(data == program.data)) {
            program.data = data;
            m_notice(PROGRAM_CHANGED, With(program, program.present));
        }
    }
}

// --- events ---

bool ProgramGuide::Wants(const Section& eit) const {
    if (!eit.IsLong() || !eit.IsIntact() || !eit.IsCurrent()) {
        return false;
    }
    const auto entry = m_programs.find(eit.Extension());
    if (entry == m_programs.end()) {
        return false;
    }
    const auto& fingerprints = entry->second.fingerprints;
    const auto known = fingerprints.find({eit.TableId(), eit.Number()});
    return known == fingerprints.end() || known->second != eit.Fingerprint();
}

void ProgramGuide::SetEit(const Section& section, const EitSection& eit) {
    const auto entry = m_programs.find(eit.serviceId);
    if (entry == m_programs.end() ||
        entry->second.data.transport_stream_id != eit.transportStreamId) {
        return;
    }
    Program& program = entry->second;
    if (eit.tableId == PRESENT_FOLLOWING_TABLE && eit.number == PRESENT_SECTION) {
        SetEvent(PROGRAM_PRESENT_CHANGED, program, program.present, eit);
    } else if (eit.tableId == PRESENT_FOLLOWING_TABLE && eit.number == FOLLOWING_SECTION) {
        SetEvent(PROGRAM_FOLLOWING_CHANGED, program, program.following, eit);
    } else if (eit.tableId == PRESENT_FOLLOWING_TABLE || !SetSchedule(program, eit)) {
        return;
    }
    program.fingerprints[{eit.tableId, eit.number}] = section.Fingerprint();
}

void ProgramGuide::SetEvent(EProgramChangeType type, const Program& program, TSProgramEvent& event,
                            const EitSection& eit) {
    const TSProgramEvent next = eit.events.empty() ? TSProgramEvent() : eit.events[0];
    if (!(next == event)) {
        event = next;
        m_notice(type, With(program, event));
    }
}

// Whether the schedule of which the section is doesn't have the other table: one of the sixteen of
// the section's kind, behind the last that it tells of.
bool ProgramGuide::IsBehindLastTable(std::uint8_t tableId, const EitSection& eit) {
    return tableId >> 4 == eit.tableId >> 4 && eit.lastTableId >= eit.tableId &&
           tableId > eit.lastTableId;
}

// Returns false where the program has too many events already, or the table no such section.
bool ProgramGuide::SetSchedule(Program& program, const EitSection& eit) {
    if (eit.number > eit.lastNumber) {
        return false;
    }
    std::vector<TSProgramEvent>& events = program.schedule[{eit.tableId, eit.number}];
    const std::size_t others = program.scheduled - events.size();
    if (others + eit.events.size() > MOST_SCHEDULED) {
        return false;
    }
    program.scheduled = others + eit.events.size();
    std::erase_if(program.schedule, [&](const auto& entry) { // what the schedule has no more
        const auto& [key, gone] = entry;
        const bool isBehind = key.first == eit.tableId ? key.second > eit.lastNumber
                                                       : IsBehindLastTable(key.first, eit);
        if (isBehind) {
            program.scheduled -= gone.size();
            program.fingerprints.erase(key);
        }
        return isBehind;
    });
    const std::vector<TSProgramEvent> before = std::exchange(events, eit.events);
    for (const TSProgramEvent& event : eit.events) {
        if (std::find(before.begin(), before.end(), event) == before.end()) {
            m_notice(PROGRAM_SCHEDULE_CHANGED, With(program, event));
        }
    }
    return true;
}

void ProgramGuide::Clear() {
    const std::map<std::uint16_t, Program> gone = std::exchange(m_programs, {});
    for (const auto& [number, program] : gone) {
        m_notice(PROGRAM_GONE, With(program, program.present));
    }
}

// --- lists ---

std::vector<TCProgramData> ProgramGuide::Programs() const {
    std::vector<TCProgramData> programs;
    for (const auto& [number, program] : m_programs) {
        programs.push_back(With(program, program.present));
    }
    return programs;
}

std::vector<TCProgramData> ProgramGuide::PresentAndFollowing(unsigned long long key) const {
    std::vector<TCProgramData> list;
    for (const auto& [number, program] : m_programs) {
        if (!MatchesServiceKey(key, program.data.ServiceKey())) {
            continue;
        }
        for (const TSProgramEvent* event : {&program.present, &program.following}) {
            if (event->known) {
                list.push_back(With(program, *event));
            }
        }
    }
    return list;
}

std::vector<TCProgramData> ProgramGuide::Schedule(unsigned long long key, std::int64_t first,
                                                  std::int64_t second) const {
    std::vector<TCProgramData> list;
    for (const auto& [number, program] : m_programs) {
        if (!MatchesServiceKey(key, program.data.ServiceKey())) {
            continue;
        }
        for (const auto& [section, events] : program.schedule) {
            for (const TSProgramEvent& event : events) {
                if (event.IsOnAir(first, second)) {
                    list.push_back(With(program, event));
                }
            }
        }
    }
    std::stable_sort(list.begin(), list.end(), [](const TCProgramData& one, const auto& other) {
        return one.event.start < other.event.start;
    });
    return list;
}

} // namespace tvservice
