// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "TCData.h"

namespace Quill {

class TCHandler;

/// One queue entry. Its user builds it in place, as a rule on the stack; TCEventIO::SendEvent
/// copies it: what stands here, and not what a derived class adds. It owns nothing.
class TCEvent {
public:
    TCEvent() = default;
    virtual ~TCEvent();
    TCEvent(const TCEvent&) = default;
    TCEvent& operator=(const TCEvent&) = default;

    /// The receiver. Not owned by the event.
    TCHandler* handler = nullptr;
    /// For the sender's and the handler's own use; the queue only carries them.
    std::uint32_t word = 0;
    std::uint8_t byte = 0;
    TCData data;
};

} // namespace Quill
