// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "IService.h"
#include "IServiceFactory.h"
#include "IServiceProxy.h"
#include "ModuleClass.h"
#include "ModuleInterface.h"
#include "Worker.h"

/// A service whose operations are the test's.
struct FakeService : marrow::ser::IService {
    std::function<bool()> onStart = [] { return true; };
    std::function<bool()> onStop = [] { return true; };
    std::shared_ptr<marrow::ser::Worker> worker;

    bool Start() override { return onStart(); }
    bool Stop() override { return onStop(); }
    bool IsStarted() override { return false; }
    std::shared_ptr<marrow::ser::Worker> GetWorker() override { return worker; }
};

struct FakeProxy : marrow::ser::IServiceProxy {
    std::function<Quill::TCMessage(const Quill::TCMessage&)> onCall =
        [](const Quill::TCMessage& message) { return message; };

    Quill::TCMessage CallAPI(const Quill::TCMessage& message) override { return onCall(message); }
    void SendNotification(const Quill::TCMessage& /*message*/) override {}
};

/// A factory that loads fakes and keeps a record of what it was asked, in `calls`. Registering it
/// makes it the process's: once in each test process, before the first module is asked for.
class FakeFactory : public marrow::ser::IServiceFactory {
public:
    static FakeFactory& Register() {
        static ModuleClass<FakeFactory> moduleClass("FakeFactory");
        ModuleInterface<marrow::ser::IServiceFactory>::AddImpl(&moduleClass);
        return Get();
    }

    /// The one that the registry has made, or will make.
    static FakeFactory& Get();

    void Init() override {}
    marrow::ser::IService* CreateIService(marrow::ser::service_info_t info) override;
    marrow::ser::IServiceProxy* CreateIServiceProxy(marrow::ser::IService* service) override;
    void DeleteIService(marrow::ser::IService* service) override;

    std::vector<std::string> calls;
    std::map<std::string, bool> refused; ///< names that don't load
    bool withProxy = true;
    std::function<void()> onCreate = [] {}; ///< called ahead of each load, and of each deletion
    std::function<void()> onDelete = [] {};
    FakeService service; ///< what every load yields
    FakeProxy proxy;
};
