// SPDX-License-Identifier: Apache-2.0
#include "Multiplex.h"

#include <algorithm>
#include <set>
#include <stdexcept>

namespace streammaker {

namespace {

constexpr std::uint16_t FIRST_FREE_PID = 0x20; // below are the tables'
constexpr std::uint16_t NO_PID = 0x1FFF;

void CheckPid(std::uint16_t pid) {
    if (pid < FIRST_FREE_PID || pid >= NO_PID) {
        throw std::invalid_argument("a service's PIDs are from 0x20 to 0x1FFE");
    }
}

} // namespace

Service& Multiplex::ServiceOf(std::uint16_t id) {
    const auto found = std::find_if(services.begin(), services.end(),
                                    [id](const Service& service) { return service.id == id; });
    if (found == services.end()) {
        throw std::invalid_argument("no such service: " + std::to_string(id));
    }
    return *found;
}

const Service* Multiplex::Find(std::uint16_t id) const {
    const auto found = std::find_if(services.begin(), services.end(),
                                    [id](const Service& service) { return service.id == id; });
    return found == services.end() ? nullptr : &*found;
}

void Check(const Multiplex& multiplex) {
    std::set<std::uint16_t> ids;
    std::set<std::uint16_t> videoPids;
    for (const Service& service : multiplex.services) {
        if (service.id == 0 || !ids.insert(service.id).second) {
            throw std::invalid_argument("a service's id is above 0 and its own");
        }
        CheckPid(service.pmtPid);
        if (service.codec != VideoCodec::NONE) {
            CheckPid(service.videoPid);
            if (!videoPids.insert(service.videoPid).second) {
                throw std::invalid_argument("a service's video has a PID of its own");
            }
        }
        if (service.pcrPid != 0 && service.pcrPid != NO_PID) {
            CheckPid(service.pcrPid);
        }
        for (const Component& component : service.components) {
            CheckPid(component.pid);
        }
    }
}

std::uint16_t PcrPidOf(const Service& service) {
    if (service.pcrPid != 0) {
        return service.pcrPid;
    }
    return service.codec == VideoCodec::NONE ? NO_PID : service.videoPid;
}

} // namespace streammaker
