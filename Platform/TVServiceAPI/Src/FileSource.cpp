// SPDX-License-Identifier: Apache-2.0
#include "FileSource.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>

namespace tvservice {

FileSource::FileSource(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    if (S_ISDIR(status.st_mode)) {
        throw std::system_error(EISDIR, std::generic_category(), path);
    }
    m_isFile = S_ISREG(status.st_mode);
    const int access = S_ISFIFO(status.st_mode) ? O_RDWR : O_RDONLY;
    m_descriptor = marrow::base::FileDescriptor(
        open(path.c_str(), access | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (m_descriptor.Number() < 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

Source::Result FileSource::Read(std::span<std::uint8_t> room) {
    const ssize_t size = read(m_descriptor.Number(), room.data(), room.size());
    if (size > 0) {
        return {Outcome::Data, static_cast<std::size_t>(size)};
    }
    if (size == 0) {
        return {Outcome::End, 0};
    }
    // A tuner's device says by EOVERFLOW that it had to drop what came (linux/dvb/dmx.h).
    if (errno == EAGAIN || errno == EINTR || errno == EOVERFLOW) {
        return {Outcome::Nothing, 0};
    }
    throw std::system_error(errno, std::generic_category(), "reading the stream");
}

bool FileSource::Rewind() {
    return m_isFile && lseek(m_descriptor.Number(), 0, SEEK_SET) == 0;
}

} // namespace tvservice
