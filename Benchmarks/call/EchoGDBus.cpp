// SPDX-License-Identifier: Apache-2.0

// A bare echo server on GDBus: replies from the method's handler on the main loop.
//
//     bench-echo-gdbus BUS-NAME

#include <cstdio>
#include <cstdlib>

#include <gio/gio.h>

namespace {

constexpr const char* INTROSPECTION =
    "<node><interface name='quill.Endpoint1'>"
    "<method name='Call'>"
    "<arg type='s' direction='in'/><arg type='s' direction='in'/>"
    "<arg type='s' direction='out'/><arg type='s' direction='out'/>"
    "</method></interface></node>";

void OnCall(GDBusConnection*, const char*, const char*, const char*, const char*,
            GVariant* parameters, GDBusMethodInvocation* invocation, void*) {
    const char* subject = nullptr;
    const char* payload = nullptr;
    g_variant_get(parameters, "(&s&s)", &subject, &payload);
    g_dbus_method_invocation_return_value(invocation, g_variant_new("(ss)", subject, payload));
}

void OnBus(GDBusConnection* connection, const char*, void* data) {
    static const GDBusInterfaceVTable vtable = {OnCall, nullptr, nullptr, {}};
    auto* const node = static_cast<GDBusNodeInfo*>(data);
    g_dbus_connection_register_object(connection, "/quill/endpoint", node->interfaces[0], &vtable,
                                      nullptr, nullptr, nullptr);
}

void OnLost(GDBusConnection*, const char* name, void*) {
    std::fprintf(stderr, "bench-echo-gdbus: %s is lost\n", name);
    std::exit(1);
}

} // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        std::fprintf(stderr, "usage: bench-echo-gdbus BUS-NAME\n");
        return 2;
    }
    GDBusNodeInfo* const node = g_dbus_node_info_new_for_xml(INTROSPECTION, nullptr);
    g_bus_own_name(G_BUS_TYPE_SYSTEM, arguments[1], G_BUS_NAME_OWNER_FLAGS_NONE, OnBus, nullptr,
                   OnLost, node, nullptr);
    g_main_loop_run(g_main_loop_new(nullptr, FALSE));
}
