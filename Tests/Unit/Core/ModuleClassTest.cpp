// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <memory>
#include <stdlib.h>
#include <type_traits>

#include "FailingNew.h"
#include "MessageRouter.h"
#include "ModuleAccessor.h"
#include "ModuleClass.h"
#include "ServiceFactory.h"
#include "ServiceManager.h"

namespace {

using marrow::msg::DoubleModuleClass;
using marrow::msg::IMessageHandler;
using marrow::msg::IMessageRouter;
using marrow::msg::MessageRouter;

class Thing : public IModule {
public:
    void Init() override {}
};

TEST(ModuleClass, MakesANewObjectAtEachInstance) {
    const ModuleClass<Thing> thingClass("Thing");
    const std::unique_ptr<IModule> first(thingClass.Instance());
    const std::unique_ptr<IModule> second(thingClass.Instance());
    EXPECT_NE(dynamic_cast<Thing*>(first.get()), nullptr);
    EXPECT_NE(first, second);
}

TEST(ModuleClass, BearsTheNameThatItWasGiven) {
    const ModuleClass<Thing> thingClass("a name");
    EXPECT_EQ(thingClass.GetName(), "a name");
}

TEST(ModuleClass, HasNoVirtualDestructor) {
    EXPECT_FALSE(std::has_virtual_destructor_v<ModuleClass<Thing>>);
    EXPECT_FALSE(std::has_virtual_destructor_v<IModuleClass>);
    EXPECT_TRUE(std::has_virtual_destructor_v<DoubleModuleClass>);
}

TEST(RegisteredModules, HaveClassObjectsOfTheirTypesAndNames) {
    EXPECT_TRUE((std::is_same_v<decltype(ServiceManager::CLASS), ModuleClass<ServiceManager>>));
    EXPECT_TRUE((std::is_same_v<decltype(ServiceFactory::CLASS), ModuleClass<ServiceFactory>>));
    EXPECT_TRUE((std::is_same_v<decltype(MessageRouter::CLASS), DoubleModuleClass>));
    EXPECT_EQ(ServiceManager::CLASS.GetName(), "ServiceManager");
    EXPECT_EQ(ServiceFactory::CLASS.GetName(), "ServiceFactory");
    EXPECT_EQ(MessageRouter::CLASS.GetName(), "NonBlocking_MessageRouter");
}

// What was registered when static initialisation was done, ahead of the tests.
class RegisteredAtStart : public testing::Environment {
public:
    static inline std::size_t count = 1;

    void SetUp() override {
        count = ModuleInterface<IConfig>::GetImpls().size() +
                ModuleInterface<marrow::mgr::IServiceManager>::GetImpls().size() +
                ModuleInterface<marrow::ser::IServiceFactory>::GetImpls().size() +
                ModuleInterface<IMessageHandler>::GetImpls().size() +
                ModuleInterface<IMessageRouter>::GetImpls().size();
    }
};
testing::Environment* const registeredAtStart =
    testing::AddGlobalTestEnvironment(new RegisteredAtStart);

// Static initialisation makes the class objects, and main registers them.
TEST(RegisteredModules, RegisterNothingOnTheirOwn) {
    ASSERT_NE(registeredAtStart, nullptr);
    EXPECT_EQ(RegisteredAtStart::count, 0U);
}

TEST(RegisteredModules, GiveAFactoryThroughTheFactorysClassObject) {
    const std::unique_ptr<IModule> module(ServiceFactory::CLASS.Instance());
    EXPECT_NE(dynamic_cast<marrow::ser::IServiceFactory*>(module.get()), nullptr);
}

// The router looks for a bus; an address that leads nowhere is enough for it to be made.
class RouterClass : public testing::Test {
protected:
    RouterClass() { setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1); }

    // Class objects make one router for the life of the process.
    static inline bool routerIsMade = false;
};

TEST_F(RouterClass, StandsBehindBothInterfacesWithOneObject) {
    ModuleInterface<IMessageHandler>::AddImpl(&MessageRouter::CLASS);
    ModuleInterface<IMessageRouter>::AddImpl(&MessageRouter::CLASS);
    IMessageRouter* const router = ModuleAccessor<IMessageRouter>::Get();
    IMessageHandler* const handler = ModuleAccessor<IMessageHandler>::Get();
    routerIsMade = true;
    ASSERT_NE(router, nullptr);
    ASSERT_NE(handler, nullptr);
    EXPECT_EQ(static_cast<IModule*>(router), static_cast<IModule*>(handler));
    EXPECT_EQ(dynamic_cast<MessageRouter*>(router), dynamic_cast<MessageRouter*>(handler));
}

TEST_F(RouterClass, AnswersEveryRequestWithTheFirstRouter) {
    IModule* const first = MessageRouter::CLASS.Instance();
    routerIsMade = true;
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(MessageRouter::CLASS.Instance(), first);
    const DoubleModuleClass another("another class object");
    EXPECT_EQ(another.Instance(), first);
}

TEST_F(RouterClass, KeepsNoRouterWhereTheFirstCannotBeMadeAndTriesAgain) {
    if (routerIsMade) {
        GTEST_SKIP() << "another test of this process has made the router";
    }
    const DoubleModuleClass routers("routers");
    {
        const FailingNew noRouter(sizeof(MessageRouter));
        EXPECT_THROW(routers.Instance(), std::bad_alloc);
    }
    IModule* const router = routers.Instance();
    routerIsMade = true;
    EXPECT_NE(router, nullptr);
    EXPECT_EQ(routers.Instance(), router);
}

} // namespace
