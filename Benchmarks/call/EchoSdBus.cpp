// SPDX-License-Identifier: Apache-2.0

// A bare echo server on sd-bus: one thread, the reply sent from the method's handler.
//
//     bench-echo-sdbus BUS-NAME

#include <cstdint>
#include <cstdio>
#include <cstring>

#include <systemd/sd-bus.h>

namespace {

int OnCall(sd_bus_message* message, void* /*data*/, sd_bus_error* /*error*/) {
    const char* subject = nullptr;
    const char* payload = nullptr;
    const int result = sd_bus_message_read(message, "ss", &subject, &payload);
    return result < 0 ? result : sd_bus_reply_method_return(message, "ss", subject, payload);
}

const sd_bus_vtable VTABLE[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Call", "ss", "ss", OnCall, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

int Fail(const char* what, int error) {
    std::fprintf(stderr, "bench-echo-sdbus: %s: %s\n", what, strerror(-error));
    return 1;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        std::fprintf(stderr, "usage: bench-echo-sdbus BUS-NAME\n");
        return 2;
    }
    sd_bus* bus = nullptr;
    int result = sd_bus_open_system(&bus);
    if (result < 0) {
        return Fail("open", result);
    }
    result = sd_bus_add_object_vtable(bus, nullptr, "/quill/endpoint", "quill.Endpoint1", VTABLE,
                                      nullptr);
    if (result < 0) {
        return Fail("vtable", result);
    }
    result = sd_bus_request_name(bus, arguments[1], 0);
    if (result < 0) {
        return Fail("name", result);
    }
    while (result >= 0) {
        result = sd_bus_process(bus, nullptr);
        if (result == 0) {
            result = sd_bus_wait(bus, UINT64_MAX);
        }
    }
    return Fail("process", result);
}
