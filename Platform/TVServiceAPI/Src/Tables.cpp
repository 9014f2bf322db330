// SPDX-License-Identifier: Apache-2.0

// Tables are decoded by libdvbpsi. Its decoders follow a table over time, with versions and packets
// that get lost; here a table is whole already, so that each gets a decoder of its own, which takes
// the sections and ends. The sections go into the decoder behind its own assembler.
//
// For events that doesn't do: the decoder waits for a whole table, whose sections have gaps and go
// on changing one by one, and doesn't tell in which of them an event stood. The list of events is
// read here, and the decoder's functions for descriptors serve it too.

#include "Tables.h"

#include <cstring>
#include <dvbpsi/dvbpsi.h>
#include <dvbpsi/psi.h>
// These need what stands above.
#include <dvbpsi/demux.h>
#include <dvbpsi/descriptor.h>
#include <dvbpsi/dr.h>
#include <dvbpsi/pat.h>
#include <dvbpsi/pmt.h>
#include <dvbpsi/sdt.h>
#include <memory>

#include "DvbText.h"
#include "DvbTime.h"

namespace tvservice {

namespace {

constexpr std::size_t LONG_HEADER_BYTES = 8;
constexpr std::size_t LEAST_LONG_BYTES = LONG_HEADER_BYTES + Section::CRC_BYTES;
constexpr std::uint8_t PAT_TABLE = 0x00;
constexpr std::uint8_t PMT_TABLE = 0x02;
constexpr std::uint8_t SDT_TABLE = 0x42; // of the stream itself

constexpr std::uint8_t LANGUAGE_DESCRIPTOR = 0x0A; // ISO/IEC 13818-1, 2.6.18
constexpr std::uint8_t SERVICE_DESCRIPTOR = 0x48;  // EN 300 468, table 12, as all that follow
constexpr std::uint8_t SHORT_EVENT_DESCRIPTOR = 0x4D;
constexpr std::uint8_t TELETEXT_DESCRIPTOR = 0x56;
constexpr std::uint8_t LOCAL_TIME_OFFSET_DESCRIPTOR = 0x58;
constexpr std::uint8_t SUBTITLING_DESCRIPTOR = 0x59;
constexpr std::size_t LANGUAGE_BYTES = 3;

struct HandleDeleter {
    void (*detach)(dvbpsi_t*);
    void operator()(dvbpsi_t* handle) const {
        if (handle->p_decoder != nullptr) {
            detach(handle);
        }
        dvbpsi_delete(handle);
    }
};
using Handle = std::unique_ptr<dvbpsi_t, HandleDeleter>;

Handle MakeHandle(void (*detach)(dvbpsi_t*)) {
    Handle handle(dvbpsi_new(nullptr, DVBPSI_MSG_NONE), HandleDeleter{detach});
    if (!handle) {
        throw std::bad_alloc();
    }
    return handle;
}

// Decoders of the tables whose PID carries many of a kind stand behind a splitter.
void IgnoreTable(dvbpsi_t* /*handle*/, std::uint8_t /*tableId*/, std::uint16_t /*extension*/,
                 void* /*data*/) {}

Handle MakeSplittingHandle() {
    Handle handle = MakeHandle(dvbpsi_DetachDemux);
    if (!dvbpsi_AttachDemux(handle.get(), IgnoreTable, nullptr)) {
        throw std::bad_alloc();
    }
    return handle;
}

// Gives a section to the decoder, which takes a copy over.
void Feed(dvbpsi_t* handle, const SectionBytes& bytes, std::uint8_t number,
          std::uint8_t lastNumber) {
    dvbpsi_psi_section_t* section = dvbpsi_NewPSISection(static_cast<int>(bytes.size()));
    if (section == nullptr) {
        throw std::bad_alloc();
    }
    std::memcpy(section->p_data, bytes.data(), bytes.size());
    section->i_table_id = bytes[0];
    section->b_syntax_indicator = true;
    section->b_private_indicator = (bytes[1] & 0x40) != 0;
    section->i_length = static_cast<std::uint16_t>(bytes.size() - Section::START_BYTES);
    section->i_extension = static_cast<std::uint16_t>(bytes[3] << 8 | bytes[4]);
    section->i_version = bytes[5] >> 1 & 0x1F;
    section->b_current_next = true;
    section->i_number = number;
    section->i_last_number = lastNumber;
    section->p_payload_start = section->p_data + LONG_HEADER_BYTES;
    section->p_payload_end = section->p_data + bytes.size() - Section::CRC_BYTES;
    handle->p_decoder->pf_gather(handle, section);
}

// Whether these are the sections of such a table; the decoders take that for granted.
bool AreOf(std::uint8_t tableId, const std::vector<SectionBytes>& sections) {
    for (const SectionBytes& section : sections) {
        if (section.size() < LEAST_LONG_BYTES || section[0] != tableId) {
            return false;
        }
    }
    return !sections.empty() && sections.size() <= 256;
}

void FeedAll(dvbpsi_t* handle, const std::vector<SectionBytes>& sections) {
    for (std::size_t number = 0; number < sections.size(); ++number) {
        Feed(handle, sections[number], static_cast<std::uint8_t>(number),
             static_cast<std::uint8_t>(sections.size() - 1));
    }
}

Bytes DataOf(const dvbpsi_descriptor_t& descriptor) {
    return {descriptor.p_data, descriptor.i_length};
}

std::string LanguageOf(Bytes code) {
    std::string language;
    for (const std::uint8_t letter : code.first(LANGUAGE_BYTES)) {
        language += letter >= 0x20 && letter < 0x7F ? static_cast<char>(letter) : '?';
    }
    return language;
}

ERunningStatus RunningStatusOf(std::uint8_t value) {
    return value <= RUNNING_OFF_AIR ? static_cast<ERunningStatus>(value) : RUNNING_UNDEFINED;
}

std::uint16_t PidOf(std::uint16_t field) {
    return field & NULL_PID;
}

// --- program association ---

void TakePat(void* data, dvbpsi_pat_t* table) {
    auto& result = *static_cast<std::optional<Pat>*>(data);
    result.emplace();
    result->transportStreamId = table->i_ts_id;
    result->version = table->i_version;
    for (const dvbpsi_pat_program_t* program = table->p_first_program; program != nullptr;
         program = program->p_next) {
        if (program->i_number != 0) {
            result->programs.push_back({program->i_number, PidOf(program->i_pid)});
        }
    }
    dvbpsi_pat_delete(table);
}

// --- program map ---

Pmt::Stream StreamOf(const dvbpsi_pmt_es_t& stream) {
    Pmt::Stream result;
    result.component.pid = PidOf(stream.i_pid);
    result.component.stream_type = stream.i_type;
    for (const dvbpsi_descriptor_t* descriptor = stream.p_first_descriptor; descriptor != nullptr;
         descriptor = descriptor->p_next) {
        switch (descriptor->i_tag) {
        case TELETEXT_DESCRIPTOR:
            result.captions = Pmt::Captions::Teletext;
            break;
        case SUBTITLING_DESCRIPTOR:
            result.captions = Pmt::Captions::DvbSubtitles;
            break;
        case LANGUAGE_DESCRIPTOR:
            break;
        default:
            continue;
        }
        // All three begin with the language.
        if (result.component.language.empty() && descriptor->i_length >= LANGUAGE_BYTES) {
            result.component.language = LanguageOf(DataOf(*descriptor));
        }
    }
    return result;
}

void TakePmt(void* data, dvbpsi_pmt_t* table) {
    auto& result = *static_cast<std::optional<Pmt>*>(data);
    result.emplace();
    result->programNumber = table->i_program_number;
    result->version = table->i_version;
    result->pcrPid = PidOf(table->i_pcr_pid);
    for (const dvbpsi_pmt_es_t* stream = table->p_first_es; stream != nullptr;
         stream = stream->p_next) {
        result->streams.push_back(StreamOf(*stream));
    }
    dvbpsi_pmt_delete(table);
}

// --- service description ---

Sdt::Service ServiceOf(const dvbpsi_sdt_service_t& service) {
    Sdt::Service result;
    result.serviceId = service.i_service_id;
    result.runningStatus = RunningStatusOf(service.i_running_status);
    result.freeToAir = !service.b_free_ca;
    for (dvbpsi_descriptor_t* descriptor = service.p_first_descriptor; descriptor != nullptr;
         descriptor = descriptor->p_next) {
        if (descriptor->i_tag != SERVICE_DESCRIPTOR) {
            continue;
        }
        if (const dvbpsi_service_dr_t* decoded = dvbpsi_DecodeServiceDr(descriptor)) {
            result.type = decoded->i_service_type;
            result.provider =
                TextOf({decoded->i_service_provider_name, decoded->i_service_provider_name_length});
            result.name = TextOf({decoded->i_service_name, decoded->i_service_name_length});
        }
    }
    return result;
}

void TakeSdt(void* data, dvbpsi_sdt_t* table) {
    auto& result = *static_cast<std::optional<Sdt>*>(data);
    result.emplace();
    result->transportStreamId = table->i_extension;
    result->originalNetworkId = table->i_network_id;
    for (const dvbpsi_sdt_service_t* service = table->p_first_service; service != nullptr;
         service = service->p_next) {
        result->services.push_back(ServiceOf(*service));
    }
    dvbpsi_sdt_delete(table);
}

// --- event information ---

struct DescriptorDeleter {
    void operator()(dvbpsi_descriptor_t* descriptor) const { dvbpsi_DeleteDescriptors(descriptor); }
};
using Descriptor = std::unique_ptr<dvbpsi_descriptor_t, DescriptorDeleter>;

void SetTexts(TSProgramEvent& event, Bytes data) {
    SectionBytes copy(data.begin(), data.end()); // the library's functions take no constant bytes
    const Descriptor descriptor(dvbpsi_NewDescriptor(
        SHORT_EVENT_DESCRIPTOR, static_cast<std::uint8_t>(copy.size()), copy.data()));
    const dvbpsi_short_event_dr_t* decoded =
        descriptor ? dvbpsi_DecodeShortEventDr(descriptor.get()) : nullptr;
    if (decoded != nullptr) {
        const auto size = [](int length) { return static_cast<std::size_t>(length); };
        event.language = LanguageOf(decoded->i_iso_639_code);
        event.name = TextOf({decoded->i_event_name, size(decoded->i_event_name_length)});
        event.text = TextOf({decoded->i_text, size(decoded->i_text_length)});
    }
}

std::uint64_t NumberOf(Bytes bytes) {
    std::uint64_t number = 0;
    for (const std::uint8_t byte : bytes) {
        number = number << 8 | byte;
    }
    return number;
}

// The event at the beginning of the bytes, which are cut behind it; nothing where it isn't whole.
std::optional<TSProgramEvent> TakeEvent(Bytes& bytes) {
    constexpr std::size_t EVENT_BYTES = 12;
    if (bytes.size() < EVENT_BYTES) {
        return std::nullopt;
    }
    const std::size_t length = NumberOf(bytes.subspan(10, 2)) & 0x0FFF;
    if (bytes.size() < EVENT_BYTES + length) {
        return std::nullopt;
    }
    TSProgramEvent event;
    event.known = true;
    event.event_id = static_cast<std::uint16_t>(NumberOf(bytes.first(2)));
    event.start = UtcOf(NumberOf(bytes.subspan(2, 5))).value_or(-1);
    event.duration =
        DurationOf(static_cast<std::uint32_t>(NumberOf(bytes.subspan(7, 3)))).value_or(0);
    event.running_status = RunningStatusOf(bytes[10] >> 5);
    event.free_to_air = (bytes[10] & 0x10) == 0;
    Bytes descriptors = bytes.subspan(EVENT_BYTES, length);
    while (descriptors.size() >= 2 && descriptors.size() >= 2U + descriptors[1]) {
        if (descriptors[0] == SHORT_EVENT_DESCRIPTOR && event.language.empty()) {
            SetTexts(event, descriptors.subspan(2, descriptors[1]));
        }
        descriptors = descriptors.subspan(2U + descriptors[1]);
    }
    bytes = bytes.subspan(EVENT_BYTES + length);
    return event;
}

} // namespace

std::optional<Pat> DecodePat(const std::vector<SectionBytes>& sections) {
    std::optional<Pat> result;
    if (AreOf(PAT_TABLE, sections)) {
        const Handle handle = MakeHandle(dvbpsi_pat_detach);
        if (dvbpsi_pat_attach(handle.get(), TakePat, &result)) {
            FeedAll(handle.get(), sections);
        }
    }
    return result;
}

std::optional<Pmt> DecodePmt(const std::vector<SectionBytes>& sections) {
    std::optional<Pmt> result;
    if (AreOf(PMT_TABLE, sections)) {
        const Handle handle = MakeHandle(dvbpsi_pmt_detach);
        const auto program = static_cast<std::uint16_t>(sections[0][3] << 8 | sections[0][4]);
        if (dvbpsi_pmt_attach(handle.get(), program, TakePmt, &result)) {
            FeedAll(handle.get(), sections);
        }
    }
    return result;
}

std::optional<Sdt> DecodeSdt(const std::vector<SectionBytes>& sections) {
    std::optional<Sdt> result;
    if (AreOf(SDT_TABLE, sections)) {
        const Handle handle = MakeSplittingHandle();
        const auto stream = static_cast<std::uint16_t>(sections[0][3] << 8 | sections[0][4]);
        if (dvbpsi_sdt_attach(handle.get(), SDT_TABLE, stream, TakeSdt, &result)) {
            FeedAll(handle.get(), sections);
        }
    }
    return result;
}

std::optional<EitSection> DecodeEit(const Section& section) {
    constexpr std::size_t EVENTS_OFFSET = LONG_HEADER_BYTES + 6;
    const Bytes bytes = section.Whole();
    if (!section.IsLong() || bytes.size() < EVENTS_OFFSET + Section::CRC_BYTES) {
        return std::nullopt;
    }
    EitSection result;
    result.tableId = section.TableId();
    result.serviceId = section.Extension();
    result.number = section.Number();
    result.transportStreamId = static_cast<std::uint16_t>(NumberOf(bytes.subspan(8, 2)));
    result.originalNetworkId = static_cast<std::uint16_t>(NumberOf(bytes.subspan(10, 2)));
    Bytes events = bytes.subspan(EVENTS_OFFSET, bytes.size() - EVENTS_OFFSET - Section::CRC_BYTES);
    while (const std::optional<TSProgramEvent> event = TakeEvent(events)) {
        result.events.push_back(*event);
    }
    return result;
}

std::optional<StreamTime> DecodeTime(const Section& section) {
    constexpr std::size_t UTC_BYTES = 5;
    constexpr std::size_t OFFSET_BYTES = 13;
    Bytes bytes = section.Whole().subspan(Section::START_BYTES);
    if (bytes.size() < UTC_BYTES) {
        return std::nullopt;
    }
    const std::optional<std::int64_t> utc = UtcOf(NumberOf(bytes.first(UTC_BYTES)));
    if (!utc) {
        return std::nullopt;
    }
    StreamTime time{*utc, 0};
    // A TOT goes on with the length of its descriptors; the first is looked at.
    bytes = bytes.subspan(UTC_BYTES);
    if (bytes.size() >= 4 + OFFSET_BYTES && bytes[2] == LOCAL_TIME_OFFSET_DESCRIPTOR &&
        bytes[3] >= OFFSET_BYTES) {
        const bool isWest = (bytes[7] & 1) != 0;
        const std::uint32_t hoursAndMinutes = static_cast<std::uint32_t>(bytes[8]) << 8 | bytes[9];
        const std::optional<std::uint32_t> offset = DurationOf(hoursAndMinutes << 8);
        if (offset) {
            time.localOffset = static_cast<std::int32_t>(*offset) * (isWest ? -1 : 1);
        }
    }
    return time;
}

} // namespace tvservice
