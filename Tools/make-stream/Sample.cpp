// SPDX-License-Identifier: Apache-2.0
#include "Sample.h"

#include <array>

namespace streammaker {

namespace {

constexpr std::uint16_t FIRST_SERVICE = 101;
constexpr std::uint16_t SECOND_SERVICE = 102;
constexpr std::uint16_t SUBTITLE_PID = 0x202;
constexpr StreamTime FIRST_CAPTION = std::chrono::milliseconds(500);
constexpr StreamTime CAPTION_INTERVAL = std::chrono::seconds(3);
constexpr StreamTime SUBTITLE_INTERVAL = std::chrono::seconds(1);
constexpr std::uint32_t EVENT_DURATION = 1800;
constexpr std::uint8_t RUNNING = 4;
constexpr std::uint8_t NOT_RUNNING = 1;

constexpr std::array<const char*, 4> CAPTIONS{
    "The fire is lit.",
    "Come in and sit down,",
    "the kettle is on.",
    "♪ a song without words ♪",
};

struct Programme {
    const char* name;
    const char* text;
};
constexpr std::array<Programme, 4> FIRST_GUIDE{{
    {"Morning by the Fire", "Kindling, and what it wants."},
    {"The Kettle Hour", "Tea from four countries."},
    {"Embers", "A film about a long winter."},
    {"Night Watch", "Nothing but the fire."},
}};
constexpr std::array<Programme, 4> SECOND_GUIDE{{
    {"Brick by Brick", "How a chimney is built."},
    {"Ashes to Garden", "What grows where the ash goes."},
    {"Le foyer", "Un café près du feu."},
    {"Sparks", "News of the day."},
}};

// Half-hours one after the other, of which the second begins at `change`.
std::vector<Event> Events(const std::array<Programme, 4>& guide, std::uint16_t firstId,
                          std::int64_t change) {
    std::vector<Event> events;
    for (std::size_t i = 0; i < guide.size(); ++i) {
        Event event;
        event.id = static_cast<std::uint16_t>(firstId + i);
        event.start = change + (static_cast<std::int64_t>(i) - 1) * EVENT_DURATION;
        event.duration = EVENT_DURATION;
        event.runningStatus = NOT_RUNNING;
        event.name = guide[i].name;
        event.text = guide[i].text;
        events.push_back(event);
    }
    return events;
}

void SetPresent(Service& service, const std::vector<Event>& events, std::size_t index) {
    service.present = events[index];
    service.present->runningStatus = RUNNING;
    service.following = events[index + 1];
}

Service MakeService(std::uint16_t id, const char* name, std::uint16_t firstPid, VideoCodec codec) {
    Service service;
    service.id = id;
    service.name = name;
    service.provider = "Hearth";
    service.pmtPid = firstPid;
    service.videoPid = static_cast<std::uint16_t>(firstPid + 1);
    service.codec = codec;
    return service;
}

// The schedule begins with the stream's day.
void SetSchedule(Service& service, const std::vector<Event>& events, std::int64_t begin) {
    constexpr std::int64_t DAY = 86400;
    for (const Event& event : events) {
        if (event.start >= begin / DAY * DAY) {
            service.schedule.push_back(event);
        }
    }
}

// EN 300 743, 7.2: a page without regions, and the end of what is to be shown at once.
Bytes EmptySubtitle(unsigned number) {
    constexpr std::uint8_t SYNC = 0x0F;
    const auto version = static_cast<std::uint8_t>((number & 0x0FU) << 4 | 0x0BU);
    return {0x20, 0x00,                                      // data_identifier, subtitle_stream_id
            SYNC, 0x10, 0x00, 0x01, 0x00, 0x02, 30, version, // page: time-out, acquisition point
            SYNC, 0x80, 0x00, 0x01, 0x00, 0x00,              // end of display set
            0xFF};
}

} // namespace

StreamMaker MakeSample(const SampleOptions& options) {
    const StreamTime middle = options.duration / 2;
    const std::int64_t change =
        options.utcStart + std::chrono::duration_cast<std::chrono::seconds>(middle).count();
    const std::vector<Event> firstEvents = Events(FIRST_GUIDE, 1, change);
    const std::vector<Event> secondEvents = Events(SECOND_GUIDE, 11, change);

    Multiplex multiplex;
    multiplex.originalNetworkId = 0xFF01; // for private use
    multiplex.services.push_back(MakeService(FIRST_SERVICE, "Hearth One", 0x100, options.codec));
    multiplex.services.push_back(MakeService(SECOND_SERVICE, "Hearth Two", 0x200, options.codec));
    multiplex.services[1].components.push_back({SUBTITLE_PID, 6, {SubtitlingDescriptor("eng")}});
    SetPresent(multiplex.services[0], firstEvents, 0);
    SetPresent(multiplex.services[1], secondEvents, 0);
    SetSchedule(multiplex.services[0], firstEvents, options.utcStart);
    SetSchedule(multiplex.services[1], secondEvents, options.utcStart);

    StreamSettings settings;
    settings.muxRate = options.muxRate;
    settings.utcStart = options.utcStart;
    StreamMaker maker(multiplex, settings);
    maker.At(middle, [firstEvents, secondEvents](Multiplex& changed) {
        SetPresent(changed.ServiceOf(FIRST_SERVICE), firstEvents, 1);
        SetPresent(changed.ServiceOf(SECOND_SERVICE), secondEvents, 1);
    });
    std::size_t line = 0;
    for (StreamTime at = FIRST_CAPTION; options.captions && at < options.duration;
         at += CAPTION_INTERVAL) {
        maker.AddCaption(FIRST_SERVICE, at, CAPTIONS[line++ % CAPTIONS.size()]);
    }
    unsigned number = 0;
    for (StreamTime at{0}; at < options.duration; at += SUBTITLE_INTERVAL) {
        maker.AddPes(at, SUBTITLE_PID, EmptySubtitle(number++));
    }
    return maker;
}

} // namespace streammaker
