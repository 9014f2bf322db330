// SPDX-License-Identifier: Apache-2.0
#include "TVServiceAPI.h"

#include <memory>
#include <system_error>
#include <utility>
#include <vector>

#include "ServiceLog.h"
#include "TVService.h"

namespace {

using marrow::base::Mutex;
using marrow::base::MutexLock;
using tvservice::ScreenKey;
using tvservice::Subscribers;
using tvservice::TVService;
using tvservice::WakeEvent;

/// What exists in this process. Any thread.
class Process {
public:
    /// Makes a subscriber where there is none of its kind, and stores it.
    template <typename Interface, typename Kind, typename... Arguments>
    int Create(std::shared_ptr<Kind> Subscribers::*kind, Interface** subscriber,
               Arguments... arguments) {
        const MutexLock lock(m_mutex);
        ForgetEnded();
        std::shared_ptr<Kind>& entry = m_subscribers.*kind;
        if (!entry) {
            try {
                if (!m_service) {
                    m_wake = std::make_shared<WakeEvent>();
                    m_service = std::make_unique<TVService>(m_wake);
                }
            } catch (const std::system_error& error) {
                TVSERVICE_LOG(DLOG_ERROR, "the thread of the stream cannot be started: %s",
                              error.what());
                return 0;
            }
            // A subscriber may live a little longer than the thread.
            entry = std::make_shared<Kind>(arguments..., [wake = m_wake] { wake->Wake(); });
            m_service->SetSubscribers(m_subscribers);
        }
        *subscriber = entry.get();
        return 1;
    }

    template <typename Kind>
    void Destroy(std::shared_ptr<Kind> Subscribers::*kind) {
        // Both end without the lock: a callback that is under way may want it.
        std::unique_ptr<TVService> ended;
        std::shared_ptr<Kind> subscriber;
        {
            const MutexLock lock(m_mutex);
            ForgetEnded();
            subscriber = std::exchange(m_subscribers.*kind, nullptr);
            if (!subscriber) {
                return;
            }
            m_service->SetSubscribers(m_subscribers);
            if (m_subscribers.AreNone()) {
                m_service->End();
                if (m_service->IsOwnThread()) { // a callback cannot wait for its own thread
                    m_ending.push_back(std::move(m_service));
                } else {
                    ended = std::move(m_service);
                }
            }
        }
        subscriber->Close();
    }

private:
    // Those whose threads have ended: nobody waits here.
    void ForgetEnded() REQUIRES(m_mutex) {
        std::erase_if(m_ending, [](const std::unique_ptr<TVService>& service) {
            return service->HasEnded();
        });
    }

    Mutex m_mutex;
    Subscribers m_subscribers GUARDED_BY(m_mutex);
    std::shared_ptr<WakeEvent> m_wake GUARDED_BY(m_mutex);
    std::unique_ptr<TVService> m_service GUARDED_BY(m_mutex);
    // Their threads end by themselves, or have ended.
    std::vector<std::unique_ptr<TVService>> m_ending GUARDED_BY(m_mutex);
};

Process& TheProcess() {
    static Process* const process = new Process; // nobody's last call comes after its end
    return *process;
}

} // namespace

namespace TVServiceAPI {

int CreateSignalSubscriber(int (*callback)(ESignalType, EProfile, unsigned short, TSSignalData,
                                           void*),
                           ISignalSubscriber** subscriber) {
    if (callback == nullptr || subscriber == nullptr) {
        return 0;
    }
    return TheProcess().Create(&Subscribers::signals, subscriber, callback);
}

void DestroySignalSubscriber() {
    TheProcess().Destroy(&Subscribers::signals);
}

int CreateSectionSubscriber(void (*callback)(bool, unsigned short, unsigned char*, int),
                            EProfile /*profile*/, int /*screen*/, ISectionSubscriber** subscriber) {
    if (callback == nullptr || subscriber == nullptr) {
        return 0;
    }
    return TheProcess().Create(&Subscribers::sections, subscriber, callback); // of the one stream
}

void DestroySectionSubscriber() {
    TheProcess().Destroy(&Subscribers::sections);
}

int CreateProgramSubscriber(void (*callback)(EProgramChangeType, TCProgramData*, int, int),
                            IProgramSubscriber** subscriber) {
    if (callback == nullptr || subscriber == nullptr) {
        return 0;
    }
    return TheProcess().Create(&Subscribers::programs, subscriber, callback);
}

void DestroyProgramSubscriber() {
    TheProcess().Destroy(&Subscribers::programs);
}

int CreateDataSubscriber(EProfile profile, int screen, IDataSubscriber** subscriber) {
    if (subscriber == nullptr) {
        return 0;
    }
    return TheProcess().Create(&Subscribers::data, subscriber, ScreenKey{profile, screen});
}

void DestroyDataSubscriber() {
    TheProcess().Destroy(&Subscribers::data);
}

int CreatePESDataSubscriber(EProfile profile, int screen, IPESDataSubscriber** subscriber) {
    if (subscriber == nullptr) {
        return 0;
    }
    return TheProcess().Create(&Subscribers::pes, subscriber, ScreenKey{profile, screen});
}

void DestroyPESDataSubscriber() {
    TheProcess().Destroy(&Subscribers::pes);
}

} // namespace TVServiceAPI
