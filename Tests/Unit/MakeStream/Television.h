// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "StreamMaker.h"

/// Two services with video, "One" and "Two" of "Maker", whose first one has events.
inline streammaker::Multiplex
TwoServices(streammaker::VideoCodec codec = streammaker::VideoCodec::MPEG2) {
    streammaker::Multiplex multiplex;
    multiplex.transportStreamId = 0x11;
    multiplex.originalNetworkId = 0x22;
    for (std::uint16_t number = 1; number <= 2; ++number) {
        streammaker::Service service;
        service.id = number;
        service.name = number == 1 ? "One" : "Two";
        service.provider = "Maker";
        service.pmtPid = static_cast<std::uint16_t>(number * 0x100);
        service.videoPid = static_cast<std::uint16_t>(number * 0x100 + 1);
        service.codec = codec;
        multiplex.services.push_back(service);
    }
    streammaker::Event event;
    event.id = 7;
    event.start = streammaker::StreamSettings().utcStart;
    event.duration = 3600;
    event.runningStatus = 4;
    event.name = "Now";
    multiplex.services[0].present = event;
    event.id = 8;
    event.start += 3600;
    event.runningStatus = 1;
    event.name = "Next";
    multiplex.services[0].following = event;
    return multiplex;
}
