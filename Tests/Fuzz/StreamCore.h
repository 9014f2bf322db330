// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <span>

/// Everything of the TV service library that looks at a stream's bytes, with subscriptions of every
/// kind, and neither a thread nor a source. What comes out is added up and thrown away.
class StreamCore {
public:
    StreamCore();
    ~StreamCore();
    StreamCore(const StreamCore&) = delete;
    StreamCore& operator=(const StreamCore&) = delete;

    /// In pieces as they come.
    void Push(std::span<const unsigned char> bytes);
    /// The stream ends, and may begin again.
    void Break();

    /// So that nothing is optimised away, and a test sees that something has come.
    struct Sums {
        std::size_t packets = 0;
        std::size_t sections = 0;
        std::size_t notices = 0;
        std::size_t captions = 0;
        std::size_t pes = 0;
        std::size_t bytes = 0;
    };
    const Sums& Seen() const;

private:
    class Parts;
    const std::unique_ptr<Parts> m_parts;
};
