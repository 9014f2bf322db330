// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <deque>
#include <list>
#include <map>
#include <string>
#include <vector>

#include "BusConnection.h"

namespace Quill {

// Messages that were taken off the bus and wait to be acted on.
//
// A bus hands over in one line what all send, where a call stands behind everything that somebody
// else had to say. Here each sender has a line of its own, which keeps its order, and the senders
// take turns. One whose line was empty goes ahead of those that have had a turn already, but not
// twice in a row, so that newcomers hold nobody up for good.
//
// Of one thread.
class SenderTurns {
public:
    bool IsEmpty() const { return m_count == 0; }
    /// Whether more should be taken off the bus. Too much is better kept there, where senders feel
    /// it.
    bool HasRoom() const { return m_count < MOST_MESSAGES && m_size < MOST_BYTES; }

    /// Moves all of them here.
    void Add(std::vector<Incoming>& taken);
    /// Whether several senders have had a turn and have more to say.
    bool AreManyInTurn() const { return m_others.size() > 1; }
    /// The message whose turn it is. Not of an empty one.
    Incoming TakeNext();
    void Clear();

private:
    static constexpr std::size_t MOST_MESSAGES = 4096;
    static constexpr std::size_t MOST_BYTES = 8U << 20;

    using Lines = std::map<std::string, std::list<Incoming>>; // none is empty

    Lines m_lines;
    std::deque<Lines::iterator> m_newcomers;
    std::deque<Lines::iterator> m_others; // have had a turn
    bool m_wasNewcomer = false;
    std::size_t m_count = 0;
    std::size_t m_size = 0; // bytes
};

} // namespace Quill
