// SPDX-License-Identifier: Apache-2.0
#include "DumpCollector.h"

#include <algorithm>
#include <utility>

namespace hang_beacon {

DumpCollector::DumpCollector(std::function<void(const Dump&)> finished)
    : m_finished(std::move(finished)) {}

DumpCollector::Dumps::iterator DumpCollector::DumpFor(const Dump& process, pid_t thread) {
    return std::find_if(m_dumps.begin(), m_dumps.end(), [&](const Unfinished& entry) {
        const auto& threads = entry.dump.threads;
        return entry.dump.process == process.process &&
               std::none_of(threads.begin(), threads.end(),
                            [&](const ThreadLines& lines) { return lines.thread == thread; });
    });
}

std::uint64_t DumpCollector::Open(const Dump& process, const ThreadLines& thread,
                                  Clock::time_point now) {
    auto dump = DumpFor(process, thread.thread);
    if (dump != m_dumps.end() && dump->dump.threads.size() == MOST_THREADS) {
        HandOver(dump);
        dump = m_dumps.end();
    }
    if (dump == m_dumps.end()) {
        if (m_dumps.size() == MOST_DUMPS) {
            HandOver(m_dumps.begin());
        }
        dump = m_dumps.insert(m_dumps.end(), {process, now});
    }
    dump->last = now;
    dump->dump.threads.push_back(thread);
    const std::uint64_t opening = m_nextOpening++;
    m_openings[opening] = {dump, dump->dump.threads.size() - 1};
    return opening;
}

void DumpCollector::Add(std::uint64_t opening, std::string_view line, Clock::time_point now) {
    const auto found = m_openings.find(opening);
    if (found == m_openings.end()) {
        return; // too late
    }
    Unfinished& entry = *found->second.dump;
    entry.last = now;
    const std::size_t size = LINE_COST + line.size();
    if (entry.dump.size + size > LARGEST_DUMP) {
        ++entry.dump.dropped;
        return;
    }
    entry.dump.size += size;
    entry.dump.threads[found->second.thread].lines.emplace_back(line);
}

void DumpCollector::Close(std::uint64_t opening) {
    m_openings.erase(opening);
}

void DumpCollector::Tick(Clock::time_point now) {
    for (auto dump = m_dumps.begin(); dump != m_dumps.end();) {
        const auto next = std::next(dump);
        if (now - dump->last >= QUIET) {
            HandOver(dump);
        }
        dump = next;
    }
}

void DumpCollector::Finish() {
    Tick(Clock::time_point::max());
}

std::optional<DumpCollector::Clock::time_point> DumpCollector::Deadline() const {
    std::optional<Clock::time_point> deadline;
    for (const Unfinished& entry : m_dumps) {
        deadline = std::min(deadline.value_or(entry.last + QUIET), entry.last + QUIET);
    }
    return deadline;
}

void DumpCollector::HandOver(Dumps::iterator dump) {
    m_finished(dump->dump);
    std::erase_if(m_openings, [dump](const auto& entry) { return entry.second.dump == dump; });
    m_dumps.erase(dump);
}

} // namespace hang_beacon
