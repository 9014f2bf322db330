// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <glib.h>

namespace Quill {

/// What a source of input and output offers to whoever drives it.
class TCIOBase {
public:
    TCIOBase() = default;
    virtual ~TCIOBase();
    TCIOBase(const TCIOBase&) = delete;
    TCIOBase& operator=(const TCIOBase&) = delete;

    /// Makes the source ready. `loop` is the main loop of the caller, or null; a queue that is
    /// served by a thread of its own has no use for one. Returns whether it is ready.
    virtual bool Init(GMainLoop* loop);

    /// Ends what Init began.
    virtual void Final();
};

} // namespace Quill
