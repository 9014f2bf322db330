// SPDX-License-Identifier: Apache-2.0

// The whole life of a hosted library, more than once in one process, and what it shares with the
// program that hosts it.

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <string>

#include "ElfSymbols.h"
#include "HostedLibraryTest.h"
#include "IService.h"
#include "IServiceProxy.h"
#include "ModuleAccessor.h"
#include "NullServiceProxy.h"
#include "PerformanceMonitor.h"
#include "Service.h"
#include "ServiceFactory.h"
#include "Services/Greeting.h"
#include "Text.h"

namespace {

using marrow::ser::IService;
using marrow::ser::IServiceFactory;
using marrow::ser::IServiceProxy;

class HostedReload : public HostedLibrary {
protected:
    HostedReload() {
        static const bool registered = [] {
            ModuleInterface<IServiceFactory>::AddImpl(&ServiceFactory::CLASS);
            return true;
        }();
        EXPECT_TRUE(registered);
        m_factory = ModuleAccessor<IServiceFactory>::Get();
    }

    // A loaded and started service.
    void Load(const std::string& library = "registry") {
        m_service = m_factory->CreateIService(InfoOf(library, library));
        ASSERT_NE(m_service, nullptr);
        m_proxy = m_factory->CreateIServiceProxy(m_service);
        ASSERT_NE(m_proxy, nullptr);
        ASSERT_TRUE(m_service->Start());
    }
    void Unload() {
        EXPECT_TRUE(m_service->Stop());
        m_factory->DeleteIService(m_service);
    }
    Json::Value Ask(const std::string& what) {
        Quill::TCMessage message;
        message.payload["what"] = what;
        return m_proxy->CallAPI(message).payload;
    }

    IServiceFactory* m_factory = nullptr;
    IService* m_service = nullptr;
    IServiceProxy* m_proxy = nullptr;
};

TEST_F(HostedReload, FindsEverythingNewAtEachLoad) {
    for (int load = 1; load <= 3; ++load) {
        SCOPED_TRACE(load);
        ASSERT_NO_FATAL_FAILURE(Load());
        EXPECT_TRUE(IsMapped("registry"));
        EXPECT_EQ(HostedProbe::Get().Texts().size(), static_cast<std::size_t>(load));
        for (int call = 1; call <= 2; ++call) {
            const Json::Value counts = Ask("count");
            EXPECT_EQ(counts["in_template"].asInt(), call);
            EXPECT_EQ(counts["in_function"].asInt(), call);
            EXPECT_EQ(counts["own_classes"].asInt(), 1);
            EXPECT_TRUE(counts["own_module"].asBool());
        }
        Unload();
        EXPECT_FALSE(IsMapped("registry"));
    }
}

TEST_F(HostedReload, MeetsNoUniqueSymbolInALibraryOfTheSdk) {
    for (const ElfSymbol& symbol : DynamicSymbols(PathOf("registry"))) {
        EXPECT_FALSE(symbol.isUnique) << symbol.name;
    }
}

// What the first test would see without the SDK's -fno-gnu-unique.
TEST_F(HostedReload, FindsOldObjectsInALibraryWithUniqueSymbols) {
    const auto symbols = DynamicSymbols(PathOf("registry_unique"));
    if (std::none_of(symbols.begin(), symbols.end(), std::mem_fn(&ElfSymbol::isUnique))) {
        GTEST_SKIP() << "this compiler makes no unique symbols";
    }
    ASSERT_NO_FATAL_FAILURE(Load("registry_unique"));
    EXPECT_EQ(Ask("count")["in_template"].asInt(), 1);
    Unload();
    EXPECT_TRUE(IsMapped("registry_unique"));
    ASSERT_EQ(HostedProbe::Get().Texts().size(), 1U);
}

TEST_F(HostedReload, ReachesTheProgramsRegistryMonitorAndThreadData) {
    ASSERT_NO_FATAL_FAILURE(Load());
    const Json::Value shared = Ask("shared");
    EXPECT_EQ(shared["factory"].asString(), Pointer(m_factory));
    EXPECT_EQ(shared["monitor"].asString(), Pointer(&PerformanceMonitor::Get()));
    EXPECT_EQ(shared["current"].asString(),
              Pointer(dynamic_cast<marrow::ser::Service*>(m_service)));
    Unload();
}

TEST_F(HostedReload, CastsAcrossTheBoundaryInTheLibrary) {
    ASSERT_NO_FATAL_FAILURE(Load());
    const Json::Value casts = Ask("casts");
    EXPECT_TRUE(casts["factory"].asBool());
    EXPECT_FALSE(casts["own"].asBool());
    EXPECT_TRUE(casts["service"].asBool());
    EXPECT_TRUE(casts["base"].asBool());
    Unload();
}

TEST_F(HostedReload, CastsAcrossTheBoundaryInTheProgram) {
    ASSERT_NO_FATAL_FAILURE(Load());
    EXPECT_NE(dynamic_cast<marrow::ser::Service*>(m_service), nullptr);
    EXPECT_NE(dynamic_cast<marrow::ser::ServiceProxy*>(m_proxy), nullptr);
    EXPECT_EQ(dynamic_cast<marrow::ser::NullServiceProxy*>(m_proxy), nullptr);
    Unload();
}

TEST_F(HostedReload, CatchesTheProgramsExceptionInTheLibrary) {
    ASSERT_NO_FATAL_FAILURE(Load());
    EXPECT_EQ(Ask("catch")["caught"].asString(), "the program has failed");
    Unload();
}

// The registry keeps what a library has registered, so that this library stays open.
TEST_F(HostedReload, GivesTheProgramTheModulesAndExceptionsOfTheLibrary) {
    ASSERT_NO_FATAL_FAILURE(Load("registry_kept"));
    EXPECT_EQ(ModuleAccessor<IGreeting>::Get(), nullptr);
    Ask("register");
    ASSERT_EQ(ModuleInterface<IGreeting>::GetImpls().size(), 1U);
    IGreeting* const greeting = ModuleAccessor<IGreeting>::Get();
    ASSERT_NE(greeting, nullptr);
    EXPECT_EQ(greeting->Greet(), "hello from the library");
    EXPECT_THROW(ModuleAccessor<IWarning>::Create(), GreetingError);
}

} // namespace
