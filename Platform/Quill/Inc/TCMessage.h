// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <json/json.h>

namespace Quill {

/// A message: a value that is copied deeply, so that a copy handed to another thread shares
/// nothing with its source. One object is used by one thread at a time.
struct TCMessage {
    /// Keys and values. Empty (`payload.empty()`) in a default constructed message.
    Json::Value payload;
    /// On a call the name of the service that it is for; on a notification the end of the signal's
    /// name.
    std::string subject;
};

} // namespace Quill
