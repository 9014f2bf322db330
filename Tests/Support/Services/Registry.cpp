// SPDX-License-Identifier: Apache-2.0

// A service that uses the registry's templates, and holds what a second load must find new: static
// members of templates and static objects of inline functions.

#include <hearthd/HostedLibrary.h>
#include <hearthd/IServiceFactory.h>
#include <hearthd/ModuleAccessor.h>
#include <hearthd/ModuleClass.h>
#include <hearthd/PerformanceMonitor.h>
#include <hearthd/Service.h>
#include <hearthd/ServiceProxy.h>
#include <vector>

#include "Greeting.h"
#include "HostedProbe.h"

namespace registry_service {

using marrow::ser::IServiceFactory;
using marrow::ser::Service;
using marrow::ser::ServiceProxy;
using Quill::TCMessage;

#ifndef SERVICE_NAME
#define SERVICE_NAME "registry"
#endif
constexpr const char* NAME = SERVICE_NAME;

std::vector<int> NoteInitialisation() {
    HostedProbe::Get().Add("initialised");
    return {};
}

// Both would be unique symbols of the process, were they not forbidden.
template <typename T>
struct PerType {
    static std::vector<int> calls;
};
template <typename T>
std::vector<int> PerType<T>::calls = NoteInitialisation();

inline int& CountInFunction() {
    static int count = 0;
    return count;
}

// A module interface of the library's own: its registry stands in the library.
class IOwn : public IModule {};

class Own : public IOwn {
public:
    Own() { HostedProbe::Get().Keep(this); } // the registry never frees a module
    void Init() override {}
};

class Greeting : public IGreeting {
public:
    void Init() override {}
    std::string Greet() override { return "hello from the library"; }
};

class FailingWarning : public IWarning {
public:
    FailingWarning() { throw GreetingError("the library has failed"); }
    void Init() override {}
};

ModuleClass<Own> ownClass("Own");
ModuleClass<Greeting> greetingClass("Greeting");
ModuleClass<FailingWarning> warningClass("FailingWarning");

class RegistryService : public Service {
public:
    RegistryService() : Service(NAME) {}

protected:
    // Not in the constructor: static members of templates are initialised in no certain order, and
    // this object may be made ahead of the list.
    bool OnStart() override {
        ModuleInterface<IOwn>::AddImpl(&ownClass);
        return true;
    }
    bool OnStop() override { return true; }
};

std::string Address(const void* object) {
    char text[32];
    std::snprintf(text, sizeof(text), "%p", object);
    return text;
}

class RegistryProxy : public ServiceProxy {
public:
    RegistryProxy() : ServiceProxy(NAME) {}

protected:
    TCMessage OnCallAPI(TCMessage& message) override {
        const std::string what = message.payload["what"].asString();
        TCMessage reply;
        if (what == "count") {
            PerType<RegistryProxy>::calls.push_back(1);
            reply.payload["in_template"] = static_cast<int>(PerType<RegistryProxy>::calls.size());
            reply.payload["in_function"] = ++CountInFunction();
            reply.payload["own_classes"] =
                static_cast<int>(ModuleInterface<IOwn>::GetImpls().size());
            reply.payload["own_module"] = ModuleAccessor<IOwn>::Get() != nullptr;
        } else if (what == "shared") {
            reply.payload["factory"] = Address(ModuleAccessor<IServiceFactory>::Get());
            reply.payload["monitor"] = Address(&PerformanceMonitor::Get());
            reply.payload["current"] = Address(Service::GetCurrent());
        } else if (what == "casts") {
            IModule* const module = ModuleAccessor<IServiceFactory>::Get();
            reply.payload["factory"] = dynamic_cast<IServiceFactory*>(module) != nullptr;
            reply.payload["own"] = dynamic_cast<IOwn*>(module) != nullptr;
            reply.payload["service"] =
                dynamic_cast<RegistryService*>(Service::GetCurrent()) != nullptr;
            reply.payload["base"] = dynamic_cast<Service*>(g_service) != nullptr;
        } else if (what == "catch") {
            try {
                FailInTheProgram();
            } catch (const GreetingError& error) {
                reply.payload["caught"] = error.what();
            }
        } else if (what == "register") {
            ModuleInterface<IGreeting>::AddImpl(&greetingClass);
            ModuleInterface<IWarning>::AddImpl(&warningClass);
        }
        return reply;
    }
};

} // namespace registry_service

marrow::ser::IService* g_service = new registry_service::RegistryService;
marrow::ser::IServiceProxy* g_service_proxy = new registry_service::RegistryProxy;
