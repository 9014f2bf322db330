// SPDX-License-Identifier: Apache-2.0
#include "Actor.h"

#include <exception>
#include <gtest/gtest.h>

namespace {

constexpr int MOST_SHOWN = 10;

} // namespace

void Actor::Start() {
    m_stopping = false;
    m_thread = std::thread([this] { Run(); });
}

void Actor::Stop() {
    if (!m_thread.joinable()) {
        return;
    }
    {
        const std::scoped_lock lock(m_mutex);
        m_stopping = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void Actor::Rest(std::chrono::milliseconds time) {
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, time, [this] { return m_stopping; });
}

bool Actor::IsStopping() {
    const std::scoped_lock lock(m_mutex);
    return m_stopping;
}

void Actor::Fail(const std::string& what) {
    if (++m_failures <= MOST_SHOWN) {
        ADD_FAILURE() << m_name << ": " << what;
    }
}

void Actor::Run() {
    while (!IsStopping()) {
        try {
            Act();
        } catch (const std::exception& error) {
            Fail(error.what());
            Rest(std::chrono::seconds(1));
        }
    }
}
