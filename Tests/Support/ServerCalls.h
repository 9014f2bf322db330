// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

/// What Quill's servers are asked to do, in order. Linking ServerCalls.cpp puts functions of its
/// own ahead of Quill's, for the whole test process, that record and then call those. Any thread.
class ServerCalls {
public:
    /// "TCServer name 0", "CreateDBusServer", "SubscribeSignal null signal null null",
    /// "UnSubscribeSignal null signal", "CloseDBusServer".
    static std::vector<std::string> All();
    static void Clear();

    /// Runs `work` inside of the next CreateDBusServer, ahead of Quill's, once, on the caller's
    /// thread.
    static void InsideNextCreate(std::function<void()> work);
};
