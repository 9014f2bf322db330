// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "BlockedThread.h"
#include "IListenable.h"
#include "WorkerFactory.h"
#include "WorkerTools.h"

/// A listener that keeps what it gets, on a worker of its own.
template <typename T>
class RecordingListener final : public marrow::evt::IListenable<T>::IListener {
public:
    explicit RecordingListener(const std::string& name)
        : m_worker(marrow::ser::WorkerFactory::Get().GetWorker(name)) {}
    ~RecordingListener() { RunOn(m_worker); } // what is queued still needs it
    RecordingListener(const RecordingListener&) = delete;
    RecordingListener& operator=(const RecordingListener&) = delete;

    std::shared_ptr<marrow::ser::Worker> GetWorker() override {
        asked.push_back(ThisThread());
        onAsked();
        return m_worker;
    }
    void OnEvent(T event) override {
        m_threads.push_back(ThreadName());
        m_events.push_back(event);
        onEvent();
    }

    /// What has been delivered, once what is queued has been; more may be under way.
    std::vector<T> EventsSoFar() {
        const auto events = std::make_shared<std::vector<T>>();
        EXPECT_TRUE(RunOn(m_worker, [this, events] { *events = m_events; }));
        return *events;
    }
    std::size_t Count() { return EventsSoFar().size(); }
    /// Once what is queued has been delivered, and where no more are under way.
    std::vector<T>& Events() {
        EXPECT_TRUE(RunOn(m_worker));
        return m_events;
    }
    /// The names of the threads on which that was.
    std::vector<std::string>& Threads() {
        EXPECT_TRUE(RunOn(m_worker));
        return m_threads;
    }

    std::vector<pid_t> asked; ///< on which threads it was asked for its worker
    std::function<void()> onAsked = [] {};
    std::function<void()> onEvent = [] {};

private:
    const std::shared_ptr<marrow::ser::Worker> m_worker;
    std::vector<T> m_events;
    std::vector<std::string> m_threads;
};
