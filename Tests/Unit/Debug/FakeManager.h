// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "FakeServices.h"
#include "IServiceManager.h"
#include "ModuleAccessor.h"
#include "ServiceControl.h"

/// A directory of real controls over fake services. Registering it makes it the process's: once in
/// each test process.
class FakeManager : public marrow::mgr::IServiceManager {
public:
    static FakeManager& Register() {
        static ModuleClass<FakeManager> moduleClass("FakeManager");
        ModuleInterface<IServiceManager>::AddImpl(&moduleClass);
        FakeFactory::Register();
        return dynamic_cast<FakeManager&>(*ModuleAccessor<IServiceManager>::Get());
    }

    ServiceControl& Declare(const std::string& name) {
        marrow::ser::service_info_t info;
        info.service_name = name;
        m_controls.emplace_back(info, std::make_unique<ServiceControl>(info));
        return *m_controls.back().second;
    }

    void Init() override {}

    std::vector<marrow::ser::service_info_t> GetServiceList() override {
        std::vector<marrow::ser::service_info_t> list;
        for (const auto& [info, control] : m_controls) {
            list.push_back(info);
        }
        return list;
    }

    marrow::mgr::IServiceControl* GetServiceByName(std::string name) override {
        for (const auto& [info, control] : m_controls) {
            if (info.service_name == name) {
                return control.get();
            }
        }
        return nullptr;
    }

private:
    std::vector<std::pair<marrow::ser::service_info_t, std::unique_ptr<ServiceControl>>> m_controls;
};
