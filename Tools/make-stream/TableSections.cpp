// SPDX-License-Identifier: Apache-2.0
#include "TableSections.h"

#include <algorithm>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

#include <dvbpsi/dvbpsi.h>

#include <dvbpsi/descriptor.h>
#include <dvbpsi/eit.h>
#include <dvbpsi/pat.h>
#include <dvbpsi/pmt.h>
#include <dvbpsi/psi.h>
#include <dvbpsi/sdt.h>
#include <dvbpsi/tot.h>

#include "SectionBuilder.h"
#include "SiTime.h"

namespace streammaker {

namespace {

constexpr std::uint8_t SDT_ACTUAL = 0x42;
constexpr std::uint8_t EIT_PRESENT_FOLLOWING = 0x4E;
constexpr std::uint8_t EIT_SCHEDULE = 0x50;
constexpr std::uint8_t TDT = 0x70;
constexpr int PROGRAMS_IN_SECTION = 253;
constexpr std::int64_t DAY = 86400;
constexpr std::int64_t SEGMENT_TIME = 3 * 3600;
constexpr std::int64_t SEGMENTS = 32; // of one table
constexpr std::size_t SEGMENT_SECTIONS = 8;

// A handle, a table or sections of the library, with the function that takes them back.
template <auto Delete>
struct Deleter {
    template <typename Object>
    void operator()(Object* object) const {
        Delete(object);
    }
};
using Handle = std::unique_ptr<dvbpsi_t, Deleter<dvbpsi_delete>>;
using Pat = std::unique_ptr<dvbpsi_pat_t, Deleter<dvbpsi_pat_delete>>;
using Pmt = std::unique_ptr<dvbpsi_pmt_t, Deleter<dvbpsi_pmt_delete>>;
using Sdt = std::unique_ptr<dvbpsi_sdt_t, Deleter<dvbpsi_sdt_delete>>;
using Eit = std::unique_ptr<dvbpsi_eit_t, Deleter<dvbpsi_eit_delete>>;
using Tot = std::unique_ptr<dvbpsi_tot_t, Deleter<dvbpsi_tot_delete>>;
using Generated = std::unique_ptr<dvbpsi_psi_section_t, Deleter<dvbpsi_DeletePSISections>>;

// Null is what the library returns where it has no memory, or doesn't like what it gets.
template <typename Object>
Object* Made(Object* object) {
    if (object == nullptr) {
        throw std::runtime_error("libdvbpsi refuses a table");
    }
    return object;
}

Handle NewHandle() {
    return Handle(Made(dvbpsi_new(nullptr, DVBPSI_MSG_NONE)));
}

std::uint8_t Version(std::uint8_t version) {
    return version & 0x1FU;
}

// Service information reserves a bit of one where ISO/IEC 13818-1 wants a zero, as the library has
// it in some tables.
void SetReservedBit(Bytes& section) {
    constexpr std::uint8_t FIRST_OF_INFORMATION = 0x40;
    if (section[0] >= FIRST_OF_INFORMATION) {
        section[1] |= 0x40U;
    }
    if ((section[1] & 0x80U) != 0) {
        RenewCrc(section);
    }
}

// Generate makes the list of sections from the handle.
template <typename Generate>
Sections SectionsFrom(Generate generate) {
    const Handle handle = NewHandle();
    const Generated first(Made(generate(handle.get())));
    Sections sections;
    for (const dvbpsi_psi_section_t* section = first.get(); section != nullptr;
         section = section->p_next) {
        Bytes& bytes =
            sections.emplace_back(section->p_data, section->p_data + 3 + section->i_length);
        SetReservedBit(bytes);
    }
    return sections;
}

// The library copies the data, which it doesn't take as constant.
template <typename Add>
void AddDescriptor(const Descriptor& descriptor, Add add) {
    Bytes data = descriptor.data;
    if (data.size() > 0xFF) {
        throw std::length_error("a descriptor has at most 255 bytes");
    }
    Made(add(descriptor.tag, static_cast<std::uint8_t>(data.size()), data.data()));
}

void AddEvent(dvbpsi_eit_t* table, const Event& event) {
    std::vector<Descriptor> descriptors{
        ShortEventDescriptor(event.language, event.name, event.text)};
    descriptors.insert(descriptors.end(), event.descriptors.begin(), event.descriptors.end());
    std::size_t size = 0;
    for (const Descriptor& descriptor : descriptors) {
        size += 2 + descriptor.data.size();
    }
    dvbpsi_eit_event_t* const added = Made(dvbpsi_eit_event_add(
        table, event.id, SiTime(event.start), SiDuration(event.duration), event.runningStatus & 7U,
        event.scrambled, static_cast<std::uint16_t>(size)));
    for (const Descriptor& descriptor : descriptors) {
        AddDescriptor(descriptor, [&](auto... parts) {
            return dvbpsi_eit_event_descriptor_add(added, parts...);
        });
    }
}

// One table or segment as the library numbers it: from 0 on.
Sections EventSections(const Multiplex& multiplex, const Service& service, std::uint8_t tableId,
                       std::uint8_t version, const std::vector<const Event*>& events) {
    const Eit table(
        Made(dvbpsi_eit_new(tableId, service.id, Version(version), true,
                            multiplex.transportStreamId, multiplex.originalNetworkId, 0, tableId)));
    for (const Event* event : events) {
        AddEvent(table.get(), *event);
    }
    return SectionsFrom([&](dvbpsi_t* handle) {
        return dvbpsi_eit_sections_generate(handle, table.get(), tableId);
    });
}

// The place of a section of events in its table.
struct Place {
    std::size_t number;
    std::size_t last;
    std::size_t segmentLast;
};

void Renumber(Bytes& section, const Place& place) {
    constexpr std::size_t SEGMENT_LAST = 12;
    section[6] = static_cast<std::uint8_t>(place.number);
    section[7] = static_cast<std::uint8_t>(place.last);
    section[SEGMENT_LAST] = static_cast<std::uint8_t>(place.segmentLast);
    RenewCrc(section);
}

Bytes OneEventSection(const Multiplex& multiplex, const Service& service, std::uint8_t version,
                      const std::optional<Event>& event, std::size_t number) {
    std::vector<const Event*> events;
    if (event) {
        events.push_back(&*event);
    }
    Sections sections = EventSections(multiplex, service, EIT_PRESENT_FOLLOWING, version, events);
    if (sections.size() != 1) {
        throw std::length_error("an event has at most 4096 bytes");
    }
    Renumber(sections.front(), {number, 1, 1});
    return sections.front();
}

} // namespace

Sections PatSections(const Multiplex& multiplex, std::uint8_t version) {
    const Pat table(Made(dvbpsi_pat_new(multiplex.transportStreamId, Version(version), true)));
    for (const Service& service : multiplex.services) {
        Made(dvbpsi_pat_program_add(table.get(), service.id, service.pmtPid));
    }
    return SectionsFrom([&](dvbpsi_t* handle) {
        return dvbpsi_pat_sections_generate(handle, table.get(), PROGRAMS_IN_SECTION);
    });
}

Sections PmtSections(const Service& service, std::uint8_t version) {
    const Pmt table(Made(dvbpsi_pmt_new(service.id, Version(version), true, PcrPidOf(service))));
    for (const Descriptor& descriptor : service.programDescriptors) {
        AddDescriptor(descriptor, [&](auto... parts) {
            return dvbpsi_pmt_descriptor_add(table.get(), parts...);
        });
    }
    std::vector<Component> components = service.components;
    if (service.codec != VideoCodec::NONE) {
        components.insert(components.begin(), {service.videoPid, StreamTypeOf(service.codec), {}});
    }
    for (const Component& component : components) {
        dvbpsi_pmt_es_t* const added =
            Made(dvbpsi_pmt_es_add(table.get(), component.streamType, component.pid));
        for (const Descriptor& descriptor : component.descriptors) {
            AddDescriptor(descriptor, [&](auto... parts) {
                return dvbpsi_pmt_es_descriptor_add(added, parts...);
            });
        }
    }
    return SectionsFrom(
        [&](dvbpsi_t* handle) { return dvbpsi_pmt_sections_generate(handle, table.get()); });
}

Sections SdtSections(const Multiplex& multiplex, std::uint8_t version) {
    const Sdt table(Made(dvbpsi_sdt_new(SDT_ACTUAL, multiplex.transportStreamId, Version(version),
                                        true, multiplex.originalNetworkId)));
    for (const Service& service : multiplex.services) {
        dvbpsi_sdt_service_t* const added = Made(
            dvbpsi_sdt_service_add(table.get(), service.id, !service.schedule.empty(),
                                   service.present.has_value() || service.following.has_value(),
                                   service.runningStatus & 7U, service.scrambled));
        AddDescriptor(
            ServiceDescriptor(service.type, service.provider, service.name),
            [&](auto... parts) { return dvbpsi_sdt_service_descriptor_add(added, parts...); });
    }
    return SectionsFrom(
        [&](dvbpsi_t* handle) { return dvbpsi_sdt_sections_generate(handle, table.get()); });
}

Sections PresentFollowingSections(const Multiplex& multiplex, const Service& service,
                                  std::uint8_t version) {
    return {OneEventSection(multiplex, service, version, service.present, 0),
            OneEventSection(multiplex, service, version, service.following, 1)};
}

// Segments of three hours have eight section numbers each; one without events has an empty section.
Sections ScheduleSections(const Multiplex& multiplex, const Service& service, std::int64_t today,
                          std::uint8_t version) {
    const std::int64_t midnight = today / DAY * DAY;
    std::map<std::int64_t, std::vector<const Event*>> segments{{0, {}}};
    for (const Event& event : service.schedule) {
        if (event.start < midnight || event.start >= midnight + SEGMENTS * SEGMENT_TIME) {
            throw std::invalid_argument("the schedule holds the four days from the first one on");
        }
        segments[(event.start - midnight) / SEGMENT_TIME].push_back(&event);
    }
    Sections sections;
    std::vector<Place> places;
    for (std::int64_t segment = 0; segment <= segments.rbegin()->first; ++segment) {
        const Sections own =
            EventSections(multiplex, service, EIT_SCHEDULE, version, segments[segment]);
        if (own.size() > SEGMENT_SECTIONS) {
            throw std::length_error("too many events within three hours");
        }
        const std::size_t first = static_cast<std::size_t>(segment) * SEGMENT_SECTIONS;
        for (std::size_t i = 0; i < own.size(); ++i) {
            places.push_back({first + i, 0, first + own.size() - 1});
            sections.push_back(own[i]);
        }
    }
    for (std::size_t i = 0; i < sections.size(); ++i) {
        Renumber(sections[i], {places[i].number, places.back().number, places[i].segmentLast});
    }
    return sections;
}

Bytes TdtSection(std::int64_t utc) {
    const Tot table(Made(dvbpsi_tot_new(TDT, 0, 0, true, SiTime(utc))));
    const Sections sections = SectionsFrom(
        [&](dvbpsi_t* handle) { return dvbpsi_tot_sections_generate(handle, table.get()); });
    return sections.front();
}

} // namespace streammaker
