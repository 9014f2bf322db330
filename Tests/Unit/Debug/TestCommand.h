// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

#include "ICommand.h"

/// A command whose answer is the test's. It registers nowhere by itself. Without an answer of the
/// test's it gives back what it was given.
class TestCommand : public marrow::dbg::ICommand {
public:
    explicit TestCommand(const std::string& tag = "probe") : ICommand(tag) {}

    /// Set while no message can come.
    std::function<Quill::TCMessage(Quill::TCMessage&)> onMessage = [](Quill::TCMessage& message) {
        return message;
    };

    Quill::TCMessage OnMessage(Quill::TCMessage& message) override { return onMessage(message); }
};

/// A message with one key.
inline Quill::TCMessage MessageWith(const std::string& key, const Json::Value& value) {
    Quill::TCMessage message;
    message.payload[key] = value;
    return message;
}
