// SPDX-License-Identifier: Apache-2.0
#include "SectionDelivery.h"

namespace tvservice {

// The filters of one PID, each asked about each section.
class SectionDelivery::Pid final : public SectionSink {
public:
    explicit Pid(SectionSubscriber::Callback callback) : m_callback(callback) {}

    void OnSection(const Section& section) override {
        const Bytes bytes = section.Whole();
        auto* data = const_cast<unsigned char*>(bytes.data()); // the callback's type; it reads
        for (const std::shared_ptr<SectionFilter>& filter : filters) {
            if (!filter->matcher.Matches(section)) {
                continue;
            }
            filter->gate.Pass([&, id = filter->id] {
                m_callback(section.IsIntact(), static_cast<unsigned short>(bytes.size()), data, id);
            });
        }
    }

    std::vector<std::shared_ptr<SectionFilter>> filters;

private:
    const SectionSubscriber::Callback m_callback;
};

SectionDelivery::SectionDelivery(SectionRouter& router,
                                 std::shared_ptr<SectionSubscriber> subscriber)
    : m_router(router), m_subscriber(std::move(subscriber)) {}

SectionDelivery::~SectionDelivery() {
    for (const auto& [number, pid] : m_pids) {
        m_router.Remove(number, *pid);
    }
}

void SectionDelivery::Sync() {
    if (!m_subscriber->Filters().Take(m_filters)) {
        return;
    }
    for (const auto& [number, pid] : m_pids) {
        pid->filters.clear();
    }
    for (const auto& [handle, filter] : m_filters) {
        std::unique_ptr<Pid>& pid = m_pids[filter->pid];
        if (!pid) {
            pid = std::make_unique<Pid>(m_subscriber->GetCallback());
            m_router.Add(filter->pid, *pid);
        }
        pid->filters.push_back(filter);
    }
    std::erase_if(m_pids, [this](const auto& entry) {
        const bool isUnused = entry.second->filters.empty();
        if (isUnused) {
            m_router.Remove(entry.first, *entry.second);
        }
        return isUnused;
    });
}

} // namespace tvservice
