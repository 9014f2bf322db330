// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "TCMessage.h"

namespace marrow::ser {
class Worker;
}

namespace marrow::mgr {

/// One declared service, whether it is loaded or not, for the whole life of the process. Any
/// thread; operations may wait for one another, and for the service, without a time limit.
class IServiceControl {
public:
    enum class ServiceState : int {
        NOT_LOADED = 0, ///< there is no service object
        LOADED = 1,     ///< the library is open, the service isn't running
        STARTED = 2,    ///< API calls are served
    };

    virtual std::string GetName() = 0;
    virtual bool IsAutostart() = 0;
    virtual std::uint8_t GetPriority() = 0;
    virtual std::vector<std::string> GetDependencies() = 0;
    // Each of these four is refused, with false, in a state that it doesn't lead out of.
    virtual bool Load() = 0;   ///< NOT_LOADED to LOADED
    virtual bool Unload() = 0; ///< LOADED to NOT_LOADED
    virtual bool Start() = 0;  ///< LOADED to STARTED
    virtual bool Stop() = 0;   ///< STARTED to LOADED
    virtual ServiceState GetState() = 0;
    /// The service's worker; empty while it isn't loaded.
    virtual std::shared_ptr<ser::Worker> GetWorker() = 0;
    /// Calls the service's API and waits for the answer. An empty payload means that the service
    /// isn't started, gave up, or had nothing to say.
    virtual Quill::TCMessage CallAPI(const Quill::TCMessage& message) = 0;
    virtual ~IServiceControl();
};

} // namespace marrow::mgr
