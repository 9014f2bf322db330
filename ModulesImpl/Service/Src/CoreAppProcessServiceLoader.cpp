// SPDX-License-Identifier: Apache-2.0
#include "CoreAppProcessServiceLoader.h"

#include <dlfcn.h>

#include "HostedVariables.h"
#include "Log.h"
#include "Probe.h"

using marrow::ser::IService;
using marrow::ser::IServiceProxy;
using marrow::ser::LoadType;
using marrow::ser::service_info_t;

namespace {

const char* LastError() {
    const char* error = dlerror();
    return error == nullptr ? "(null)" : error; // nothing to say where dlsym has succeeded
}

// Reads the pointer variable `name` of a library. The address isn't examined: a library without
// that variable breaks the contract of hosted libraries, and takes the daemon down right here
// instead of running on half a service.
template <typename Pointer>
Pointer ReadVariable(void* handle, const char* name) {
    return *static_cast<Pointer*>(dlsym(handle, name));
}

} // namespace

service_context_t* CoreAppProcessServiceLoader::Load(service_info_t info) {
    if (info.load_type != LoadType::COREAPP_PROCESS) {
        LOGE("service load_type does not match this IServiceLoader.");
        return nullptr;
    }
    // An empty path would open this program itself, which is no library of a service.
    const bool hasPath = !info.lib_path.empty();
    void* const handle = hasPath ? dlopen(info.lib_path.c_str(), RTLD_NOW) : nullptr;
    if (handle == nullptr) {
        LOGE("failed to load library. Error msg: %s", hasPath ? LastError() : "no path is given");
        return nullptr;
    }
    HEARTHD_PROBE(hearthd, library_opened, info.service_name.c_str());
    auto* const service = ReadVariable<IService*>(handle, marrow::ser::SERVICE_VARIABLE);
    if (service == nullptr) {
        LOGE("failed to acquire IService instance. Error msg: %s", LastError());
        dlclose(handle);
        return nullptr;
    }
    auto* const proxy = ReadVariable<IServiceProxy*>(handle, marrow::ser::PROXY_VARIABLE);
    if (proxy == nullptr) {
        LOGE("failed to acquire IServiceProxy instance. Error msg: %s", LastError());
        dlclose(handle);
        return nullptr;
    }
    LOGI("\n######## Service Loaded ########\nname: %s\nlib_path: %s\nIService: %p\n"
         "IServiceProxy: %p\n################################",
         info.service_name.c_str(), info.lib_path.c_str(), static_cast<void*>(service),
         static_cast<void*>(proxy));
    return new service_context_t{
        info.service_name, info.lib_path, info.priority, info.load_type, info.launch_type,
        info.dependencies, service,       proxy,         handle};
}

bool CoreAppProcessServiceLoader::Unload(service_context_t* context) {
    if (context == nullptr) {
        LOGE("service context is NULL");
        return false;
    }
    if (context->handle != nullptr) {
        if (context->service->IsStarted() && !context->service->Stop()) {
            LOGE("service can not be stopped. FORCE UNLOAD");
        }
        delete context->proxy;
        context->proxy = nullptr;
        delete context->service;
        context->service = nullptr;
        dlclose(context->handle);
        context->handle = nullptr;
    }
    LOGI("\n######## Service Unloaded ########\nname: %s\nlib_path: %s\n"
         "##################################",
         context->service_name.c_str(), context->lib_path.c_str());
    delete context;
    return true;
}
