// SPDX-License-Identifier: Apache-2.0

// A writer's visit is one run of the reader: it opens the pipe, which waits for the writer, reads
// until the writer has closed it, and queues the next run on its own worker. Going through the
// queue between two visits is where a Stop is seen; a reader that waits in open or read sees it
// only after that.
//
// m_readerMutex tells the destructor that the reader has seen it. It guards nothing: the
// constructor locks it, the run that finds m_stopped set unlocks it on the worker's thread, and the
// destructor waits for that by locking it once more. A reader that couldn't open the pipe never
// comes back, and leaves it locked.

#include "StreamIPC.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <unistd.h>

#include "Job.h"
#include "Log.h"
#include "Messenger.h"
#include "Worker.h"
#include "WorkerFactory.h"

namespace marrow::dbg {

using base::MutexLock;
using Quill::TCMessage;

namespace {

constexpr const char* WORKER_NAME = "Reader";
constexpr const char* LINE_SEPARATOR = "\n";
constexpr const char* FIELD_SEPARATOR = " ";

// What one read brings. A read may fill it whole, and the NUL behind the text then stands in the
// last byte.
using Block = std::array<char, StreamIPC::FIFO_BUFFER_SIZE + 1>;

} // namespace

const char* StreamIPC::FIFO_PATH = "/usr/apps/org.norvane.hearthd/api/control";

StreamIPC* StreamIPC::m_instance = nullptr;
base::Mutex StreamIPC::m_instanceMutex;

StreamIPC* StreamIPC::Get() {
    LOGI("Get object instance");
    const MutexLock lock(m_instanceMutex);
    if (m_instance == nullptr) {
        LOGI("Create object");
        m_instance = new StreamIPC;
    }
    return m_instance;
}

StreamIPC::StreamIPC() : m_pipeFd(-1), m_stopped(true) {
    m_readerMutex.lock();
    m_worker = ser::WorkerFactory::Get().GetWorker(WORKER_NAME);
}

StreamIPC::~StreamIPC() {
    Stop();
    const std::scoped_lock readerHasEnded(m_readerMutex);
    if (m_pipeFd != -1) {
        if (close(m_pipeFd) == -1) {
            LOGE("Error while closing descriptor of the %s pipe", FIFO_PATH);
        } else {
            LOGI("Read-only descriptor of the %s pipe closed", FIFO_PATH);
        }
    }
}

void StreamIPC::Start() {
    if (m_stopped) {
        LOGI("Start reading from stream");
        m_stopped = false;
        PostReader();
    } else {
        LOGI("Reading ... no need to change");
    }
}

void StreamIPC::Stop() {
    LOGI("Stop reading from stream");
    m_stopped = true;
}

void StreamIPC::PostReader() {
    ser::Job* job = new ser::Job([this] { ReadFromPipe(); });
    m_worker->Do(job);
}

void StreamIPC::ReadFromPipe() {
    const auto block = std::make_unique<Block>();
    if (m_stopped) {
        m_readerMutex.unlock(); // this object may end now
        return;
    }
    LOGI("Ready to open");
    m_pipeFd = open(FIFO_PATH, O_RDONLY);
    if (m_pipeFd == -1) {
        LOGE("Cannot open the %s pipe read-only [ret=%d, errno=%d]", FIFO_PATH, m_pipeFd, errno);
        return;
    }
    LOGI("Pipe %s opened read-only", FIFO_PATH);
    if (fcntl(m_pipeFd, F_SETPIPE_SZ, FIFO_BUFFER_SIZE) == -1) {
        LOGE("Cannot change buffer size of the %s pipe", FIFO_PATH);
    } else {
        LOGI("Buffer size of the %s pipe changed successfully", FIFO_PATH);
    }
    while (true) {
        const ssize_t size = read(m_pipeFd, block->data(), FIFO_BUFFER_SIZE);
        if (size == -1) {
            LOGE("Error while reading from the %s pipe", FIFO_PATH);
            continue;
        }
        if (size == 0) {
            LOGI("No bytes read from the %s pipe", FIFO_PATH);
            break;
        }
        LOGI("%d bytes successfully read from pipe %s", static_cast<int>(size), FIFO_PATH);
        (*block)[static_cast<std::size_t>(size)] = '\0';
        HandleLines(block->data());
    }
    close(m_pipeFd);
    m_pipeFd = -1;
    LOGI("Preparing the next task for the reader thread");
    PostReader();
}

// A line that is none goes on as an empty message to the messenger of the empty tag, and every tag
// that nobody answers leaves its messenger behind.
void StreamIPC::HandleLines(const std::string& block) {
    for (std::string& line : DivideIntoLines(block)) {
        TCMessage message = ParseInput(line);
        const std::string tag = message.payload["command"].asString();
        const TCMessage answer = GetMessenger(tag)->HandleMessage(message);
        LOGI("Response from command execution: %s", answer.payload.toStyledString().c_str());
    }
}

std::vector<std::string> StreamIPC::DivideIntoLines(std::string text) {
    std::vector<std::string> lines;
    char* rest = nullptr;
    for (const char* line = strtok_r(text.data(), LINE_SEPARATOR, &rest); line != nullptr;
         line = strtok_r(nullptr, LINE_SEPARATOR, &rest)) {
        lines.emplace_back(line);
    }
    return lines;
}

TCMessage StreamIPC::ParseInput(std::string& line) {
    char* rest = nullptr;
    const char* const command = strtok_r(line.data(), FIELD_SEPARATOR, &rest);
    if (command == nullptr) {
        LOGE("Incorrect command: %s", line.c_str());
        return {};
    }
    LOGI("commandName: %s", command);
    const char* const function = strtok_r(nullptr, FIELD_SEPARATOR, &rest);
    if (function == nullptr) {
        LOGE("Incorrect command: %s", line.c_str());
        return {};
    }
    LOGI("function: %s", function);
    const char* service = strtok_r(nullptr, FIELD_SEPARATOR, &rest);
    if (service == nullptr) {
        service = "";
    }
    LOGI("service: %s", service);
    TCMessage message;
    message.payload["command"] = command;
    message.payload["function"] = function;
    message.payload["service"] = service;
    return message;
}

Messenger* StreamIPC::GetMessenger(const std::string& tag) {
    LOGI("Registering messenger for command: %s", tag.c_str());
    const MutexLock lock(m_messengersMutex);
    Messenger*& messenger = m_messengers[tag];
    if (messenger == nullptr) {
        LOGI("Messenger does not exist. Creating new");
        messenger = new Messenger(tag, this);
    }
    return messenger;
}

void StreamIPC::DeleteMessenger(std::string& tag) NO_THREAD_SAFETY_ANALYSIS {
    const auto found = m_messengers.find(tag); // ahead of the lock: commands go one at a time
    const MutexLock lock(m_messengersMutex);
    if (found != m_messengers.end()) {
        delete found->second;
        m_messengers.erase(found);
    }
}

TCMessage StreamIPC::SendSyncMessage(std::string& /*tag*/, TCMessage& /*message*/) {
    LOGE("Attempt to call StreamIPC::SendSyncMessage");
    return {};
}

} // namespace marrow::dbg
