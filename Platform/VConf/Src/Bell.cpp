// SPDX-License-Identifier: Apache-2.0
#include "Bell.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>

namespace vconf {

Bell::Bell(const std::string& path, const std::string& database)
    : m_file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600)) {
    if (m_file.Number() >= 0) {
        struct stat owner {};
        if (stat(database.c_str(), &owner) == 0) {
            // Only root can give it away, and needn't where it belongs to root already.
            [[maybe_unused]] const int given = fchown(m_file.Number(), owner.st_uid, owner.st_gid);
            fchmod(m_file.Number(), owner.st_mode & 0666U);
        }
    } else if (errno == EEXIST) {
        // Not for long would it lack the owner that another process gives it.
        m_file =
            marrow::base::FileDescriptor(open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOFOLLOW));
    }
    if (m_file.Number() < 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

void Bell::Ring() const {
    // One byte at the same place: the file doesn't grow. Where it can't be written, on a full disk,
    // the watchers notice the change a little later by the log.
    [[maybe_unused]] const ssize_t written = pwrite(m_file.Number(), "!", 1, 0);
}

} // namespace vconf
