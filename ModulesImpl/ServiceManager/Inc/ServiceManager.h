// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "IServiceControl.h"
#include "IServiceManager.h"
#include "ModuleClass.h"

/// Owns the declared services and starts them.
///
/// All of the work is done by the constructor, on the main thread: it reads the manifests, sorts
/// the services by priority and queues one job, on the worker "Init", that starts those which start
/// by themselves, one at a time. Afterwards nothing changes any more, so that any thread may read
/// without a lock. The order comes from the priority alone; dependencies are kept and handed out,
/// and whoever writes a manifest honours them by the choice of priorities.
class ServiceManager : public marrow::mgr::IServiceManager {
public:
    static ModuleClass<ServiceManager> CLASS;

    static const std::string CONFIG_FILE_PATH; // read by nothing: there is no configuration file
    static const std::string SERVICE_MANIFEST_DIR_PATH;
    static const std::string SERVICE_MANIFEST_POSTFIX;

    ServiceManager();

    void Init() override;
    std::vector<marrow::ser::service_info_t> GetServiceList() override;
    marrow::mgr::IServiceControl* GetServiceByName(std::string name) override;

    /// Starts `service` if it is one that starts by itself.
    static void StartAutostartService(marrow::mgr::IServiceControl* service);
    /// Loads and starts `service` and logs how that went.
    static void StartService(marrow::mgr::IServiceControl* service);

    /// Reads one manifest and appends what it declares. A file that can't be read or parsed
    /// declares nothing; a value of a type that can't be converted raises Json::Exception, which
    /// ends the daemon.
    void LoadServiceManifest(std::string path);

private:
    void LoadServiceManiests();

    // Sorted by the constructor, greatest priority first. Never deleted.
    std::vector<marrow::mgr::IServiceControl*> m_services;
    std::vector<marrow::ser::service_info_t> m_serviceInfos; // in reading order
};
