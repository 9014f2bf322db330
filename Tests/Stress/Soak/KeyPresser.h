// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>

#include "Actor.h"
#include "VirtualDisplay.h"

/// Presses keys of the remote control: those that the soak's service hears, and those of the
/// example volume, which is there at times.
class KeyPresser : public Actor {
public:
    KeyPresser(const VirtualDisplay& display, unsigned seed)
        : Actor("key presser", seed), m_display(display) {}

    /// How often each key has been pressed; while it is stopped.
    const std::map<std::string, int>& Pressed() const { return m_pressed; }

private:
    void Act() override;

    const VirtualDisplay& m_display;
    std::map<std::string, int> m_pressed;
};
