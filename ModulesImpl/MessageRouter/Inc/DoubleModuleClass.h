// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "ModuleClass.h"

namespace marrow::msg {

class MessageRouter;

// Its base has no virtual destructor, which ModuleClass.h explains.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// The router's class object. It stands behind two interfaces, each of which asks it for an
/// instance; a plain class object would make two routers. This one answers both with the first.
class DoubleModuleClass : public ModuleClass<MessageRouter> {
public:
    explicit DoubleModuleClass(std::string name);
    virtual ~DoubleModuleClass();

    IModule* Instance() const override;

private:
    static IModule* common_instance;
};

#pragma GCC diagnostic pop

} // namespace marrow::msg
