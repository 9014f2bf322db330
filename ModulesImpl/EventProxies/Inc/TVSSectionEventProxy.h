// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>

#include "IListenable.h"
#include "Mutex.h"
#include "TCSectionCriteriaHelper.h"

class ISectionSubscriber;

namespace marrow::evt {

/// What a listener gets: one table section.
struct tvs_section_event_arg_t {
    bool flag;           ///< the platform's, as it came
    unsigned short size; ///< in bytes; the platform's word, also where there is no data
    std::shared_ptr<unsigned char> data; ///< an array; null where the platform gave no bytes
    int subscriber_id;
};

/// The table sections of the TV service library: each to the one listener that asked for it, on the
/// worker that the listener names. What matches is the platform's affair.
///
/// Any thread; sections come on the library's thread. m_mutex guards the table and the next id. It
/// is held while the platform is asked, and not while a section is delivered: an Unsubscribe may
/// come in between, and its listener then gets one more section after Unsubscribe has returned.
class TVSSectionEventProxy : public IListenable<tvs_section_event_arg_t> {
public:
    /// The process's one. It has the platform's subscriber made at once.
    static TVSSectionEventProxy& Get();

    /// Returns the platform's subscriber, with whatever filters it has.
    ~TVSSectionEventProxy() override;

    /// Starts a filter. `id` names it from now on, here and in the events; a listener, which isn't
    /// looked at, may have many. False, and `id` is -1, where the platform refuses.
    virtual bool Subscribe(TCSectionCriteriaHelper const& criteria, IListener* listener, int& id);

    /// Stops it. False where there is none, and where the platform refuses: it goes on then, and
    /// may be stopped again.
    virtual bool Unsubscribe(int id);

    /// For Subscribe: the id that is free. It isn't taken by being told, so that a refused one
    /// comes again, and so does the highest one after its end. A lower one never does.
    int GetNextSubscriberId() REQUIRES(m_mutex);

    /// What the platform calls, only for ids that are subscribed: any other takes the process down.
    static void SectionCallback(bool flag, unsigned short size, unsigned char* data, int id);

private:
    TVSSectionEventProxy();

    struct tvs_section_subscriber_t {
        int handle;          // the platform's name of the filter
        IListener* listener; // not owned
    };

    // The platform's; the same from construction to destruction. Nobody looks whether it is there.
    ISectionSubscriber* m_subscriber = nullptr;
    int m_next_id GUARDED_BY(m_mutex) = 0;
    std::map<int, tvs_section_subscriber_t> m_subscribers GUARDED_BY(m_mutex);
    base::Mutex m_mutex;
};

} // namespace marrow::evt
