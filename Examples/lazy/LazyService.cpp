// SPDX-License-Identifier: Apache-2.0

// A service that the daemon doesn't start by itself, and that has no API: its manifest says LAZY,
// and its proxy is a NullServiceProxy. A call for it is answered with "Delivery failed", also when
// it runs:
//
//     hearthctl start lazy
//     hearthctl call lazy

#include <hearthd/Dlog.h>
#include <hearthd/HostedLibrary.h>
#include <hearthd/NullServiceProxy.h>
#include <hearthd/Service.h>

namespace {

class LazyService : public marrow::ser::Service {
public:
    LazyService() : Service("lazy") {}

protected:
    bool OnStart() override {
        __dlog_print(DLOG_INFO, "LAZY", "somebody woke me\n");
        return true;
    }
    bool OnStop() override { return true; }
};

} // namespace

marrow::ser::IService* g_service = new LazyService;
marrow::ser::IServiceProxy* g_service_proxy = new marrow::ser::NullServiceProxy;
