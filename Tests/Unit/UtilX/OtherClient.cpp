// SPDX-License-Identifier: Apache-2.0
#include "OtherClient.h"

#include <chrono>
#include <cstdlib>
#include <poll.h>
#include <stdexcept>
#include <xcb/xcb.h>

namespace {

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

} // namespace

void OtherClient::Disconnect::operator()(xcb_connection_t* connection) const {
    xcb_disconnect(connection);
}

OtherClient::OtherClient() : m_connection(xcb_connect(nullptr, nullptr)) {
    if (xcb_connection_has_error(m_connection.get()) != 0) {
        throw std::runtime_error("xcb_connect");
    }
    m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection.get())).data->root;
}

bool OtherClient::Grab(std::uint8_t code) const {
    const std::unique_ptr<xcb_generic_error_t, Free> error(xcb_request_check(
        m_connection.get(), xcb_grab_key_checked(m_connection.get(), 0, m_root, XCB_MOD_MASK_ANY,
                                                 code, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC)));
    return error == nullptr;
}

void OtherClient::Ungrab(std::uint8_t code) const {
    const std::unique_ptr<xcb_generic_error_t, Free> error(
        xcb_request_check(m_connection.get(), xcb_ungrab_key_checked(m_connection.get(), code,
                                                                     m_root, XCB_MOD_MASK_ANY)));
}

void OtherClient::TakeTheFocus() {
    const xcb_window_t window = xcb_generate_id(m_connection.get());
    const std::uint32_t events = XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_create_window(m_connection.get(), XCB_COPY_FROM_PARENT, window, m_root, 0, 0, 16, 16, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK,
                      &events);
    xcb_map_window(m_connection.get(), window);
    const std::unique_ptr<xcb_generic_error_t, Free> error(xcb_request_check(
        m_connection.get(), xcb_set_input_focus_checked(m_connection.get(), XCB_INPUT_FOCUS_NONE,
                                                        window, XCB_CURRENT_TIME)));
    if (error != nullptr) {
        throw std::runtime_error("the window cannot have the focus");
    }
}

std::vector<int> OtherClient::PressesUpTo(std::uint8_t code) const {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    std::vector<int> codes;
    while (std::chrono::steady_clock::now() < deadline) {
        const std::unique_ptr<xcb_generic_event_t, Free> event(
            xcb_poll_for_event(m_connection.get()));
        if (event == nullptr) {
            pollfd ready{xcb_get_file_descriptor(m_connection.get()), POLLIN, 0};
            poll(&ready, 1, 1000);
        } else if (event->response_type == XCB_KEY_PRESS) {
            codes.push_back(reinterpret_cast<const xcb_key_press_event_t&>(*event).detail);
            if (codes.back() == code) {
                return codes;
            }
        }
    }
    throw std::runtime_error("the key doesn't come to the window that has the focus");
}
