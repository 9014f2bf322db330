// SPDX-License-Identifier: Apache-2.0

// A library that needs a function which nobody has, in a place to which nobody comes.

#include "ProbedService.h"

void NobodyHasThis();

extern "C" void NobodyCallsThis() {
    NobodyHasThis();
}

marrow::ser::IService* g_service = new ProbedService("unresolved");
marrow::ser::IServiceProxy* g_service_proxy = new ProbedProxy("unresolved");
