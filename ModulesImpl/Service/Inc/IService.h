// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

namespace marrow::ser {

class Worker;

/// A hosted service as the daemon sees it.
class IService {
public:
    virtual bool Start() = 0;
    virtual bool Stop() = 0;
    virtual bool IsStarted() = 0;
    virtual std::shared_ptr<Worker> GetWorker() = 0;
    virtual ~IService();
};

} // namespace marrow::ser
