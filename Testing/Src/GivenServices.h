// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "IServiceManager.h"
#include "ModuleClass.h"
#include "Mutex.h"
#include "ServiceFactory.h"

namespace hearthd::testing {

/// The daemon's factory, which also "loads" services that the test program holds itself. Any
/// thread; m_mutex guards the table, and no service runs under it.
class GivenServices : public ServiceFactory {
public:
    static ModuleClass<GivenServices> CLASS;
    /// The process's one; Host has registered it.
    static GivenServices& Get();

    void Give(const std::string& name, std::unique_ptr<marrow::ser::IService> service,
              std::unique_ptr<marrow::ser::IServiceProxy> proxy);
    /// Ends one that was never loaded.
    void TakeBack(const std::string& name);
    /// Keeps one that doesn't stop for ever; its name is free.
    void Abandon(const std::string& name);

    marrow::ser::IService* CreateIService(marrow::ser::service_info_t info) override;
    marrow::ser::IServiceProxy* CreateIServiceProxy(marrow::ser::IService* service) override;
    void DeleteIService(marrow::ser::IService* service) override;

private:
    struct Given {
        std::unique_ptr<marrow::ser::IService> service;
        std::unique_ptr<marrow::ser::IServiceProxy> proxy; // goes first
    };
    // Empty where it is none of these.
    std::map<std::string, Given>::node_type Remove(const marrow::ser::IService* service);

    marrow::base::Mutex m_mutex;
    std::map<std::string, Given> m_given GUARDED_BY(m_mutex);
    std::vector<std::map<std::string, Given>::node_type> m_abandoned GUARDED_BY(m_mutex);
};

/// The directory of the services that a test has declared, in the place of the one that reads
/// manifests. Any thread.
class DeclaredServices : public marrow::mgr::IServiceManager {
public:
    static ModuleClass<DeclaredServices> CLASS;
    static DeclaredServices& Get();

    /// The control lives as long as the process: whoever has asked for it may still look at it.
    marrow::mgr::IServiceControl* Declare(const marrow::ser::service_info_t& info);
    void Withdraw(const std::string& name);

    void Init() override {}
    std::vector<marrow::ser::service_info_t> GetServiceList() override;
    marrow::mgr::IServiceControl* GetServiceByName(std::string name) override;

private:
    struct Declared {
        marrow::ser::service_info_t info;
        marrow::mgr::IServiceControl* control;
    };

    marrow::base::Mutex m_mutex;
    std::map<std::string, Declared> m_declared GUARDED_BY(m_mutex);
    std::vector<std::unique_ptr<marrow::mgr::IServiceControl>> m_controls GUARDED_BY(m_mutex);
};

} // namespace hearthd::testing
