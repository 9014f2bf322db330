// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ServiceProxy.h"

namespace marrow::ser {

/// The proxy of a service without an API: answers every call with an empty message. All of them
/// share one worker, whose name is empty.
class NullServiceProxy : public ServiceProxy {
public:
    NullServiceProxy();
    ~NullServiceProxy() override;

protected:
    Quill::TCMessage OnCallAPI(Quill::TCMessage& message) override;
};

} // namespace marrow::ser
