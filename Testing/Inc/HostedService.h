// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <json/json.h>

#include "IService.h"
#include "IServiceControl.h"
#include "IServiceProxy.h"

namespace hearthd::testing {

/// What a client gets for its call.
struct Reply {
    int result = 0;      ///< as of Quill::TCServer::SendMessage: 0, or a negative errno value
    Json::Value payload; ///< the answer; null where `result` isn't 0

    /// The daemon's word for a service that isn't there, isn't started, gave up or said nothing.
    bool IsDeliveryFailed() const;
};

struct Notification {
    std::string subject;
    Json::Value payload;
};

/// How long a client waits for its reply where nothing else is said.
inline constexpr std::chrono::seconds CALL_LIMIT{25};
/// How long a test waits for what must come.
inline constexpr std::chrono::seconds LONG_ENOUGH{20};

/// Calls the service of that name as a client does, and waits for the reply: through the daemon's
/// router, on the service's worker. Any thread but a worker's.
///
/// -ETIMEDOUT where `limit` has passed: the call goes on, and its reply is dropped. -EREMOTEIO for
/// a payload that is neither null nor an object.
Reply Call(const std::string& name, const Json::Value& payload,
           std::chrono::milliseconds limit = CALL_LIMIT);

/// A service in the test's own process: loaded, started, called and stopped by what the daemon does
/// that with, on its real worker. There is no bus, and no manifest is read.
///
/// The first one in the process makes the daemon's main loop, on a thread of its own, and the
/// device that TestDevice.h tells of. One thread at a time uses an object; several services may be
/// there at the same time, one of each name.
class HostedService {
public:
    using State = marrow::mgr::IServiceControl::ServiceState;

    /// The service of a library, which isn't opened yet. `name` is the one in its manifest.
    HostedService(std::string name, std::string libraryPath);

    /// A service whose source is part of the test program. What the source gives to g_service and
    /// g_service_proxy is handed over once: `std::unique_ptr<IService>(std::exchange(g_service,
    /// nullptr))`. Where one is null, the service doesn't load.
    HostedService(std::string name, std::unique_ptr<marrow::ser::IService> service,
                  std::unique_ptr<marrow::ser::IServiceProxy> proxy);

    /// Waits for what its worker is in, calls that nobody waits for any more and an OnStart that
    /// has taken too long among it; then stops the service and unloads it. One that doesn't stop
    /// stays in the process, as in the daemon's; one of a library is there again, and counts as
    /// started, for the next HostedService of its name.
    ~HostedService();
    HostedService(const HostedService&) = delete;
    HostedService& operator=(const HostedService&) = delete;

    /// Loads the service, where it isn't loaded, and starts it. False where it doesn't load, where
    /// OnStart says so or takes ten seconds, and where the service is started already. What OnStart
    /// has subscribed to is in force afterwards; a device tells nobody when it is.
    bool Start();
    /// False where OnStop says so or takes ten seconds, and where the service isn't started.
    bool Stop();
    /// Waits for a call that the service is in.
    State GetState();

    /// Calls this service: see hearthd::testing::Call.
    Reply Call(const Json::Value& payload, std::chrono::milliseconds limit = CALL_LIMIT);

    // The notifications of all services since this object was made, in the order in which they were
    // sent. Each is given out once.

    /// The oldest one of that subject, as soon as there is one; nothing where `limit` has passed.
    /// Those of other subjects stay.
    std::optional<Notification> WaitForNotification(const std::string& subject,
                                                    std::chrono::milliseconds limit = LONG_ENOUGH);
    /// All that have come.
    std::vector<Notification> TakeNotifications();

private:
    class Mailbox;

    const std::string m_name;
    const std::unique_ptr<Mailbox> m_mailbox;
    marrow::mgr::IServiceControl* const m_control; // lives as long as the process
};

} // namespace hearthd::testing
