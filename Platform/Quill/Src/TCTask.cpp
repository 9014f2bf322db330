// SPDX-License-Identifier: Apache-2.0
#include "TCTask.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <pthread.h>
#include <string>
#include <unistd.h>

#include "QuillLog.h"

namespace Quill {

namespace {

constexpr std::size_t KERNEL_NAME_LENGTH = 15;

} // namespace

// A joinable thread with a stack of a given size, which std::thread doesn't offer.
class TCTask::Thread {
public:
    Thread(TCTask& task, const char* name) : m_task(task), m_name(name == nullptr ? "" : name) {
        m_name.resize(std::min(m_name.size(), KERNEL_NAME_LENGTH));
    }

    // Returns 0 or an errno value.
    int Start(unsigned long stackKiB) {
        pthread_attr_t attributes;
        int error = pthread_attr_init(&attributes);
        if (error != 0) {
            return error;
        }
        if (stackKiB != 0) {
            const auto least = static_cast<std::size_t>(sysconf(_SC_THREAD_STACK_MIN));
            const std::size_t size = stackKiB * 1024UL;
            error = pthread_attr_setstacksize(&attributes, std::max(size, least));
        }
        if (error == 0) {
            error = pthread_create(&m_thread, &attributes, &Thread::Run, this);
        }
        pthread_attr_destroy(&attributes);
        return error;
    }

    void Join() { pthread_join(m_thread, nullptr); }
    bool IsCurrent() const { return pthread_equal(m_thread, pthread_self()) != 0; }
    void Detach() { pthread_detach(m_thread); }

private:
    static void* Run(void* self) {
        auto* const thread = static_cast<Thread*>(self);
        pthread_setname_np(pthread_self(), thread->m_name.c_str());
        TCTask& task = thread->m_task;
        if (task.t_Init()) {
            task.t_AddIO();
            task.t_Main();
            task.t_Final();
        }
        return nullptr;
    }

    TCTask& m_task;
    std::string m_name;
    pthread_t m_thread{};
};

TCTask::TCTask(const char* name) : TCEventIO(name) {}

TCTask::~TCTask() {
    if (m_thread != nullptr) {
        if (m_thread->IsCurrent()) {
            QUILL_LOGE("task %s is deleted on its own thread", QueueName());
            Close();
            m_thread->Detach();
        } else {
            TCTask::Destroy();
        }
    }
}

bool TCTask::Create(const char* threadName, bool joinable, unsigned long stackKiB) {
    if (m_thread != nullptr || !joinable || stackKiB > ULONG_MAX / 1024) {
        QUILL_LOGE("task %s: %s", QueueName(),
                   m_thread != nullptr ? "has a thread already"
                   : !joinable         ? "a thread that nobody joins isn't offered"
                                       : "the stack is too large");
        return false;
    }
    if (!t_Create()) {
        return false;
    }
    auto thread = std::make_unique<Thread>(*this, threadName);
    const int error = thread->Start(stackKiB);
    if (error != 0) {
        QUILL_LOGE("task %s: cannot start a thread: %s", QueueName(), strerror(error));
        return false;
    }
    m_thread = std::move(thread);
    return true;
}

void TCTask::Destroy() {
    if (m_thread != nullptr) {
        if (m_thread->IsCurrent()) {
            QUILL_LOGE("task %s cannot wait for the end of its own thread", QueueName());
            return;
        }
        Close();
        m_thread->Join();
        m_thread.reset();
        t_Destroy();
    }
    Discard(); // what a thread that never ran, or refused to, has left
}

bool TCTask::t_Create() {
    return true;
}

void TCTask::t_Main() {
    Serve();
}

void TCTask::t_Destroy() {}

void TCTask::t_AddIO() {}

} // namespace Quill
