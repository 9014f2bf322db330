// SPDX-License-Identifier: Apache-2.0
#include "FakeServices.h"

#include "ModuleAccessor.h"

FakeFactory& FakeFactory::Get() {
    return dynamic_cast<FakeFactory&>(*ModuleAccessor<marrow::ser::IServiceFactory>::Get());
}

marrow::ser::IService* FakeFactory::CreateIService(marrow::ser::service_info_t info) {
    calls.push_back("create " + info.service_name);
    onCreate();
    return refused[info.service_name] ? nullptr : &service;
}

marrow::ser::IServiceProxy* FakeFactory::CreateIServiceProxy(marrow::ser::IService* /*service*/) {
    calls.emplace_back("proxy");
    return withProxy ? &proxy : nullptr;
}

void FakeFactory::DeleteIService(marrow::ser::IService* /*service*/) {
    calls.emplace_back("delete");
    onDelete();
}
