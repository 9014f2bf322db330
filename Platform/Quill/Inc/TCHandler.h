// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Quill {

class TCEvent;
class TCEventIO;

/// Receives events on the thread of the queue that `owner` names.
///
/// For each event that TCEventIO::SendEvent takes, the queue calls t_OnEvent and after it t_Clear,
/// once each; where it ends without having served the event, t_Clear alone. The handler may delete
/// itself in t_Clear; the queue doesn't touch it afterwards.
class TCHandler {
public:
    TCHandler() = default;
    virtual ~TCHandler();
    TCHandler(const TCHandler&) = delete;
    TCHandler& operator=(const TCHandler&) = delete;

    /// The work. The result is for the handler's own use: the queue doesn't look at it.
    virtual bool t_OnEvent(const TCEvent* event);

    /// The last call for `event`. The default does nothing.
    virtual void t_Clear(TCEvent* event);

    /// The queue in which this handler's events are served. Not owned. It is set before the first
    /// SendEvent and lives until that call has returned.
    TCEventIO* owner = nullptr;
};

} // namespace Quill
