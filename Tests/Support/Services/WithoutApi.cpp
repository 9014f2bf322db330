// SPDX-License-Identifier: Apache-2.0

// A service without an API.

#include <hearthd/NullServiceProxy.h>

#include "ProbedService.h"

marrow::ser::IService* g_service = new ProbedService("without_api");
marrow::ser::IServiceProxy* g_service_proxy = new marrow::ser::NullServiceProxy;
