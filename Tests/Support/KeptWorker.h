// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>
#include <string>

#include "Worker.h"
#include "WorkerFactory.h"

/// Keeps the worker of that name for the life of the process. For a worker that may stand in a read
/// that never returns, as a watchdog's does when its watch was released between two reads: the end
/// of the process waits for the workers that have no user any more, and not for this one.
inline void KeepWorker(const std::string& name) {
    static auto* const kept = new std::map<std::string, std::shared_ptr<marrow::ser::Worker>>;
    (*kept)[name] = marrow::ser::WorkerFactory::Get().GetWorker(name);
}
