// SPDX-License-Identifier: Apache-2.0
#include "WakeEvent.h"

#include <cerrno>
#include <cstdint>
#include <sys/eventfd.h>
#include <system_error>

namespace tvservice {

WakeEvent::WakeEvent() : m_event(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
    if (m_event.Number() < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

void WakeEvent::Wake() {
    const std::uint64_t one = 1;
    // It can only fail where the counter is full, and then somebody has woken it already.
    [[maybe_unused]] const ssize_t written = write(m_event.Number(), &one, sizeof(one));
}

void WakeEvent::Clear() {
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t size = read(m_event.Number(), &count, sizeof(count));
}

} // namespace tvservice
