// SPDX-License-Identifier: Apache-2.0
#include "BusSocket.h"

#include <array>
#include <bit>
#include <cstdlib>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr std::string_view UNIX_PATH = "unix:path=";

void Align(std::string& bytes, std::size_t to) {
    bytes.resize((bytes.size() + to - 1) / to * to);
}

void AddNumber(std::string& bytes, std::size_t number) {
    Align(bytes, 4);
    const auto narrow = static_cast<std::uint32_t>(number);
    bytes.append(reinterpret_cast<const char*>(&narrow), sizeof(narrow));
}

void AddString(std::string& bytes, std::string_view text) {
    AddNumber(bytes, text.size());
    bytes.append(text).push_back('\0');
}

enum Field : char { PATH = 1, INTERFACE = 2, MEMBER = 3, DESTINATION = 6, SIGNATURE = 8 };

void AddField(std::string& bytes, Field field, char type, std::string_view text) {
    Align(bytes, 8);
    bytes.append({field, 1, type, 0});
    if (type == 'g') {
        bytes.push_back(static_cast<char>(text.size()));
        bytes.append(text).push_back('\0');
    } else {
        AddString(bytes, text);
    }
}

std::string MethodCall(std::uint32_t serial, std::string_view fields, std::string_view body) {
    std::string bytes{std::endian::native == std::endian::little ? 'l' : 'B', 1, 0, 1};
    AddNumber(bytes, body.size());
    AddNumber(bytes, serial);
    AddNumber(bytes, fields.size());
    bytes += fields;
    Align(bytes, 8);
    return bytes.append(body);
}

std::string Hello(std::uint32_t serial) {
    std::string fields;
    AddField(fields, PATH, 'o', "/org/freedesktop/DBus");
    AddField(fields, INTERFACE, 's', "org.freedesktop.DBus");
    AddField(fields, MEMBER, 's', "Hello");
    AddField(fields, DESTINATION, 's', "org.freedesktop.DBus");
    return MethodCall(serial, fields, {});
}

std::string HexOfUser() {
    std::string hex;
    for (const char digit : std::to_string(getuid())) {
        hex += {'3', digit}; // the code of a digit, in hexadecimal
    }
    return hex;
}

} // namespace

BusSocket::BusSocket() : m_socket(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const std::string bus = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    bus.substr(UNIX_PATH.size()).copy(address.sun_path, sizeof(address.sun_path) - 1);
    const timeval limit{30, 0};
    setsockopt(m_socket.Number(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit));
    if (connect(m_socket.Number(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) !=
            0 ||
        !Write(std::string(1, '\0') + "AUTH EXTERNAL " + HexOfUser() + "\r\n")) {
        throw std::runtime_error("no connection to " + bus);
    }
    ReadLine();
    if (!Write("BEGIN\r\n" + Hello(++m_serial)) || !WaitForInput()) {
        throw std::runtime_error("no greeting from " + bus);
    }
    Drain();
}

std::string BusSocket::Call(const std::string& destination, const std::string& subject,
                            std::string_view payload) {
    std::string fields;
    AddField(fields, PATH, 'o', "/quill/endpoint");
    AddField(fields, INTERFACE, 's', "quill.Endpoint1");
    AddField(fields, MEMBER, 's', "Call");
    AddField(fields, DESTINATION, 's', destination);
    AddField(fields, SIGNATURE, 'g', "ss");
    std::string body;
    AddString(body, subject);
    AddString(body, payload);
    return MethodCall(++m_serial, fields, body);
}

std::string BusSocket::Introspect(const std::string& destination) {
    std::string fields;
    AddField(fields, PATH, 'o', "/quill/endpoint");
    AddField(fields, INTERFACE, 's', "org.freedesktop.DBus.Introspectable");
    AddField(fields, MEMBER, 's', "Introspect");
    AddField(fields, DESTINATION, 's', destination);
    return MethodCall(++m_serial, fields, {});
}

bool BusSocket::Write(std::string_view bytes) const {
    while (!bytes.empty()) {
        const ssize_t written = send(m_socket.Number(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (written <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

void BusSocket::Shutdown() const {
    shutdown(m_socket.Number(), SHUT_RDWR);
}

void BusSocket::Drain() const {
    std::array<char, 65536> dropped{};
    while (recv(m_socket.Number(), dropped.data(), dropped.size(), MSG_DONTWAIT) > 0) {
    }
}

bool BusSocket::WaitForInput(std::chrono::seconds limit) const {
    pollfd ready{m_socket.Number(), POLLIN, 0};
    return poll(&ready, 1, static_cast<int>(std::chrono::milliseconds(limit).count())) == 1;
}

void BusSocket::ReadLine() const {
    char byte = 0;
    while (byte != '\n') {
        if (!WaitForInput() || recv(m_socket.Number(), &byte, 1, 0) != 1) {
            throw std::runtime_error("the bus doesn't answer");
        }
    }
}
