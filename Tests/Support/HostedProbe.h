// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

/// Where a test and the service libraries that it loads meet. It stands in the test's program,
/// which exports it, and the libraries bind to it as they bind to the daemon. Any thread.
class HostedProbe {
public:
    struct Note {
        std::string text;
        std::thread::id thread;
    };

    static HostedProbe& Get();

    // Called by a library.
    void Add(std::string_view text);
    /// Keeps an object whose library may be closed without deleting it: it isn't lost, it is meant.
    void Keep(const void* object);

    // Called by the test.
    std::vector<std::string> Texts();
    /// The thread that added this text; none where nobody has.
    std::thread::id ThreadOf(std::string_view text);
    /// Forgets what was added, and answers and hooks.
    void Reset();

    // What a library's service answers, and what it runs on the way.
    std::atomic<bool> startResult{true};
    std::atomic<bool> stopResult{true};
    std::function<void()> atOpen; ///< during the library's static initialisation
    std::function<void()> atStop; ///< in OnStop

private:
    HostedProbe() = default;

    std::mutex m_mutex;
    std::vector<Note> m_notes;
    std::vector<const void*> m_kept;
};
