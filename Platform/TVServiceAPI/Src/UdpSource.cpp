// SPDX-License-Identifier: Apache-2.0
#include "UdpSource.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <system_error>
#include <utility>

#include "TsPacket.h"

namespace tvservice {

namespace {

constexpr int RECEIVE_BUFFER = 2 << 20; // bytes: what a fast stream brings in a quarter of a second
constexpr std::size_t RTP_HEADER_BYTES = 12;

struct AddressDeleter {
    void operator()(addrinfo* addresses) const { freeaddrinfo(addresses); }
};
using Addresses = std::unique_ptr<addrinfo, AddressDeleter>;

std::pair<std::string, std::string> SplitAddress(const std::string& address) {
    const auto colon = address.rfind(':');
    if (colon == std::string::npos || colon + 1 == address.size()) {
        throw std::runtime_error("udp://" + address + " has no port");
    }
    std::string host = address.substr(0, colon);
    if (host.size() >= 2 && host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
    }
    return {host, address.substr(colon + 1)};
}

Addresses Resolve(const std::string& address) {
    const auto [host, port] = SplitAddress(address);
    addrinfo hints{};
    hints.ai_socktype = SOCK_DGRAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICHOST | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const int error =
        getaddrinfo(host.empty() ? nullptr : host.c_str(), port.c_str(), &hints, &found);
    if (error != 0) {
        throw std::runtime_error("udp://" + address + ": " + gai_strerror(error));
    }
    return Addresses(found);
}

[[noreturn]] void Fail(const std::string& address, const char* operation) {
    throw std::system_error(errno, std::generic_category(), "udp://" + address + ": " + operation);
}

bool IsMulticast(const addrinfo& address) {
    if (address.ai_family == AF_INET) {
        sockaddr_in ipv4{};
        std::memcpy(&ipv4, address.ai_addr, sizeof(ipv4));
        return IN_MULTICAST(ntohl(ipv4.sin_addr.s_addr));
    }
    sockaddr_in6 ipv6{};
    std::memcpy(&ipv6, address.ai_addr, sizeof(ipv6));
    return IN6_IS_ADDR_MULTICAST(&ipv6.sin6_addr);
}

bool Join(int socket, const addrinfo& address) {
    group_req request{};
    std::memcpy(&request.gr_group, address.ai_addr, address.ai_addrlen);
    const int level = address.ai_family == AF_INET ? IPPROTO_IP : IPPROTO_IPV6;
    return setsockopt(socket, level, MCAST_JOIN_GROUP, &request, sizeof(request)) == 0;
}

// What of a datagram are its packets: all of it, or the payload of RTP (RFC 3550, 5.1 and 5.3.1).
Bytes PacketsOf(Bytes datagram) {
    if (datagram.size() < RTP_HEADER_BYTES || datagram[0] == SYNC_BYTE ||
        (datagram[0] & 0xC0) != 0x80) {
        return datagram;
    }
    std::size_t size = RTP_HEADER_BYTES + (datagram[0] & 0x0FU) * 4;
    const bool hasExtension = (datagram[0] & 0x10) != 0;
    if (hasExtension && datagram.size() >= size + 4) {
        size += 4 + (static_cast<std::size_t>(datagram[size + 2]) << 8 | datagram[size + 3]) * 4;
    }
    Bytes payload = datagram.subspan(std::min(size, datagram.size()));
    const bool hasPadding = (datagram[0] & 0x20) != 0;
    if (hasPadding && !payload.empty()) { // its last byte tells how long it is
        payload =
            payload.first(payload.size() - std::min<std::size_t>(payload.back(), payload.size()));
    }
    return payload;
}

} // namespace

UdpSource::UdpSource(const std::string& address) {
    const Addresses addresses = Resolve(address);
    m_descriptor = marrow::base::FileDescriptor(
        socket(addresses->ai_family, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const int number = m_descriptor.Number();
    if (number < 0) {
        Fail(address, "socket");
    }
    const int yes = 1;
    const bool isMulticast = IsMulticast(*addresses);
    if (isMulticast && setsockopt(number, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes)) != 0) {
        Fail(address, "SO_REUSEADDR");
    }
    // The kernel gives what it may.
    setsockopt(number, SOL_SOCKET, SO_RCVBUF, &RECEIVE_BUFFER, sizeof(RECEIVE_BUFFER));
    if (bind(number, addresses->ai_addr, addresses->ai_addrlen) != 0) {
        Fail(address, "bind");
    }
    if (isMulticast && !Join(number, *addresses)) {
        Fail(address, "joining the group");
    }
}

Source::Result UdpSource::Read(std::span<std::uint8_t> room) {
    const ssize_t received = recv(m_descriptor.Number(), room.data(), room.size(), 0);
    if (received < 0) {
        if (errno == EAGAIN || errno == EINTR || errno == ECONNREFUSED) {
            return {Outcome::Nothing, 0};
        }
        throw std::system_error(errno, std::generic_category(), "receiving the stream");
    }
    const Bytes packets = PacketsOf(room.first(static_cast<std::size_t>(received)));
    std::memmove(room.data(), packets.data(), packets.size());
    return {packets.empty() ? Outcome::Nothing : Outcome::Data, packets.size()};
}

} // namespace tvservice
