// SPDX-License-Identifier: Apache-2.0
#include "NullServiceProxy.h"

namespace marrow::ser {

NullServiceProxy::NullServiceProxy() : ServiceProxy("") {}

NullServiceProxy::~NullServiceProxy() = default;

Quill::TCMessage NullServiceProxy::OnCallAPI(Quill::TCMessage& /*message*/) {
    return {};
}

} // namespace marrow::ser
