// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "FileDescriptor.h"

namespace vconf {

/// A file that is written to when the store has changed, for those who watch it: what happens to
/// the database's own files happens before the change can be seen. One thread at a time.
class Bell {
public:
    /// Opens it, and makes it where it is missing, for everybody who may do the same with
    /// `database`. Throws std::system_error.
    Bell(const std::string& path, const std::string& database);

    void Ring() const;

private:
    marrow::base::FileDescriptor m_file;
};

} // namespace vconf
