// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "IService.h"
#include "IServiceProxy.h"

/// \file
/// What a service library exports: two pointer variables that its own static initialisation fills,
///
///     marrow::ser::IService* g_service = new MyService;
///     marrow::ser::IServiceProxy* g_service_proxy = new MyProxy;
///
/// The daemon reads them after it has opened the library, and deletes the objects before it closes
/// it, the proxy first. A service without an API sets g_service_proxy to a `new NullServiceProxy`.
///
/// Both variables must exist: the daemon doesn't look whether it has found them and dies where one
/// is missing. A variable that is null is refused with a line in the log.
///
/// Static initialisation runs on the daemon's loading thread with the factory's lock held. That
/// lock is also held while OnStop of a service that is unloaded runs, on its worker: neither may
/// load or unload a service.

extern "C" {
__attribute__((visibility("default"))) extern marrow::ser::IService* g_service;
__attribute__((visibility("default"))) extern marrow::ser::IServiceProxy* g_service_proxy;
}
