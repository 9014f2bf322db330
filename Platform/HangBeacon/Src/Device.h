// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "DumpCollector.h"

struct fuse_session;

namespace hang_beacon {

/// The device: a file system whose root is one regular file, mounted on a file. The file can be
/// opened, closed and asked with ioctl 0x70, whose argument is a line; every other request is
/// answered with ENOTTY. One thread.
class Device {
public:
    /// Mounts it on `path`, which is a regular file or the device of a server that has died.
    /// Throws std::runtime_error where that fails.
    Device(const std::string& path, DumpCollector& collector);
    /// Unmounts it.
    ~Device();
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    /// Readable when there is a request to serve.
    int Descriptor() const;

    /// Serves one request. Returns false when the device has been unmounted.
    bool Serve();

private:
    struct EndSession {
        void operator()(fuse_session* session) const;
    };
    struct Operations; // what the FUSE library calls

    DumpCollector& m_collector;
    std::unique_ptr<fuse_session, EndSession> m_session;
};

} // namespace hang_beacon
