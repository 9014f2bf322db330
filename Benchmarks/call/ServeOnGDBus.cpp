// SPDX-License-Identifier: Apache-2.0
#include "ServeOnGDBus.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr const char* INTROSPECTION =
    "<node><interface name='quill.Endpoint1'>"
    "<method name='Call'>"
    "<arg type='s' direction='in'/><arg type='s' direction='in'/>"
    "<arg type='s' direction='out'/><arg type='s' direction='out'/>"
    "</method></interface></node>";

void OnBus(GDBusConnection* connection, const char*, void* vtable) {
    GDBusNodeInfo* const node = g_dbus_node_info_new_for_xml(INTROSPECTION, nullptr);
    g_dbus_connection_register_object(connection, "/quill/endpoint", node->interfaces[0],
                                      static_cast<GDBusInterfaceVTable*>(vtable), nullptr, nullptr,
                                      nullptr);
    g_dbus_node_info_unref(node);
}

void OnLost(GDBusConnection*, const char* name, void*) {
    std::fprintf(stderr, "%s: %s is lost\n", program_invocation_short_name, name);
    std::exit(1);
}

} // namespace

int ServeOnGDBus(int count, char** arguments, GDBusInterfaceMethodCallFunc onCall) {
    if (count != 2) {
        std::fprintf(stderr, "usage: %s BUS-NAME\n", program_invocation_short_name);
        return 2;
    }
    GDBusInterfaceVTable vtable = {onCall, nullptr, nullptr, {}};
    g_bus_own_name(G_BUS_TYPE_SYSTEM, arguments[1], G_BUS_NAME_OWNER_FLAGS_NONE, OnBus, nullptr,
                   OnLost, &vtable, nullptr);
    g_main_loop_run(g_main_loop_new(nullptr, FALSE));
    return 0;
}
