// SPDX-License-Identifier: Apache-2.0
#include "TableCarousel.h"

namespace streammaker {

namespace {

// True where its turn has come; then sets the next one.
bool IsDue(StreamTime& next, StreamTime interval, StreamTime now) {
    if (interval == StreamTime::zero() || now < next) {
        return false;
    }
    next = next + interval > now ? next + interval : now + interval;
    return true;
}

void AppendPackets(std::vector<TsPacket>& packets, std::uint16_t pid, const Sections& sections) {
    for (const Bytes& section : sections) {
        const std::vector<TsPacket> more = SectionPackets(pid, {section});
        packets.insert(packets.end(), more.begin(), more.end());
    }
}

} // namespace

StreamTime TableCarousel::IntervalOf(Kind kind) const {
    switch (kind) {
    case Kind::PAT:
        return m_settings.patInterval;
    case Kind::PMT:
        return m_settings.pmtInterval;
    case Kind::SDT:
        return m_settings.sdtInterval;
    case Kind::PRESENT_FOLLOWING:
        return m_settings.eitInterval;
    case Kind::SCHEDULE:
        break;
    }
    return m_settings.scheduleInterval;
}

void TableCarousel::Set(Kind kind, std::uint16_t serviceId, std::uint16_t pid, StreamTime now,
                        const VersionedTable::Maker& make) {
    Round& round = m_rounds[{kind, serviceId}];
    const bool isNew = round.table.Update(make);
    if (isNew || round.next == StreamTime::max() || round.pid != pid) {
        round.next = now;
    }
    round.pid = pid;
    round.active = true;
}

void TableCarousel::Update(const Multiplex& multiplex, StreamTime now) {
    for (auto& [key, round] : m_rounds) {
        round.active = false;
    }
    Set(Kind::PAT, 0, PAT_PID, now,
        [&](std::uint8_t version) { return PatSections(multiplex, version); });
    Set(Kind::SDT, 0, SDT_PID, now,
        [&](std::uint8_t version) { return SdtSections(multiplex, version); });
    for (const Service& service : multiplex.services) {
        Set(Kind::PMT, service.id, service.pmtPid, now,
            [&](std::uint8_t version) { return PmtSections(service, version); });
        if (service.present || service.following) {
            Set(Kind::PRESENT_FOLLOWING, service.id, EIT_PID, now, [&](std::uint8_t version) {
                return PresentFollowingSections(multiplex, service, version);
            });
        }
        if (!service.schedule.empty()) {
            Set(Kind::SCHEDULE, service.id, EIT_PID, now, [&](std::uint8_t version) {
                return ScheduleSections(multiplex, service, m_settings.utcStart, version);
            });
        }
    }
    for (auto& [key, round] : m_rounds) {
        if (!round.active) {
            round.next = StreamTime::max();
        }
    }
}

std::vector<TsPacket> TableCarousel::Due(StreamTime now) {
    std::vector<TsPacket> packets;
    for (auto& [key, round] : m_rounds) {
        if (round.active && IsDue(round.next, IntervalOf(key.first), now)) {
            AppendPackets(packets, round.pid, round.table.Current());
        }
    }
    if (IsDue(m_nextTdt, m_settings.tdtInterval, now)) {
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now);
        AppendPackets(packets, TDT_PID, {TdtSection(m_settings.utcStart + seconds.count())});
    }
    return packets;
}

} // namespace streammaker
