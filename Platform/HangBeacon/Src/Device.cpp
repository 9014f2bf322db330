// SPDX-License-Identifier: Apache-2.0

// A character device needs a module of the kernel. A file system in user space doesn't: its root
// node may be a regular file, and open, release and ioctl of that file come here. The request that
// the daemon uses carries no size, so that the kernel copies nothing: the address of the line comes
// through as it stands, and the line is read from the caller's memory.

#define FUSE_USE_VERSION 35

#include "Device.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fuse3/fuse_lowlevel.h>
#include <stdexcept>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "BeaconLog.h"
#include "CallingThread.h"

namespace hang_beacon {

namespace {

constexpr unsigned WRITE_LINE = 0x70;
constexpr double FOR_EVER = 86400; // seconds for which the kernel may keep the attributes

struct stat Attributes() {
    struct stat attributes {};
    attributes.st_ino = FUSE_ROOT_ID;
    attributes.st_mode = S_IFREG | S_IRUSR | S_IWUSR;
    attributes.st_nlink = 1;
    attributes.st_uid = geteuid();
    attributes.st_gid = getegid();
    return attributes;
}

} // namespace

struct Device::Operations {
    static DumpCollector& Collector(fuse_req_t request) {
        return static_cast<Device*>(fuse_req_userdata(request))->m_collector;
    }

    static void GetAttributes(fuse_req_t request, fuse_ino_t /*node*/, fuse_file_info* /*file*/) {
        const struct stat attributes = Attributes();
        fuse_reply_attr(request, &attributes, FOR_EVER);
    }

    // Somebody truncates it, say: there is nothing to change.
    static void SetAttributes(fuse_req_t request, fuse_ino_t node, struct stat* /*attributes*/,
                              int /*which*/, fuse_file_info* file) {
        GetAttributes(request, node, file);
    }

    static void Open(fuse_req_t request, fuse_ino_t /*node*/, fuse_file_info* file) {
        const pid_t thread = fuse_req_ctx(request)->pid;
        file->direct_io = 1;
        file->fh = Collector(request).Open(ProcessOf(thread), ThreadOf(thread),
                                           DumpCollector::Clock::now());
        fuse_reply_open(request, file);
    }

    static void Release(fuse_req_t request, fuse_ino_t /*node*/, fuse_file_info* file) {
        Collector(request).Close(file->fh);
        fuse_reply_err(request, 0);
    }

    static void Ioctl(fuse_req_t request, fuse_ino_t /*node*/, unsigned command, void* argument,
                      fuse_file_info* file, unsigned /*flags*/, const void* /*in*/,
                      std::size_t /*inSize*/, std::size_t /*outSize*/) {
        if (command != WRITE_LINE) {
            fuse_reply_err(request, ENOTTY);
            return;
        }
        std::string line;
        const int result =
            ReadLine(fuse_req_ctx(request)->pid, reinterpret_cast<std::uintptr_t>(argument), line);
        if (result < 0) {
            fuse_reply_err(request, -result);
            return;
        }
        Collector(request).Add(file->fh, line, DumpCollector::Clock::now());
        fuse_reply_ioctl(request, 0, nullptr, 0); // which ends the request
        BEACON_LOGW("%s", line.c_str());
    }
};

void Device::EndSession::operator()(fuse_session* session) const {
    fuse_session_unmount(session);
    fuse_session_destroy(session);
}

Device::Device(const std::string& path, DumpCollector& collector) : m_collector(collector) {
    fuse_lowlevel_ops operations{};
    operations.getattr = Operations::GetAttributes;
    operations.setattr = Operations::SetAttributes;
    operations.open = Operations::Open;
    operations.release = Operations::Release;
    operations.ioctl = Operations::Ioctl;

    std::string program = "hang-beacon";
    std::string flag = "-o";
    std::string options = "fsname=hang_beacon,default_permissions";
    if (geteuid() == 0) {
        options += ",allow_other"; // which its permissions restrict
    }
    std::array<char*, 3> words{program.data(), flag.data(), options.data()};
    fuse_args arguments{static_cast<int>(words.size()), words.data(), 0};
    m_session.reset(fuse_session_new(&arguments, &operations, sizeof(operations), this));
    fuse_opt_free_args(&arguments);
    if (m_session == nullptr) {
        throw std::runtime_error("the FUSE library doesn't start");
    }

    struct stat status {};
    if (stat(path.c_str(), &status) != 0 && errno == ENOTCONN) {
        umount2(path.c_str(), MNT_DETACH); // its server has died
    }
    if (stat(path.c_str(), &status) != 0) {
        throw std::runtime_error(path + ": " + strerror(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        throw std::runtime_error(path + " is no regular file");
    }
    if (fuse_session_mount(m_session.get(), path.c_str()) != 0) {
        throw std::runtime_error("cannot mount on " + path +
                                 "; is there /dev/fuse, and may this "
                                 "user mount?");
    }
}

Device::~Device() = default;

int Device::Descriptor() const {
    return fuse_session_fd(m_session.get());
}

bool Device::Serve() {
    fuse_buf buffer{};
    const int size = fuse_session_receive_buf(m_session.get(), &buffer);
    if (size > 0) {
        fuse_session_process_buf(m_session.get(), &buffer);
    }
    free(buffer.mem);
    if (size == -EINTR || size == -EAGAIN) {
        return true;
    }
    return size > 0 && fuse_session_exited(m_session.get()) == 0;
}

} // namespace hang_beacon
