// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "TCMessage.h"

namespace marrow::dbg {

/// A command of the debug shell, known by its tag and reached through both channels at once: the
/// pipe and D-Bus.
///
/// A derived class calls Register(this) in its constructor and UnRegister(this) in its destructor,
/// where its OnMessage is there to be called.
class ICommand {
public:
    explicit ICommand(const std::string& tag);
    virtual ~ICommand();
    ICommand(const ICommand&) = delete;
    ICommand& operator=(const ICommand&) = delete;

    /// Carries out what the message asks for and returns the answer. Each channel calls it on a
    /// thread of its own, so it may run twice at a time: shared state wants a lock.
    virtual Quill::TCMessage OnMessage(Quill::TCMessage& message) = 0;

    /// Makes the command known to both channels, and sets the reading of the pipe going. A tag that
    /// is taken stays with its first command. Not from two threads at a time, and not while
    /// messages of the D-Bus channel are coming in.
    static void Register(ICommand* command);
    static void UnRegister(ICommand* command);

private:
    std::string m_commandTag;
};

} // namespace marrow::dbg
