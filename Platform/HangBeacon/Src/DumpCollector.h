// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <string_view>

#include "Dump.h"

namespace hang_beacon {

/// Sorts the lines that come in into dumps. One thread.
///
/// Nothing tells where a dump begins or ends: each thread of a process opens the device, writes its
/// lines and closes it, all of them at once. So a thread that opens it belongs to the oldest
/// unfinished dump of its process in which it has not been yet, and a dump is finished when nothing
/// has come in for it for a while.
class DumpCollector {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::chrono::milliseconds QUIET{300};
    static constexpr std::size_t MOST_DUMPS = 256;           ///< unfinished ones, of all processes
    static constexpr std::size_t MOST_THREADS = 4096;        ///< of a dump; another one begins then
    static constexpr std::size_t LARGEST_DUMP = 1024 * 1024; ///< bytes of its lines
    static constexpr std::size_t LINE_COST = 32;             ///< bytes that an empty line counts

    explicit DumpCollector(std::function<void(const Dump&)> finished);

    /// A thread has opened the device. Returns the number of this opening, for Add.
    std::uint64_t Open(const Dump& process, const ThreadLines& thread, Clock::time_point now);
    void Add(std::uint64_t opening, std::string_view line, Clock::time_point now);
    void Close(std::uint64_t opening);

    /// Hands over the dumps that are finished.
    void Tick(Clock::time_point now);
    /// Hands over all of them.
    void Finish();

    /// When Tick has something to do next.
    std::optional<Clock::time_point> Deadline() const;

private:
    struct Unfinished {
        Dump dump;
        Clock::time_point last;
    };
    using Dumps = std::list<Unfinished>; // the oldest first
    struct Opening {
        Dumps::iterator dump;
        std::size_t thread; // index
    };

    Dumps::iterator DumpFor(const Dump& process, pid_t thread);
    void HandOver(Dumps::iterator dump);

    const std::function<void(const Dump&)> m_finished;
    Dumps m_dumps;
    std::map<std::uint64_t, Opening> m_openings; // those of finished dumps have gone
    std::uint64_t m_nextOpening = 1;
};

} // namespace hang_beacon
