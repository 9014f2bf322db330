// SPDX-License-Identifier: Apache-2.0
#include "HostedService.h"

#include <algorithm>
#include <deque>
#include <utility>

#include "Bus.h"
#include "GivenServices.h"
#include "Host.h"
#include "Mutex.h"
#include "Post.h"

using marrow::base::MutexLock;
using marrow::mgr::IServiceControl;

namespace hearthd::testing {

/// Keeps what is published, from construction on. Whoever publishes comes here on his own thread;
/// m_mutex guards the messages.
class HostedService::Mailbox {
public:
    Mailbox() { Bus::Get().Listen(&m_listener); }
    ~Mailbox() { Bus::Get().Leave(&m_listener); }
    Mailbox(const Mailbox&) = delete;
    Mailbox& operator=(const Mailbox&) = delete;

    std::optional<Notification> Wait(const std::string& subject, std::chrono::milliseconds limit) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        const MutexLock lock(m_mutex);
        for (bool isInTime = true;; isInTime = m_came.WaitUntil(m_mutex, deadline)) {
            const auto found =
                std::find_if(m_kept.begin(), m_kept.end(), [&](const Notification& notification) {
                    return notification.subject == subject;
                });
            if (found != m_kept.end()) {
                Notification first = std::move(*found);
                m_kept.erase(found);
                return first;
            }
            if (!isInTime) {
                return std::nullopt;
            }
        }
    }

    std::vector<Notification> Take() {
        const MutexLock lock(m_mutex);
        std::vector<Notification> all(m_kept.begin(), m_kept.end());
        m_kept.clear();
        return all;
    }

private:
    void Keep(const Quill::TCMessage& message) {
        const MutexLock lock(m_mutex);
        m_kept.push_back({message.subject, message.payload});
        m_came.NotifyAll();
    }

    const Bus::Listener m_listener = [this](const Quill::TCMessage& message) { Keep(message); };
    marrow::base::Mutex m_mutex;
    marrow::base::Condition m_came;
    std::deque<Notification> m_kept GUARDED_BY(m_mutex);
};

namespace {

IServiceControl* Declare(const std::string& name, const std::string& libraryPath) {
    marrow::ser::service_info_t info;
    info.service_name = name;
    info.lib_path = libraryPath;
    info.launch_type = marrow::ser::LaunchType::LAZY;
    return DeclaredServices::Get().Declare(info);
}

} // namespace

bool Reply::IsDeliveryFailed() const {
    return result == 0 && payload.isObject() && payload["return_error"] == "Delivery failed";
}

Reply Call(const std::string& name, const Json::Value& payload, std::chrono::milliseconds limit) {
    SetUpHost();
    Quill::TCMessage message;
    message.subject = name;
    message.payload = payload;
    Quill::TCMessage answer;
    Reply reply;
    reply.result = Bus::Get().Call(message, limit, answer);
    reply.payload = std::move(answer.payload);
    return reply;
}

HostedService::HostedService(std::string name, std::string libraryPath)
    : m_name((SetUpHost(), std::move(name))), m_mailbox(std::make_unique<Mailbox>()),
      m_control(Declare(m_name, libraryPath)) {}

HostedService::HostedService(std::string name, std::unique_ptr<marrow::ser::IService> service,
                             std::unique_ptr<marrow::ser::IServiceProxy> proxy)
    : HostedService(std::move(name), "") {
    GivenServices::Get().Give(m_name, std::move(service), std::move(proxy));
}

HostedService::~HostedService() {
    Bus::Get().PassDispatcher();
    if (GetState() != State::NOT_LOADED) { // calls wait on the worker by now, behind its OnStart
        RunOn(*m_control->GetWorker(), [] {});
    }
    m_control->Stop();   // refused where it isn't started,
    m_control->Unload(); // and where it isn't loaded or hasn't stopped
    if (GetState() == State::NOT_LOADED) {
        GivenServices::Get().TakeBack(m_name);
    } else {
        GivenServices::Get().Abandon(m_name);
    }
    DeclaredServices::Get().Withdraw(m_name);
    PassMainLoop(); // the proxies may end next, and have still to let go of what it subscribed to
}

bool HostedService::Start() {
    if ((GetState() == State::NOT_LOADED && !m_control->Load()) || !m_control->Start()) {
        return false;
    }
    PassMainLoop(); // some proxies ask the platform there for what OnStart has subscribed to
    return true;
}

bool HostedService::Stop() {
    return m_control->Stop();
}

HostedService::State HostedService::GetState() {
    return m_control->GetState();
}

Reply HostedService::Call(const Json::Value& payload, std::chrono::milliseconds limit) {
    return testing::Call(m_name, payload, limit);
}

std::optional<Notification> HostedService::WaitForNotification(const std::string& subject,
                                                               std::chrono::milliseconds limit) {
    return m_mailbox->Wait(subject, limit);
}

std::vector<Notification> HostedService::TakeNotifications() {
    return m_mailbox->Take();
}

} // namespace hearthd::testing
