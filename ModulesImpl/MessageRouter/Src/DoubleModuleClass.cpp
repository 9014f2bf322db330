// SPDX-License-Identifier: Apache-2.0
#include "MessageRouter.h"

namespace marrow::msg {

IModule* DoubleModuleClass::common_instance = nullptr;

DoubleModuleClass::DoubleModuleClass(std::string name) : ModuleClass(std::move(name)) {}

DoubleModuleClass::~DoubleModuleClass() = default;

IModule* DoubleModuleClass::Instance() const {
    if (common_instance == nullptr) {
        common_instance = new MessageRouter;
    }
    return common_instance;
}

} // namespace marrow::msg
