// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "TCMessage.h"

namespace marrow::dbg {

class Messenger;

/// A channel of the debug shell. It owns its messengers.
class IIPC {
public:
    IIPC() = default;
    virtual ~IIPC();
    IIPC(const IIPC&) = delete;
    IIPC& operator=(const IIPC&) = delete;

    /// Deletes the messenger of that tag, if there is one.
    virtual void DeleteMessenger(std::string& tag) = 0;

    /// The messenger of that tag, which is made if there is none. Never null.
    virtual Messenger* GetMessenger(const std::string& tag) = 0;

    /// Sends a command's message out and returns the answer; an empty one where there is none.
    virtual Quill::TCMessage SendSyncMessage(std::string& tag, Quill::TCMessage& message) = 0;
};

} // namespace marrow::dbg
