// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>

/// The service manager's end of the notification protocol: a socket of the test's own.
class NotifySocket {
public:
    NotifySocket();
    ~NotifySocket();
    NotifySocket(const NotifySocket&) = delete;
    NotifySocket& operator=(const NotifySocket&) = delete;

    /// What NOTIFY_SOCKET is set to.
    const std::string& Path() const { return m_path; }
    /// The next message; empty when none has come after `limit`.
    std::string Receive(std::chrono::milliseconds limit = std::chrono::seconds(20)) const;

private:
    std::string m_folder;
    std::string m_path;
    int m_socket = -1;
};
