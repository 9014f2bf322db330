// SPDX-License-Identifier: Apache-2.0

// How often a message's payload is copied on its road: a copy of a large one costs as much as to
// read it.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "CopyCount.h"
#include "FakeServices.h"
#include "IServiceManager.h"
#include "KeepForEver.h"
#include "MessageRouter.h"
#include "ModuleClass.h"
#include "ModuleInterface.h"
#include "PrivateBus.h"
#include "RawClient.h"
#include "RunMainLoop.h"
#include "ServiceControl.h"
#include "ServiceProxy.h"
#include "WorkerFactory.h"
#include "WorkerTools.h"

namespace {

using marrow::mgr::IServiceControl;
using marrow::msg::MessageRouter;
using Quill::TCMessage;

constexpr const char* SERVICE = "probe";

TCMessage CountedMessage() {
    TCMessage message;
    message.subject = SERVICE;
    message.payload[CopyCount::COUNTED] = true;
    return message;
}

// A service's own part, which makes no copy.
class AnsweringProxy : public marrow::ser::ServiceProxy {
public:
    AnsweringProxy() : ServiceProxy(SERVICE) {}

protected:
    TCMessage OnCallAPI(TCMessage& message) override { return std::move(message); }
};

class OneService : public marrow::mgr::IServiceManager {
public:
    OneService() {
        control.Load();
        control.Start();
    }

    void Init() override {}
    std::vector<marrow::ser::service_info_t> GetServiceList() override { return {}; }
    IServiceControl* GetServiceByName(std::string name) override {
        return name == SERVICE ? &control : nullptr;
    }

    ServiceControl control{[] {
        marrow::ser::service_info_t info;
        info.service_name = SERVICE;
        return info;
    }()};
};

class CallCopies : public testing::Test {
protected:
    CallCopies() {
        static ModuleClass<OneService> managerClass("OneService");
        ModuleInterface<marrow::mgr::IServiceManager>::AddImpl(&managerClass);
        factory.service.worker = worker;
        factory.proxy.onCall = [this](const TCMessage& message) { return proxy.CallAPI(message); };
    }

    PrivateBus bus;
    std::shared_ptr<marrow::ser::Worker> worker =
        marrow::ser::WorkerFactory::Get().GetWorker(SERVICE);
    AnsweringProxy proxy;
    FakeFactory& factory = FakeFactory::Register();
};

// The service's own copy, so that the caller's message stays as it is, and the reply out of the
// proxy, which keeps it.
TEST_F(CallCopies, AreTwoFromTheBusToTheServiceAndBack) {
    KeepForEver<MessageRouter>();
    RunMainLoop();
    RawClient client;
    const std::string payload = "{\"" + std::string(CopyCount::COUNTED) + "\":true}";
    CopyCount::Reset();
    EXPECT_EQ(client.Call(MessageRouter::DBUS_PRIVATE_NAME, SERVICE, payload).payload, payload);
    EXPECT_EQ(CopyCount::Get(), 2);
}

TEST_F(CallCopies, AreTwoFromAnotherThreadAsWell) {
    const TCMessage message = CountedMessage();
    CopyCount::Reset();
    EXPECT_EQ(proxy.CallAPI(message).payload, message.payload);
    EXPECT_EQ(CopyCount::Get(), 2);
}

} // namespace
