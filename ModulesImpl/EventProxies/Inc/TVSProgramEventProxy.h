// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>

#include "IListenable.h"
#include "IProgramSubscriber.h"
#include "Mutex.h"
#include "TCProgramData.h"
#include "TCProgramFilteringItem.h"

namespace marrow::evt {

/// What a listener gets: a change of one program.
struct tvs_program_event_arg_t {
    EProgramChangeType change_type;
    std::shared_ptr<TCProgramData> program; ///< a copy; never null
    int param;                              ///< the platform's, as it came
    int subscriber_id;
};

/// The program data of the TV service library: each change to the one listener that asked for it,
/// on the worker that the listener names. The ids are the platform's.
///
/// Any thread; changes come on the library's thread. m_mutex guards the table, and is held while
/// the platform is asked and while a change is delivered: a platform that called back from within a
/// subscribe call would wait for ever.
class TVSProgramEventProxy : public IListenable<tvs_program_event_arg_t> {
public:
    /// The process's one. It has the platform's subscriber made at once.
    static TVSProgramEventProxy& Get();

    /// Returns the platform's subscriber, with whatever subscriptions it has.
    ~TVSProgramEventProxy() override;

    // Each of these writes the subscription's id. False, and `id` is -1, where the platform
    // refuses. The listener isn't looked at, and may have many subscriptions. An id that the
    // platform gives twice belongs to the later listener.

    bool Subscribe(IListener* listener, TCProgramFilteringItem const& filter, int& id);
    bool SubscribeListPF(IListener* listener, unsigned long long const& list, ESubscribeType type,
                         int param, int& id);
    bool SubscribeList(IListener* listener, unsigned long long const& list, unsigned int first,
                       unsigned int second, ESubscribeType type, int param, int& id);

    /// Nothing is queued for this id any more; what was queued before still comes. The platform
    /// isn't told and goes on, and its callbacks find nobody.
    void Unsubscribe(int id);

    /// What the platform calls; `data` is never null. An unknown id is nobody's.
    static void ProgramCallback(EProgramChangeType type, TCProgramData* data, int param, int id);

private:
    TVSProgramEventProxy();

    /// For the subscribing operations: what becomes of the platform's answer.
    bool Keep(int result, IListener* listener, int& id) REQUIRES(m_mutex);

    // The platform's; the same from construction to destruction. Nobody looks whether it is there.
    IProgramSubscriber* m_subscriber = nullptr;
    std::map<int, IListener*> m_subscribers GUARDED_BY(m_mutex); // listeners aren't owned
    base::Mutex m_mutex;
};

} // namespace marrow::evt
