// SPDX-License-Identifier: Apache-2.0
#include "BusBreaker.h"

#include "DaemonTest.h"
#include "WaitUntil.h"

namespace {

constexpr const char* PAYLOAD = R"({"is":"there"})";

bool IsDaemonThere() {
    try {
        RawClient client;
        return client.NameHasOwner(DEBUG_SHELL) && client.NameHasOwner(ROUTER) &&
               client.Call(ROUTER, "probe", PAYLOAD).payload == PAYLOAD;
    } catch (const std::runtime_error&) { // the bus isn't there yet
        return false;
    }
}

} // namespace

BusBreaker::BusBreaker(PrivateBus& bus, BusTimes& times, std::chrono::milliseconds interval,
                       unsigned seed)
    : m_bus(bus), m_times(times), m_interval(interval), m_random(seed) {
    SetNext();
}

void BusBreaker::Look() {
    if (Clock::now() < m_next) {
        return;
    }
    m_times.Change();
    m_bus.Kill();
    m_bus.Start();
    const auto begin = Clock::now();
    EXPECT_TRUE(WaitUntil(IsDaemonThere)) << "the daemon doesn't come back to the bus";
    m_times.Change();
    ++m_kills;
    m_longest = std::max(
        m_longest, std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin));
    SetNext();
}

// From half of the interval to half as much again.
void BusBreaker::SetNext() {
    std::uniform_int_distribution<std::chrono::milliseconds::rep> wait(m_interval.count() / 2,
                                                                       m_interval.count() * 3 / 2);
    m_next = Clock::now() + std::chrono::milliseconds(wait(m_random));
}
