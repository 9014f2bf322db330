// SPDX-License-Identifier: Apache-2.0
#include "Television.h"

#include <chrono>
#include <utility>

#include "WorkerFactory.h"

namespace hearthd::testing {

using marrow::base::MutexLock;
using tvservice::Section;
using tvservice::SectionMatcher;

namespace {

constexpr unsigned short LAST_PID = 0x1FFF;
constexpr std::chrono::milliseconds CALLBACK_LIMIT{20}; // as ISectionSubscriber has it

} // namespace

bool Television::ProgramWish::Wants(EProgramChangeType change, const TCProgramData& program) const {
    if (kind != Kind::CHANGES && change == PROGRAM_LIST_END) {
        return type != SUBSCRIBE_CHANGES && !hasEnded; // of no program
    }
    if (!MatchesServiceKey(filter.Service(), program.ServiceKey())) {
        return false;
    }
    if (kind != Kind::CHANGES) {
        return WantsOfList(change, program.event);
    }
    return change <= PROGRAM_FOLLOWING_CHANGED && filter.Wants(change) &&
           (program.free_to_air || !filter.FreeToAirOnly());
}

bool Television::ProgramWish::WantsOfList(EProgramChangeType change,
                                          const TSProgramEvent& event) const {
    if (kind == Kind::SCHEDULE && !event.IsOnAir(first, second)) {
        return false;
    }
    if (change == PROGRAM_LISTED) {
        return type != SUBSCRIBE_CHANGES && !hasEnded;
    }
    const bool isChange = kind == Kind::SCHEDULE ? change == PROGRAM_SCHEDULE_CHANGED
                                                 : change == PROGRAM_PRESENT_CHANGED ||
                                                       change == PROGRAM_FOLLOWING_CHANGED;
    return isChange && type != SUBSCRIBE_ONCE;
}

Television& Television::Get() {
    static auto* const television = new Television;
    return *television;
}

Television::Television() : m_thread(marrow::ser::WorkerFactory::Get().GetWorker("tv-stream")) {}

void Television::SetCallback(SignalCallback callback) {
    const MutexLock lock(m_mutex);
    m_signalCallback = callback;
}

void Television::SetCallback(SectionCallback callback) {
    const MutexLock lock(m_mutex);
    m_sectionCallback = callback;
}

void Television::SetCallback(ProgramCallback callback) {
    const MutexLock lock(m_mutex);
    m_programCallback = callback;
}

int Television::SubscribeSignal(ESignalType signal, EProfile profile, unsigned short screen,
                                void* user) {
    const MutexLock lock(m_mutex);
    m_signals[{signal, profile, screen}] = user;
    return 1;
}

int Television::UnsubscribeSignal(ESignalType signal, EProfile profile, unsigned short screen) {
    const MutexLock lock(m_mutex);
    return static_cast<int>(m_signals.erase({signal, profile, screen}));
}

int Television::SubscribeSection(int id, const TCSectionCriteriaHelper& criteria, int& handle) {
    if (criteria.Pid() > LAST_PID) {
        return 0;
    }
    const MutexLock lock(m_mutex);
    handle = ++m_lastId;
    m_filters.insert({handle, {id, criteria.Pid(), SectionMatcher(criteria)}});
    return 1;
}

int Television::ChangeSection(int handle, const TCSectionCriteriaHelper& criteria) {
    const MutexLock lock(m_mutex);
    const auto found = m_filters.find(handle);
    if (found == m_filters.end() || criteria.Pid() > LAST_PID) {
        return 0;
    }
    const int id = found->second.id;
    m_filters.erase(found);
    m_filters.insert({handle, {id, criteria.Pid(), SectionMatcher(criteria)}});
    return 1;
}

int Television::UnsubscribeSection(int handle) {
    const auto deadline = std::chrono::steady_clock::now() + CALLBACK_LIMIT;
    const MutexLock lock(m_mutex);
    while (m_filterInCallback == handle) {
        if (!m_sectionEnded.WaitUntil(m_mutex, deadline) && m_filterInCallback == handle) {
            return 0;
        }
    }
    return static_cast<int>(m_filters.erase(handle));
}

int Television::SubscribeProgram(const ProgramWish& wish, int& id) {
    const MutexLock lock(m_mutex);
    id = ++m_lastId;
    m_wishes[id] = wish;
    return 1;
}

int Television::UnsubscribeProgram(int id) {
    const MutexLock lock(m_mutex);
    return static_cast<int>(m_wishes.erase(id));
}

int Television::SubscribeCaptions(IDataSubscriber::Callback callback, void* user, int& id) {
    const MutexLock lock(m_mutex);
    id = ++m_lastId;
    m_captions[id] = {callback, user};
    return 1;
}

int Television::UnsubscribeCaptions(int id) {
    const MutexLock lock(m_mutex);
    return static_cast<int>(m_captions.erase(id));
}

int Television::SubscribePes(IPESDataSubscriber::Callback callback, void* user, int& id) {
    const MutexLock lock(m_mutex);
    id = ++m_lastId;
    m_packets[id] = {callback, user};
    return 1;
}

int Television::SelectPes(int id, unsigned short pid) {
    const MutexLock lock(m_mutex);
    const auto found = m_packets.find(id);
    if (found == m_packets.end() || pid > LAST_PID) {
        return 0;
    }
    found->second.pid = pid;
    return 1;
}

int Television::UnsubscribePes(int id) {
    const MutexLock lock(m_mutex);
    return static_cast<int>(m_packets.erase(id));
}

bool Television::SendSignal(ESignalType signal, EProfile profile, unsigned short screen,
                            TSSignalData data) {
    SignalCallback callback = nullptr;
    void* user = nullptr;
    {
        const MutexLock lock(m_mutex);
        const auto found = m_signals.find({signal, profile, screen});
        if (found == m_signals.end()) {
            return false;
        }
        callback = m_signalCallback;
        user = found->second;
    }
    callback(signal, profile, screen, data, user);
    return true;
}

// A filter that is stopped while another one's callback runs gets nothing any more; one whose
// callback is about to run can't be stopped until it has.
int Television::SendSection(unsigned short pid, std::vector<unsigned char> bytes) {
    const tvservice::Bytes whole(bytes.data(), bytes.size());
    if (bytes.size() < Section::START_BYTES || Section::LengthOf(whole) != bytes.size()) {
        return 0;
    }
    const Section section(whole);
    int count = 0;
    for (const auto& [handle, id] : MatchingFilters(pid, section)) {
        if (const SectionCallback callback = BeginSection(handle)) {
            callback(section.IsIntact(), static_cast<unsigned short>(bytes.size()), bytes.data(),
                     id);
            EndSection();
            ++count;
        }
    }
    return count;
}

std::vector<std::pair<int, int>> Television::MatchingFilters(unsigned short pid,
                                                             const Section& section) {
    const MutexLock lock(m_mutex);
    std::vector<std::pair<int, int>> matching;
    for (auto& [handle, filter] : m_filters) {
        if (filter.pid == pid && filter.matcher.Matches(section)) {
            matching.emplace_back(handle, filter.id);
        }
    }
    return matching;
}

Television::SectionCallback Television::BeginSection(int handle) {
    const MutexLock lock(m_mutex);
    if (!m_filters.contains(handle)) {
        return nullptr;
    }
    m_filterInCallback = handle;
    return m_sectionCallback;
}

void Television::EndSection() {
    const MutexLock lock(m_mutex);
    m_filterInCallback = 0;
    m_sectionEnded.NotifyAll();
}

int Television::SendProgram(EProgramChangeType type, const TCProgramData& program) {
    ProgramCallback callback = nullptr;
    std::vector<std::pair<int, int>> wanting; // param and id
    {
        const MutexLock lock(m_mutex);
        callback = m_programCallback;
        for (auto& [id, wish] : m_wishes) {
            if (wish.Wants(type, program)) {
                wanting.emplace_back(wish.param, id);
                wish.hasEnded = wish.hasEnded || type == PROGRAM_LIST_END;
            }
        }
    }
    TCProgramData copy = program;
    for (const auto& [param, id] : wanting) {
        callback(type, &copy, param, id);
    }
    return static_cast<int>(wanting.size());
}

bool Television::SendCaption(const TSCaption& caption) {
    std::map<int, Delivery<IDataSubscriber::Callback>> deliveries;
    {
        const MutexLock lock(m_mutex);
        deliveries = m_captions;
    }
    TSCaption copy = caption;
    for (const auto& [id, delivery] : deliveries) {
        delivery.callback(copy, delivery.user);
    }
    return !deliveries.empty();
}

bool Television::SendPes(const TSPESData& packet) {
    std::map<int, Delivery<IPESDataSubscriber::Callback>> deliveries;
    {
        const MutexLock lock(m_mutex);
        deliveries = m_packets;
    }
    std::erase_if(deliveries, [&](const auto& entry) {
        return entry.second.pid >= 0 && entry.second.pid != packet.short_b;
    });
    TSPESData copy = packet;
    copy.profile = PROFILE_MAIN;
    copy.screen = 0;
    for (const auto& [id, delivery] : deliveries) {
        copy.subscription = id;
        delivery.callback(copy, delivery.user);
    }
    return !deliveries.empty();
}

} // namespace hearthd::testing
