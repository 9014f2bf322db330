// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <tuple>

#include "EProfile.h"
#include "ISignalSubscriber.h"

namespace marrow::evt {

/// What somebody subscribes to: one signal of one profile and screen.
struct tvs_event_t {
    EProfile profile;
    unsigned short screen;
    ESignalType signal;

    bool operator==(const tvs_event_t&) const = default;

    /// By signal, then profile, then screen, whatever the order of the fields.
    bool operator<(const tvs_event_t& other) const {
        const auto rank = [](const tvs_event_t& event) {
            return std::tuple(static_cast<std::int32_t>(event.signal),
                              static_cast<std::int32_t>(event.profile), event.screen);
        };
        return rank(*this) < rank(other);
    }
};

/// What a listener gets.
struct tvs_event_args_t {
    tvs_event_t event;
    TSSignalData data; ///< the platform's, as it came
};

} // namespace marrow::evt
