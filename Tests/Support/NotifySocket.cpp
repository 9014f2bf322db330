// SPDX-License-Identifier: Apache-2.0
#include "NotifySocket.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "Patience.h"

NotifySocket::NotifySocket() {
    m_folder = (std::filesystem::temp_directory_path() / "hearthd-notify-XXXXXX").string();
    if (mkdtemp(m_folder.data()) == nullptr) {
        throw std::runtime_error("mkdtemp " + m_folder);
    }
    m_path = m_folder + "/socket";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    m_path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    m_socket = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        throw std::runtime_error("bind " + m_path);
    }
}

NotifySocket::~NotifySocket() {
    close(m_socket);
    std::filesystem::remove_all(m_folder);
}

std::string NotifySocket::Receive(std::chrono::milliseconds limit) const {
    pollfd ready{m_socket, POLLIN, 0};
    std::array<char, 128> text{};
    if (poll(&ready, 1, static_cast<int>(Patient(limit).count())) != 1 ||
        recv(m_socket, text.data(), text.size() - 1, 0) <= 0) {
        return {};
    }
    return text.data();
}
