// SPDX-License-Identifier: Apache-2.0

// Everything in a table may lie about its length, behind a CRC_32 that is right. A list is read as
// far as its entries are whole, and what is cut ends it.

#include "Tables.h"

#include <set>
#include <utility>

#include "ByteReader.h"
#include "DvbText.h"
#include "DvbTime.h"
#include "TableIds.h"

namespace tvservice {

namespace {

constexpr std::size_t LONG_HEADER_BYTES = 8;
constexpr std::uint8_t LANGUAGE_DESCRIPTOR = 0x0A; // ISO/IEC 13818-1, 2.6.18
constexpr std::uint8_t SERVICE_DESCRIPTOR = 0x48;  // EN 300 468, table 12, as all that follow
constexpr std::uint8_t SHORT_EVENT_DESCRIPTOR = 0x4D;
constexpr std::uint8_t TELETEXT_DESCRIPTOR = 0x56;
constexpr std::uint8_t LOCAL_TIME_OFFSET_DESCRIPTOR = 0x58;
constexpr std::uint8_t SUBTITLING_DESCRIPTOR = 0x59;
constexpr std::size_t LANGUAGE_BYTES = 3;

constexpr std::size_t MOST_PROGRAMS = 1000;   // a multiplex has some dozen
constexpr std::uint16_t LENGTH_BITS = 0x0FFF; // of a word that holds a length and flags

// What all sections of the long form begin with.
struct LongSection {
    explicit LongSection(const SectionBytes& bytes) : LongSection(Section(bytes)) {}
    explicit LongSection(const Section& section)
        : tableId(section.TableId()), extension(section.Extension()), version(section.Version()),
          contents(section.Whole().subspan(
              LONG_HEADER_BYTES, section.Whole().size() - LONG_HEADER_BYTES - Section::CRC_BYTES)) {
    }

    std::uint8_t tableId;
    std::uint16_t extension;
    std::uint8_t version;
    Bytes contents;
};

bool AreOf(std::uint8_t tableId, const std::vector<SectionBytes>& sections) {
    for (const SectionBytes& bytes : sections) {
        if (bytes.size() < Section::START_BYTES || !Section(bytes).IsLong() ||
            bytes[0] != tableId) {
            return false;
        }
    }
    return !sections.empty();
}

// Each descriptor of a loop, as far as they are whole.
template <typename Call>
void ForEachDescriptor(Bytes loop, const Call& call) {
    ByteReader reader(loop);
    while (!reader.IsEmpty()) {
        const std::uint8_t tag = reader.Byte();
        const Bytes data = reader.Take(reader.Byte());
        if (reader.IsShort()) {
            return;
        }
        call(tag, data);
    }
}

std::string LanguageOf(Bytes code) {
    std::string language;
    for (const std::uint8_t letter : code.first(std::min(LANGUAGE_BYTES, code.size()))) {
        language += letter >= 0x20 && letter < 0x7F ? static_cast<char>(letter) : '?';
    }
    return language;
}

ERunningStatus RunningStatusOf(unsigned value) {
    return value <= RUNNING_OFF_AIR ? static_cast<ERunningStatus>(value) : RUNNING_UNDEFINED;
}

// --- program map ---

std::optional<Pmt::Stream> TakeStream(ByteReader& reader) {
    Pmt::Stream stream;
    stream.component.stream_type = reader.Byte();
    stream.component.pid = reader.Word() & NULL_PID;
    const Bytes descriptors = reader.Take(reader.Word() & LENGTH_BITS);
    if (reader.IsShort()) {
        return std::nullopt;
    }
    ForEachDescriptor(descriptors, [&stream](std::uint8_t tag, Bytes data) {
        switch (tag) {
        case TELETEXT_DESCRIPTOR:
            stream.captions = Pmt::Captions::Teletext;
            break;
        case SUBTITLING_DESCRIPTOR:
            stream.captions = Pmt::Captions::DvbSubtitles;
            break;
        case LANGUAGE_DESCRIPTOR:
            break;
        default:
            return;
        }
        // All three begin with the language.
        if (stream.component.language.empty() && data.size() >= LANGUAGE_BYTES) {
            stream.component.language = LanguageOf(data);
        }
    });
    return stream;
}

// --- service description ---

std::optional<Sdt::Service> TakeService(ByteReader& reader) {
    Sdt::Service service;
    service.serviceId = reader.Word();
    reader.Take(1); // which EIT there are
    const std::uint16_t flags = reader.Word();
    const Bytes descriptors = reader.Take(flags & LENGTH_BITS);
    if (reader.IsShort()) {
        return std::nullopt;
    }
    service.runningStatus = RunningStatusOf(flags >> 13);
    service.freeToAir = (flags & 0x1000) == 0;
    ForEachDescriptor(descriptors, [&service](std::uint8_t tag, Bytes data) {
        if (tag != SERVICE_DESCRIPTOR) {
            return;
        }
        ByteReader fields(data);
        service.type = fields.Byte();
        service.provider = TextOf(fields.Take(fields.Byte()));
        service.name = TextOf(fields.Take(fields.Byte()));
    });
    return service;
}

// --- event information ---

void SetTexts(TSProgramEvent& event, Bytes data) {
    ByteReader fields(data);
    event.language = LanguageOf(fields.Take(LANGUAGE_BYTES));
    event.name = TextOf(fields.Take(fields.Byte()));
    event.text = TextOf(fields.Take(fields.Byte()));
}

std::optional<TSProgramEvent> TakeEvent(ByteReader& reader) {
    TSProgramEvent event;
    event.known = true;
    event.event_id = reader.Word();
    event.start = UtcOf(reader.Number(5)).value_or(-1);
    event.duration = DurationOf(static_cast<std::uint32_t>(reader.Number(3))).value_or(0);
    const std::uint16_t flags = reader.Word();
    const Bytes descriptors = reader.Take(flags & LENGTH_BITS);
    if (reader.IsShort()) {
        return std::nullopt;
    }
    event.running_status = RunningStatusOf(flags >> 13);
    event.free_to_air = (flags & 0x1000) == 0;
    ForEachDescriptor(descriptors, [&event](std::uint8_t tag, Bytes data) {
        if (tag == SHORT_EVENT_DESCRIPTOR && event.language.empty()) { // the first one's language
            SetTexts(event, data);
        }
    });
    return event;
}

} // namespace

std::optional<Pat> DecodePat(const std::vector<SectionBytes>& sections) {
    if (!AreOf(PAT_TABLE, sections)) {
        return std::nullopt;
    }
    Pat pat;
    std::set<std::uint16_t> numbers; // one that is listed twice counts where it stands first
    for (const SectionBytes& bytes : sections) {
        const LongSection section(bytes);
        pat.transportStreamId = section.extension;
        pat.version = section.version;
        ByteReader reader(section.contents);
        while (!reader.IsEmpty()) {
            const std::uint16_t number = reader.Word();
            const std::uint16_t pid = reader.Word() & NULL_PID;
            const bool isUsable =
                number != 0 && !reader.IsShort() && numbers.size() < MOST_PROGRAMS;
            if (isUsable && numbers.insert(number).second) {
                pat.programs.push_back({number, pid});
            }
        }
    }
    return pat;
}

std::optional<Pmt> DecodePmt(const std::vector<SectionBytes>& sections) {
    if (!AreOf(PMT_TABLE, sections)) {
        return std::nullopt;
    }
    Pmt pmt;
    for (const SectionBytes& bytes : sections) {
        const LongSection section(bytes);
        pmt.programNumber = section.extension;
        pmt.version = section.version;
        ByteReader reader(section.contents);
        pmt.pcrPid = reader.Word() & NULL_PID;
        reader.Take(reader.Word() & LENGTH_BITS); // descriptors of the program
        if (reader.IsShort()) {
            return std::nullopt;
        }
        while (!reader.IsEmpty()) {
            if (const std::optional<Pmt::Stream> stream = TakeStream(reader)) {
                pmt.streams.push_back(*stream);
            }
        }
    }
    return pmt;
}

std::optional<Sdt> DecodeSdt(const std::vector<SectionBytes>& sections) {
    if (!AreOf(SDT_TABLE, sections)) {
        return std::nullopt;
    }
    Sdt sdt;
    for (const SectionBytes& bytes : sections) {
        const LongSection section(bytes);
        sdt.transportStreamId = section.extension;
        ByteReader reader(section.contents);
        sdt.originalNetworkId = reader.Word();
        reader.Take(1); // reserved
        if (reader.IsShort()) {
            return std::nullopt;
        }
        while (!reader.IsEmpty()) {
            if (const std::optional<Sdt::Service> service = TakeService(reader)) {
                sdt.services.push_back(*service);
            }
        }
    }
    return sdt;
}

std::optional<EitSection> DecodeEit(const Section& section) {
    if (!section.IsLong()) {
        return std::nullopt;
    }
    ByteReader reader(LongSection(section).contents);
    EitSection result;
    result.tableId = section.TableId();
    result.serviceId = section.Extension();
    result.number = section.Number();
    result.lastNumber = section.LastNumber();
    result.transportStreamId = reader.Word();
    result.originalNetworkId = reader.Word();
    reader.Take(1); // segment_last_section_number
    result.lastTableId = reader.Byte();
    if (reader.IsShort()) {
        return std::nullopt;
    }
    while (!reader.IsEmpty()) {
        if (const std::optional<TSProgramEvent> event = TakeEvent(reader)) {
            result.events.push_back(*event);
        }
    }
    return result;
}

std::optional<StreamTime> DecodeTime(const Section& section) {
    ByteReader reader(section.Whole().subspan(Section::START_BYTES));
    const std::optional<std::int64_t> utc = UtcOf(reader.Number(5));
    if (!utc || reader.IsShort()) {
        return std::nullopt;
    }
    StreamTime time{*utc, 0};
    bool isFirst = true;
    // A TOT goes on with descriptors.
    ForEachDescriptor(reader.Take(reader.Word() & LENGTH_BITS), [&](std::uint8_t tag, Bytes data) {
        if (tag != LOCAL_TIME_OFFSET_DESCRIPTOR || !std::exchange(isFirst, false)) {
            return;
        }
        ByteReader fields(data);
        fields.Take(LANGUAGE_BYTES); // the country, as long
        const bool isWest = (fields.Byte() & 1) != 0;
        const std::uint32_t hoursAndMinutes = fields.Word();
        const std::optional<std::uint32_t> offset = DurationOf(hoursAndMinutes << 8);
        if (offset && !fields.IsShort()) {
            time.localOffset = static_cast<std::int32_t>(*offset) * (isWest ? -1 : 1);
        }
    });
    return time;
}

} // namespace tvservice
