// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "IService.h"
#include "IServiceControl.h"
#include "IServiceProxy.h"
#include "Mutex.h"
#include "ServiceInfo.h"

/// The state machine of one declared service, and the one gate through which everything reaches it.
///
/// Any thread. m_mutex is held for the whole of every operation that isn't a plain read of the
/// manifest's record: for loading, starting and stopping, and for a whole API call. So one call at
/// a time runs on a service, and whoever asks for its state meanwhile waits for that call. The lock
/// isn't recursive, and ServiceControl objects never call each other.
class ServiceControl : public marrow::mgr::IServiceControl {
public:
    explicit ServiceControl(marrow::ser::service_info_t info);

    std::string GetName() override;
    bool IsAutostart() override;
    std::uint8_t GetPriority() override;
    std::vector<std::string> GetDependencies() override;
    bool Load() override;
    bool Unload() override;
    bool Start() override;
    bool Stop() override;
    ServiceState GetState() override;
    std::shared_ptr<marrow::ser::Worker> GetWorker() override;
    Quill::TCMessage CallAPI(const Quill::TCMessage& message) override;

    // The enumerator's name, "UNKNOWN" for any other value.
    std::string LoadTypeToString(marrow::ser::LoadType type);
    std::string LaunchTypeToString(marrow::ser::LaunchType type);
    std::string StateToString(ServiceState state);

private:
    bool IsRefused(ServiceState needed) REQUIRES(m_mutex);
    void ChangeState(ServiceState state) REQUIRES(m_mutex);

    const marrow::ser::service_info_t m_info;
    // The factory owns both; null unless loaded.
    marrow::ser::IService* m_service GUARDED_BY(m_mutex);
    marrow::ser::IServiceProxy* m_proxy GUARDED_BY(m_mutex);
    ServiceState m_state GUARDED_BY(m_mutex);
    marrow::base::SpinningMutex m_mutex; // each message asks for the state, between short calls
};
