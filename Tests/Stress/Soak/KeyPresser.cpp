// SPDX-License-Identifier: Apache-2.0
#include "KeyPresser.h"

#include "SoakNames.h"

void KeyPresser::Act() {
    const auto pick = [this](const auto& keys) -> std::string {
        return keys[static_cast<std::size_t>(Random(0, static_cast<int>(keys.size()) - 1))];
    };
    const std::string key = pick(SOAK_KEYS);
    m_display.Tap(key);
    ++m_pressed[key];
    m_display.Tap(pick(std::array{"XF86AudioRaiseVolume", "XF86AudioLowerVolume"}));
    Rest(std::chrono::milliseconds(Random(10, 100)));
}
