// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

#include "KeepingWays.h"

namespace {

int Checked(int result, const char* what) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

class FileWay final : public KeepingWay {
public:
    explicit FileWay(const std::string& folder)
        : m_folder(Checked(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC), "folder")),
          m_name(folder + "/value"), m_newName(folder + "/.value.new"), m_path(folder) {}
    ~FileWay() override {
        if (m_thread.joinable()) {
            eventfd_write(m_end, 1);
            m_thread.join();
            close(m_end);
        }
        close(m_folder);
    }

    void Set(const std::string& value) override { Write(value, false); }
    void SetAndSync(const std::string& value) override {
        Write(value, true);
        Checked(fsync(m_folder), "fsync");
    }
    void Watch(std::function<void(const std::string&)> told) override {
        const int events = Checked(inotify_init1(IN_CLOEXEC), "inotify");
        Checked(inotify_add_watch(events, m_path.c_str(), IN_MOVED_TO), "inotify");
        m_end = Checked(eventfd(0, EFD_CLOEXEC), "eventfd");
        m_thread = std::thread([this, events, call = std::move(told)] { Run(events, call); });
    }

private:
    void Write(const std::string& value, bool isSynced) const {
        const int file = Checked(
            open(m_newName.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644), "open");
        Checked(static_cast<int>(write(file, value.data(), value.size())), "write");
        if (isSynced) {
            Checked(fdatasync(file), "fdatasync");
        }
        close(file);
        Checked(std::rename(m_newName.c_str(), m_name.c_str()), "rename");
    }

    void Run(int events, const std::function<void(const std::string&)>& told) const {
        while (true) {
            std::array<pollfd, 2> waiting{{{events, POLLIN, 0}, {m_end, POLLIN, 0}}};
            poll(waiting.data(), waiting.size(), -1);
            if (waiting[1].revents != 0) {
                break;
            }
            alignas(inotify_event) std::array<char, 4096> content{};
            Checked(static_cast<int>(read(events, content.data(), content.size())), "read");
            const int file = Checked(open(m_name.c_str(), O_RDONLY | O_CLOEXEC), "open");
            std::array<char, 256> text{};
            const int size =
                Checked(static_cast<int>(read(file, text.data(), text.size())), "read");
            close(file);
            told(std::string(text.data(), static_cast<std::size_t>(size)));
        }
        close(events);
    }

    const int m_folder;
    const std::string m_name;
    const std::string m_newName;
    const std::string m_path;
    int m_end = -1;
    std::thread m_thread;
};

} // namespace

std::unique_ptr<KeepingWay> MakeFileWay(const std::string& folder) {
    return std::make_unique<FileWay>(folder);
}
