// SPDX-License-Identifier: Apache-2.0
#include "CallThreads.h"

#include <pthread.h>
#include <utility>

namespace hearthd {

using marrow::base::MutexLock;

void CallThreads::Run(Work work) {
    const MutexLock lock(m_mutex);
    if (m_waiting.size() >= m_idle) {
        m_threads.emplace_back([this] { Serve(); });
        ++m_idle;
    }
    m_waiting.push_back(std::move(work));
    m_changed.NotifyOne();
}

void CallThreads::End() {
    std::vector<std::thread> threads;
    {
        const MutexLock lock(m_mutex);
        m_ending = true;
        threads.swap(m_threads);
    }
    m_changed.NotifyAll();
    for (std::thread& thread : threads) {
        thread.join();
    }
}

void CallThreads::Serve() {
    pthread_setname_np(pthread_self(), "hearthd-call");
    while (const Work work = Next()) {
        work();
        const MutexLock lock(m_mutex);
        ++m_idle;
    }
}

// Empty where nothing is left and nothing comes any more.
CallThreads::Work CallThreads::Next() {
    const MutexLock lock(m_mutex);
    while (m_waiting.empty() && !m_ending) {
        m_changed.Wait(m_mutex);
    }
    if (m_waiting.empty()) {
        return {};
    }
    --m_idle;
    Work work = std::move(m_waiting.front());
    m_waiting.pop_front();
    return work;
}

} // namespace hearthd
