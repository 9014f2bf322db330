// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>
#include <tuple>
#include <utility>
#include <vector>

#include "Mutex.h"
#include "SectionMatcher.h"
#include "TVServiceAPI.h"
#include "Worker.h"

namespace hearthd::testing {

/// What the daemon has subscribed to with the TV service library, and the library's thread, on
/// which the test's events come. The subscribing half is called on any thread, the Send half on
/// that thread alone; m_mutex guards everything, and no callback runs under it: the daemon holds
/// locks of its own while it subscribes, which a callback wants.
class Television {
public:
    using SignalCallback = int (*)(ESignalType, EProfile, unsigned short, TSSignalData, void*);
    using SectionCallback = void (*)(bool, unsigned short, unsigned char*, int);
    using ProgramCallback = void (*)(EProgramChangeType, TCProgramData*, int, int);

    /// What a subscription of programs is for.
    struct ProgramWish {
        enum class Kind { CHANGES, PRESENT_FOLLOWING, SCHEDULE };

        Kind kind = Kind::CHANGES;
        TCProgramFilteringItem filter;        // of CHANGES; of the others its service alone
        ESubscribeType type = SUBSCRIBE_BOTH; // of a list, as what follows
        int param = 0;
        unsigned int first = 0; // of SCHEDULE
        unsigned int second = 0;
        bool hasEnded = false; // a list that was wanted once has been told

        bool Wants(EProgramChangeType change, const TCProgramData& program) const;

    private:
        bool WantsOfList(EProgramChangeType change, const TSProgramEvent& event) const;
    };

    /// Never destroyed: the proxies return their subscribers when the process ends.
    static Television& Get();
    marrow::ser::Worker& Thread() { return *m_thread; }

    // --- for the library's functions: 1 or 0, as they return it ---
    void SetCallback(SignalCallback callback);
    void SetCallback(SectionCallback callback);
    void SetCallback(ProgramCallback callback);
    int SubscribeSignal(ESignalType signal, EProfile profile, unsigned short screen, void* user);
    int UnsubscribeSignal(ESignalType signal, EProfile profile, unsigned short screen);
    int SubscribeSection(int id, const TCSectionCriteriaHelper& criteria, int& handle);
    int ChangeSection(int handle, const TCSectionCriteriaHelper& criteria);
    int UnsubscribeSection(int handle);
    int SubscribeProgram(const ProgramWish& wish, int& id);
    int UnsubscribeProgram(int id);
    int SubscribeCaptions(IDataSubscriber::Callback callback, void* user, int& id);
    int UnsubscribeCaptions(int id);
    int SubscribePes(IPESDataSubscriber::Callback callback, void* user, int& id);
    int SelectPes(int id, unsigned short pid);
    int UnsubscribePes(int id);

    // --- on the library's thread ---
    bool SendSignal(ESignalType signal, EProfile profile, unsigned short screen, TSSignalData data);
    int SendSection(unsigned short pid, std::vector<unsigned char> bytes);
    int SendProgram(EProgramChangeType type, const TCProgramData& program);
    bool SendCaption(const TSCaption& caption);
    bool SendPes(const TSPESData& packet);

private:
    using SignalKey = std::tuple<ESignalType, EProfile, unsigned short>;
    template <typename Callback>
    struct Delivery {
        Callback callback = nullptr;
        void* user = nullptr;
        int pid = -1; // of PES packets: every one
    };
    struct Filter {
        int id = 0;
        unsigned short pid = 0;
        tvservice::SectionMatcher matcher;
    };

    Television();
    // The handle and the id of each.
    std::vector<std::pair<int, int>> MatchingFilters(unsigned short pid,
                                                     const tvservice::Section& section);
    // Null where there is no such filter any more.
    SectionCallback BeginSection(int handle);
    void EndSection();

    const std::shared_ptr<marrow::ser::Worker> m_thread;
    marrow::base::Mutex m_mutex;
    marrow::base::Condition m_sectionEnded;
    SignalCallback m_signalCallback GUARDED_BY(m_mutex) = nullptr;
    SectionCallback m_sectionCallback GUARDED_BY(m_mutex) = nullptr;
    ProgramCallback m_programCallback GUARDED_BY(m_mutex) = nullptr;
    std::map<SignalKey, void*> m_signals GUARDED_BY(m_mutex);
    std::map<int, Filter> m_filters GUARDED_BY(m_mutex);
    int m_filterInCallback GUARDED_BY(m_mutex) = 0; // 0: none
    std::map<int, ProgramWish> m_wishes GUARDED_BY(m_mutex);
    std::map<int, Delivery<IDataSubscriber::Callback>> m_captions GUARDED_BY(m_mutex);
    std::map<int, Delivery<IPESDataSubscriber::Callback>> m_packets GUARDED_BY(m_mutex);
    int m_lastId GUARDED_BY(m_mutex) = 0; // of all ids and handles
};

} // namespace hearthd::testing
