// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace tvservice {

/// Where the bytes of a stream come from. One thread. Nothing here waits: the one who reads waits
/// for the descriptor.
class Source {
public:
    enum class Outcome {
        Data,
        Nothing, ///< none now
        End,     ///< none any more, until Rewind
    };
    struct Result {
        Outcome outcome = Outcome::Nothing;
        std::size_t size = 0;
    };
    /// Room for what comes at once: a datagram is not to be cut.
    static constexpr std::size_t LEAST_ROOM = 65536;

    virtual ~Source();

    /// Opens a path or an address "udp://ADDRESS:PORT". Throws std::system_error or
    /// std::runtime_error.
    static std::unique_ptr<Source> Open(const std::string& address);

    /// Reads at most as many bytes as there is room for. Throws std::system_error.
    virtual Result Read(std::span<std::uint8_t> room) = 0;
    /// Begins again; returns false where that cannot be.
    virtual bool Rewind() = 0;
    /// A plain file, which is there at once and as a whole.
    virtual bool IsFile() const = 0;
    /// To wait at until there is something to read.
    virtual int Descriptor() const = 0;
};

} // namespace tvservice
