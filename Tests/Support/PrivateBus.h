// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <sys/types.h>

/// A message bus of the test's own: a dbus-daemon, or where HEARTHD_TEST_BUS is "broker" a
/// dbus-broker. It ends with this object; while it lives, DBUS_SYSTEM_BUS_ADDRESS names it. One at
/// a time.
class PrivateBus {
public:
    struct Settings {
        /// Every user may connect, and the policy in this file says what they may do; what it
        /// doesn't speak of is forbidden as on a system's bus. Without it everybody may do
        /// everything.
        std::string policyFile;
        std::string limits; ///< elements of the bus's configuration
    };

    PrivateBus() : PrivateBus(Settings()) {}
    explicit PrivateBus(const Settings& settings);
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    /// Ends the bus, as if it had crashed; its address stays.
    void Kill();
    /// Starts it again at the same address.
    void Start();
    /// It takes and gives nothing until it is let go on.
    void Pause() const;
    void Continue() const;

    const std::string& Address() const { return m_address; }
    const std::string& Folder() const { return m_folder; }

private:
    std::string m_folder;
    std::string m_address;
    pid_t m_pid = -1;
};
