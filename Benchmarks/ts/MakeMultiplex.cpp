// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "Packets.h"
#include "Runs.h"
#include "StreamMaker.h"

namespace {

using streammaker::Bytes;
using streammaker::PACKET_SIZE;

constexpr std::int64_t START = 1714593600;
constexpr unsigned EVENTS = 40; // of each service's schedule

Bytes ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    Bytes bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (bytes.empty()) {
        throw std::runtime_error("cannot read " + path);
    }
    return bytes;
}

streammaker::Event MakeEvent(unsigned number) {
    streammaker::Event event;
    event.id = static_cast<std::uint16_t>(number);
    event.start = START + number * 1800;
    event.duration = 1800;
    event.name = "Event number " + std::to_string(number);
    event.text = "A text as long as those that guides have, which is some hundred characters, "
                 "and tells what the event is about.";
    return event;
}

std::uint16_t PidAt(const Bytes& stream, std::size_t at) {
    return static_cast<std::uint16_t>((stream[at + 1] & 0x1FU) << 8 | stream[at + 2]);
}

// The packets of SDT and EIT alone, some ten seconds of them.
std::vector<Bytes> MakeInformation() {
    streammaker::Multiplex multiplex;
    for (unsigned number = 1; number <= SERVICES; ++number) {
        streammaker::Service service;
        service.id = static_cast<std::uint16_t>(number);
        service.name = "Service " + std::to_string(number);
        service.provider = "Hearth";
        service.pmtPid = static_cast<std::uint16_t>(0x500 + number);
        service.codec = streammaker::VideoCodec::NONE;
        service.present = MakeEvent(0);
        service.following = MakeEvent(1);
        for (unsigned event = 0; event < EVENTS; ++event) {
            service.schedule.push_back(MakeEvent(event));
        }
        multiplex.services.push_back(service);
    }
    streammaker::StreamSettings settings;
    settings.muxRate = 4'000'000;
    const Bytes stream =
        streammaker::StreamMaker(multiplex, settings).Make(std::chrono::seconds(10));
    std::vector<Bytes> packets;
    for (std::size_t at = 0; at < stream.size(); at += PACKET_SIZE) {
        const std::uint16_t pid = PidAt(stream, at);
        if (pid == SDT_PID || pid == EIT_PID) {
            packets.emplace_back(stream.begin() + static_cast<std::ptrdiff_t>(at),
                                 stream.begin() + static_cast<std::ptrdiff_t>(at + PACKET_SIZE));
        }
    }
    return packets;
}

} // namespace

void MakeMultiplex(const std::string& input, const std::string& output, unsigned copies) {
    Bytes stream = ReadFile(input);
    const std::vector<Bytes> information = MakeInformation();
    // One null packet in three takes one, so that they lie evenly.
    std::size_t next = 0;
    unsigned nulls = 0;
    for (std::size_t at = 0; at + PACKET_SIZE <= stream.size(); at += PACKET_SIZE) {
        const std::uint16_t pid = PidAt(stream, at);
        if (pid == SDT_PID) { // ffmpeg's own
            const streammaker::TsPacket null = streammaker::NullPacket();
            std::copy(null.begin(), null.end(), stream.begin() + static_cast<std::ptrdiff_t>(at));
        } else if (pid == streammaker::NULL_PID && ++nulls % 3 == 0 && next < information.size()) {
            std::copy(information[next].begin(), information[next].end(),
                      stream.begin() + static_cast<std::ptrdiff_t>(at));
            ++next;
        }
    }
    if (next < information.size()) {
        throw std::runtime_error("the stream has too few null packets");
    }
    std::ofstream file(output, std::ios::binary);
    for (unsigned copy = 0; copy < copies; ++copy) {
        file.write(reinterpret_cast<const char*>(stream.data()),
                   static_cast<std::streamsize>(stream.size()));
    }
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + output);
    }
}
