// SPDX-License-Identifier: Apache-2.0
#include "StartText.h"

namespace hearthctl {

std::string TimeText(Microseconds time) {
    const auto value = time.count();
    if (value < 1000) {
        return std::to_string(value) + " us";
    }
    if (value < 10'000'000) {
        return std::to_string(value / 1000) + " ms";
    }
    return std::to_string(value / 1'000'000) + "." + std::to_string(value / 100'000 % 10) + " s";
}

std::string TimeText(const std::optional<Microseconds>& time) {
    return time ? TimeText(*time) : "-";
}

const char* TroubleText(ServiceStart::State state) {
    switch (state) {
    case ServiceStart::State::LOADED:
        return "start not ended";
    case ServiceStart::State::STARTED:
        return "";
    case ServiceStart::State::LOAD_FAILED:
        return "failed to load";
    case ServiceStart::State::START_FAILED:
        return "failed to start";
    case ServiceStart::State::TIMED_OUT:
        return "start timed out";
    }
    return "";
}

} // namespace hearthctl
