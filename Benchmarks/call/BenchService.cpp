// SPDX-License-Identifier: Apache-2.0

// A hosted service that answers each call with what it was given.

#include <hearthd/HostedLibrary.h>
#include <hearthd/Service.h>
#include <hearthd/ServiceProxy.h>

namespace {

class BenchService : public marrow::ser::Service {
public:
    BenchService() : Service("bench") {}

protected:
    bool OnStart() override { return true; }
    bool OnStop() override { return true; }
};

class BenchProxy : public marrow::ser::ServiceProxy {
public:
    BenchProxy() : ServiceProxy("bench") {}

protected:
    Quill::TCMessage OnCallAPI(Quill::TCMessage& message) override { return std::move(message); }
};

} // namespace

marrow::ser::IService* g_service = new BenchService;
marrow::ser::IServiceProxy* g_service_proxy = new BenchProxy;
