// SPDX-License-Identifier: Apache-2.0
#include "DisplayKeys.h"

#include <exception>
#include <utility>

#include "UtilXLog.h"

namespace utilx {

DisplayKeys::DisplayKeys(std::string display) : m_display(std::move(display)) {}

bool DisplayKeys::Grab(xcb_window_t window, KeySym key, const std::string& name, bool withRepeats) {
    const marrow::base::MutexLock lock(m_mutex);
    try {
        if (m_connection == nullptr || m_connection->IsLost()) {
            m_connection.reset();
            m_connection = std::make_unique<KeyConnection>(m_display);
        }
    } catch (const std::exception& exception) {
        UTILX_LOGE("the key %s isn't grabbed: display %s: %s", name.c_str(), m_display.c_str(),
                   exception.what());
        return false;
    }
    return m_connection->Grab(window, key, name, withRepeats);
}

bool DisplayKeys::Ungrab(xcb_window_t window, KeySym key) {
    const marrow::base::MutexLock lock(m_mutex);
    return m_connection != nullptr && !m_connection->IsLost() && m_connection->Ungrab(window, key);
}

} // namespace utilx
