// SPDX-License-Identifier: Apache-2.0
#include "BusActor.h"

#include <stdexcept>

void BusActor::Act() {
    if (!m_times.IsThere()) {
        m_client.reset();
        Rest(std::chrono::milliseconds(5));
        return;
    }
    try {
        if (!m_client || IsBusLost()) {
            Connect();
        }
        Use(*m_client);
    } catch (const std::runtime_error& error) {
        m_client.reset();
        if (!IsBusLost()) {
            Fail(error.what());
        }
    }
}

void BusActor::Connect() {
    m_connected = m_times.Now();
    m_client.emplace();
    OnConnect(*m_client);
}
