#pragma once

#include <functional>
#include <memory>
#include <utility>

#include <hearthd/Worker.h>
#include <json/value.h>

/// What the service's listeners have in common: a worker, on which their events come, and somebody
/// who takes them. The worker is the service's own, on which nothing else runs at the same time.
template <typename Proxy>
class Listener : protected Proxy::IListener {
public:
    using Sink = std::function<void(const Json::Value&)>;

    Listener(std::shared_ptr<marrow::ser::Worker> worker, Sink sink)
        : m_sink(std::move(sink)), m_worker(std::move(worker)) {}

protected:
    ~Listener() = default;

    const Sink m_sink;

private:
    // On the source's thread, with its lock held.
    std::shared_ptr<marrow::ser::Worker> GetWorker() override { return m_worker; }

    const std::shared_ptr<marrow::ser::Worker> m_worker;
};
