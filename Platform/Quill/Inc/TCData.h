// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Quill {

/// The data part of an event. It holds nothing yet: events carry their work in their handler.
class TCData {
public:
    TCData();
    ~TCData();
    TCData(const TCData&) = default;
    TCData& operator=(const TCData&) = default;
};

} // namespace Quill
