// SPDX-License-Identifier: Apache-2.0

// A bare echo server on GDBus: replies from the method's handler on the main loop.
//
//     bench-echo-gdbus BUS-NAME

#include "ServeOnGDBus.h"

namespace {

void OnCall(GDBusConnection*, const char*, const char*, const char*, const char*,
            GVariant* parameters, GDBusMethodInvocation* invocation, void*) {
    const char* subject = nullptr;
    const char* payload = nullptr;
    g_variant_get(parameters, "(&s&s)", &subject, &payload);
    g_dbus_method_invocation_return_value(invocation, g_variant_new("(ss)", subject, payload));
}

} // namespace

int main(int count, char** arguments) {
    return ServeOnGDBus(count, arguments, OnCall);
}
