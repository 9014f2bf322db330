// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

#include "BlockedThread.h"
#include "Dlog.h"
#include "FakeTVService.h"
#include "Gate.h"
#include "LogCapture.h"

/// Another thread that does one thing. Joined at its end, so whoever holds it up has let go by
/// then.
class OtherThread {
public:
    ~OtherThread() {
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }
    OtherThread() = default;
    OtherThread(const OtherThread&) = delete;
    OtherThread& operator=(const OtherThread&) = delete;

    /// Starts it, and waits until it waits for the lock inside `object`; false where it doesn't.
    template <typename Object>
    bool WaitsFor(const Object& object, std::function<void()> work) {
        pid_t id = 0;
        Gate started;
        m_thread = std::thread([&id, &started, work = std::move(work)] {
            id = ThisThread();
            started.Open();
            work();
        });
        return started.Wait() && WaitUntilBlockedIn(id, object);
    }

    /// Starts it, and waits until it is done; false where that takes too long.
    bool Finishes(std::function<void()> work) {
        const auto done = std::make_shared<Gate>();
        m_thread = std::thread([done, work = std::move(work)] {
            work();
            done->Open();
        });
        return done->Wait(std::chrono::seconds(20));
    }

private:
    std::thread m_thread;
};

/// For processes that are to end: has the calls of the fake told on standard error behind the end
/// of every object that is made from now on, as "asked: one, two."
inline void TellCallsAtExit() {
    std::atexit([] {
        std::string told = "asked:";
        const char* between = " ";
        for (const std::string& call : FakeTVService::Get().Calls()) {
            told += between + call;
            between = ", ";
        }
        std::fprintf(stderr, "%s.\n", told.c_str());
    });
}

/// What has been logged, without the workers' lines: theirs may come from the test before.
inline std::vector<LogCapture::Line> LinesWithoutTheWorkers() {
    std::vector<LogCapture::Line> lines = LogCapture::Lines();
    std::erase_if(lines, [](const LogCapture::Line& line) {
        return line.text.starts_with("SetLocalWorker") || line.text.starts_with("Executing job") ||
               line.text.starts_with("Worker[") || line.text.starts_with("~Worker[");
    });
    return lines;
}
