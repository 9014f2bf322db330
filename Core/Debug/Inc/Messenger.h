// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "Mutex.h"
#include "TCMessage.h"

namespace marrow::dbg {

class ICommand;
class IIPC;

/// Links one channel to the command that answers one tag. Any thread; m_mutex is held while the
/// command runs, so that the messages of one messenger are handled one at a time.
class Messenger {
public:
    /// `ipc` is the channel that makes it and owns it.
    Messenger(const std::string& tag, IIPC* ipc);

    /// Returns false, and keeps the command that it has, where there is one already.
    bool Register(ICommand* command);

    /// Refuses `command` where it is the registered one, with false, and lets go of the registered
    /// one where `command` is another, with true.
    bool Unregister(ICommand* command);

    /// Sends a command's message out through the channel.
    Quill::TCMessage SendSyncMessage(Quill::TCMessage& message);

    /// Gives a message that came in to the command and returns its answer: an empty one where there
    /// is no command.
    Quill::TCMessage HandleMessage(Quill::TCMessage& message);

private:
    std::string m_tag;
    IIPC* m_ipc;
    ICommand* m_handler GUARDED_BY(m_mutex); // not owned
    base::Mutex m_mutex;
};

} // namespace marrow::dbg
