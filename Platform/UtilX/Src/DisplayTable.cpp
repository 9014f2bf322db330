// SPDX-License-Identifier: Apache-2.0
#include "DisplayTable.h"

#include "XcbPointers.h"

namespace utilx {

namespace {

// ":0" and ":0.0" are the same; two connections would take each other's keys for a stranger's.
std::string Spelled(const char* display) {
    char* host = nullptr;
    int number = 0;
    int screen = 0;
    if (xcb_parse_display(display, &host, &number, &screen) == 0) {
        return display;
    }
    const XcbPointer<char> owned(host);
    return std::string(host) + ":" + std::to_string(number) + "." + std::to_string(screen);
}

} // namespace

DisplayTable& DisplayTable::Get() {
    static DisplayTable table;
    return table;
}

DisplayKeys& DisplayTable::At(const char* display) {
    const std::string name = Spelled(display);
    const marrow::base::MutexLock lock(m_mutex);
    auto& entry = m_displays[name];
    if (entry == nullptr) {
        entry = std::make_unique<DisplayKeys>(name);
    }
    return *entry;
}

} // namespace utilx
