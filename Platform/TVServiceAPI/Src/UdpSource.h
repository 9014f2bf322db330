// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "FileDescriptor.h"
#include "Source.h"

namespace tvservice {

/// Datagrams with whole packets in them, plain or behind an RTP header (RFC 2250), from a multicast
/// group that is joined, or to an address of this machine.
class UdpSource final : public Source {
public:
    /// `address` is HOST:PORT or [IPV6]:PORT; an empty HOST takes what comes to any address.
    explicit UdpSource(const std::string& address);

    Result Read(std::span<std::uint8_t> room) override;
    bool Rewind() override { return false; }
    bool IsFile() const override { return false; }
    int Descriptor() const override { return m_descriptor.Number(); }

private:
    marrow::base::FileDescriptor m_descriptor;
};

} // namespace tvservice
