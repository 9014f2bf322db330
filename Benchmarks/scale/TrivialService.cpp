// SPDX-License-Identifier: Apache-2.0

// The least that a hosted service can be. run-benchmark makes as many copies of the library as it
// wants services: each is called as its file is.

#include <dlfcn.h>
#include <filesystem>
#include <string>

#include <hearthd/HostedLibrary.h>
#include <hearthd/Service.h>
#include <hearthd/ServiceProxy.h>

namespace {

std::string OwnName() {
    static const int here = 0;
    Dl_info library{};
    dladdr(&here, &library);
    return std::filesystem::path(library.dli_fname).stem();
}

class TrivialService : public marrow::ser::Service {
public:
    TrivialService() : Service(OwnName()) {}

protected:
    bool OnStart() override { return true; }
    bool OnStop() override { return true; }
};

class TrivialProxy : public marrow::ser::ServiceProxy {
public:
    TrivialProxy() : ServiceProxy(OwnName()) {}

protected:
    Quill::TCMessage OnCallAPI(Quill::TCMessage& message) override { return std::move(message); }
};

} // namespace

marrow::ser::IService* g_service = new TrivialService;
marrow::ser::IServiceProxy* g_service_proxy = new TrivialProxy;
