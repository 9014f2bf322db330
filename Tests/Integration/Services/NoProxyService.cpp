// SPDX-License-Identifier: Apache-2.0

// A library that lacks one of its two variables.

#include <hearthd/HostedLibrary.h>
#include <hearthd/Service.h>

namespace {

class LoneService : public marrow::ser::Service {
public:
    LoneService() : Service("no_proxy") {}

protected:
    bool OnStart() override { return true; }
    bool OnStop() override { return true; }
};

} // namespace

marrow::ser::IService* g_service = new LoneService;
