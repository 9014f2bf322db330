// SPDX-License-Identifier: Apache-2.0

// The cost of NotifyAll for each listener, at growing numbers of listeners, beside the cost of
// making one std::function of the same size on the heap. All listeners share one worker, which is
// let through between the rounds only, so that what is measured is the notifying thread alone.

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "Job.h"
#include "Measuring.h"
#include "SubscriptionManagerImpl.h"
#include "TVSEvent.h"
#include "Worker.h"
#include "WorkerFactory.h"

namespace {

using Clock = std::chrono::steady_clock;
using marrow::evt::tvs_event_args_t;
using marrow::evt::tvs_event_t;
using marrow::ser::Worker;
using Manager = marrow::evt::SubscriptionManager<tvs_event_t, tvs_event_args_t>;

constexpr tvs_event_t KEY{PROFILE_MAIN, 0, SIGNAL_TIME};
constexpr unsigned DELIVERIES = 100000; // in a round

class Listener final : public Manager::IListener {
public:
    explicit Listener(std::shared_ptr<Worker> worker) : m_worker(std::move(worker)) {}
    std::shared_ptr<Worker> GetWorker() override { return m_worker; }
    void OnEvent(tvs_event_args_t /*event*/) override { ++received; }

    unsigned received = 0;

private:
    const std::shared_ptr<Worker> m_worker;
};

void Queue(Worker& worker, const std::function<void()>& work) {
    auto* job = new marrow::ser::Job(work); // the worker's from here on
    worker.Do(job);
}

// Holds the worker up until it is opened.
class Barrier {
public:
    explicit Barrier(Worker& worker) {
        Queue(worker, [this] {
            std::unique_lock lock(m_mutex);
            m_isReached = true;
            m_changed.notify_all();
            m_changed.wait(lock, [this] { return m_isOpen; });
        });
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_isReached; });
    }
    // Until the worker has done everything that was queued.
    void OpenAndDrain(Worker& worker) {
        {
            const std::scoped_lock lock(m_mutex);
            m_isOpen = true;
            m_changed.notify_all();
        }
        std::mutex mutex;
        std::condition_variable done;
        bool isDone = false;
        Queue(worker, [&] {
            const std::scoped_lock lock(mutex);
            isDone = true;
            done.notify_all();
        });
        std::unique_lock lock(mutex);
        done.wait(lock, [&] { return isDone; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_isReached = false;
    bool m_isOpen = false;
};

double NanosecondsPer(Clock::duration taken, unsigned count) {
    return std::chrono::duration<double, std::nano>(taken).count() / count;
}

double Deliveries(Manager& manager, Worker& worker, unsigned listeners) {
    tvs_event_args_t args{KEY, {1, 2}};
    Barrier barrier(worker);
    const unsigned events = std::max(1U, DELIVERIES / listeners);
    const Clock::time_point begin = Clock::now();
    for (unsigned event = 0; event < events; ++event) {
        manager.NotifyAll(KEY, args);
    }
    const Clock::duration taken = Clock::now() - begin;
    barrier.OpenAndDrain(worker);
    return NanosecondsPer(taken, events * listeners);
}

double Functions() {
    std::vector<std::unique_ptr<std::function<void()>>> functions(DELIVERIES);
    tvs_event_args_t args{KEY, {1, 2}};
    const Clock::time_point begin = Clock::now();
    for (auto& function : functions) {
        function = std::make_unique<std::function<void()>>(
            [pointer = &args, args] { pointer->data = args.data; });
    }
    return NanosecondsPer(Clock::now() - begin, DELIVERIES);
}

} // namespace

int main(int argc, char** argv) {
    const unsigned rounds = argc > 1 ? static_cast<unsigned>(std::max(1, std::atoi(argv[1]))) : 9;
    const std::shared_ptr<Worker> worker = marrow::ser::WorkerFactory::Get().GetWorker("bench");
    const std::vector<unsigned> counts{1, 10, 100, 1000};
    std::vector<std::vector<double>> costs(counts.size());
    std::vector<double> functions;
    std::vector<std::unique_ptr<Listener>> listeners;
    for (unsigned number = 0; number < counts.back(); ++number) {
        listeners.push_back(std::make_unique<Listener>(worker));
    }
    // Interleaved, so that a noisy minute meets them all.
    for (unsigned round = 0; round < rounds; ++round) {
        functions.push_back(Functions());
        for (std::size_t at = 0; at < counts.size(); ++at) {
            Manager manager;
            for (unsigned number = 0; number < counts[at]; ++number) {
                manager.Subscribe(KEY, listeners[number].get());
            }
            costs[at].push_back(Deliveries(manager, *worker, counts[at]));
        }
    }
    std::printf("new std::function: %.0f ns\n", MedianOf(functions));
    for (std::size_t at = 0; at < counts.size(); ++at) {
        std::printf("%4u listeners: %.0f ns for each listener and event, %.1f times a function\n",
                    counts[at], MedianOf(costs[at]), MedianOf(costs[at]) / MedianOf(functions));
    }
    return 0;
}
