// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>

// What the soak's service and those who drive it agree on.

/// The service's name, and the subject of its notifications.
inline constexpr const char* SOAK_SERVICE = "soak";
/// The keys of the remote control that it listens to.
inline constexpr std::array SOAK_KEYS{"Up", "Down", "Left", "Right"};
/// The configuration keys that it listens to.
inline constexpr std::array SOAK_SETTINGS{"db/soak/thread1", "db/soak/thread2", "db/soak/program"};
