// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "Actor.h"

/// Writes a configuration key, each time with the next number.
class SettingWriter : public Actor {
public:
    enum class By { THIS_PROCESS, PROGRAM };

    SettingWriter(std::string key, By by, unsigned seed)
        : Actor("writer of " + key, seed), m_key(std::move(key)), m_by(by) {}

    const std::string& Key() const { return m_key; }
    /// What has been written last; while it is stopped.
    int Last() const { return m_last; }

private:
    void Act() override;
    bool Write(int value) const;

    const std::string m_key;
    const By m_by;
    int m_last = 0;
};
