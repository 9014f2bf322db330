// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>
#include <string>

#include "DisplayKeys.h"
#include "Mutex.h"

namespace utilx {

/// The displays that keys have been grabbed on. Any thread; m_mutex guards the table, whose entries
/// stay until the process ends.
///
/// It is made by the first grab and destroyed at exit, after what was made later: whoever grabs in
/// a constructor may ungrab in the destructor.
class DisplayTable {
public:
    static DisplayTable& Get();

    /// The keys of the display of that name; two spellings of one display are one.
    DisplayKeys& At(const char* display);

private:
    marrow::base::Mutex m_mutex;
    std::map<std::string, std::unique_ptr<DisplayKeys>> m_displays GUARDED_BY(m_mutex);
};

} // namespace utilx
