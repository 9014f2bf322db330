// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "RunMainLoop.h"
#include "TCServer.h"

/// A server whose callbacks are the test's. Without one it answers each call with what it was
/// given.
class TestServer : public Quill::TCServer {
public:
    explicit TestServer(std::string name = "test.Server") : TCServer(std::move(name), SERVER) {}
    ~TestServer() override { CloseDBusServer(); }

    /// In a process that has set itself up.
    bool CreateDBusServer() {
        const bool result = TCServer::CreateDBusServer();
        RunMainLoop();
        return result;
    }

    std::function<bool(const char*, const Quill::TCMessage*, Quill::TCEventIO*&)> onTransfer;
    std::function<void(const char*, const Quill::TCMessage*, Quill::TCMessage*, const char*)>
        onReceived;
    std::function<void(const char*, const Quill::TCMessage*)> onReplied;

    bool IfTransferMessage(const char* sender, const Quill::TCMessage* message,
                           Quill::TCEventIO*& target) override {
        return onTransfer && onTransfer(sender, message, target);
    }

    int IfMessageReceived(const char* sender, const Quill::TCMessage* message,
                          Quill::TCMessage* reply, const char* signal) override {
        if (onReceived) {
            onReceived(sender, message, reply, signal);
        } else if (reply != nullptr) {
            *reply = *message;
        }
        return 1;
    }

    bool IfMessageReplied(const char* sender, const Quill::TCMessage* message) override {
        if (onReplied) {
            onReplied(sender, message);
        }
        return true;
    }
};
