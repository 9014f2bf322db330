// SPDX-License-Identifier: Apache-2.0
#include "ServiceFactory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Caller.h"
#include "Dlog.h"
#include "Gate.h"
#include "HostedLibraryTest.h"
#include "IService.h"
#include "IServiceProxy.h"
#include "ModuleAccessor.h"
#include "NullServiceProxy.h"
#include "PrivateMember.h"
#include "ServiceLoader.h"

namespace {

using marrow::ser::IService;
using marrow::ser::IServiceFactory;
using marrow::ser::IServiceProxy;
using marrow::ser::LoadType;
using marrow::ser::service_info_t;
using Texts = std::vector<std::string>;

struct Contexts : PrivateMember<Contexts, std::vector<service_context_t*> ServiceFactory::*> {};
struct FactoryMutex : PrivateMember<FactoryMutex, marrow::base::Mutex ServiceFactory::*> {};

} // namespace

template struct ExposeMember<Contexts, &ServiceFactory::m_contexts>;
template struct ExposeMember<FactoryMutex, &ServiceFactory::m_mutex>;

namespace {

class FactoryOfServices : public HostedLibrary {
protected:
    ServiceFactory m_factory;
    HostedProbe& m_probe = HostedProbe::Get();

    IService* Create(const std::string& library, const std::string& service) {
        return m_factory.CreateIService(InfoOf(library, service));
    }
    std::vector<service_context_t*>& GetContexts() { return m_factory.*MemberOf(Contexts()); }

    static int CountErrors() { return LogCapture::CountBeginning(DLOG_ERROR, ""); }
    // That one ERROR line has been written, and it is this one.
    static void ExpectOneError(const char* text) {
        EXPECT_EQ(LogCapture::Count(DLOG_ERROR, text), 1);
        EXPECT_EQ(CountErrors(), 1);
    }
};

TEST_F(FactoryOfServices, LoadsAServiceAndHandsOutItsProxy) {
    IService* const service = Create("probed", "probed");
    ASSERT_NE(service, nullptr);
    ASSERT_EQ(GetContexts().size(), 1U);
    EXPECT_EQ(service, GetContexts()[0]->service);
    IServiceProxy* const proxy = m_factory.CreateIServiceProxy(service);
    EXPECT_EQ(proxy, GetContexts()[0]->proxy);
    EXPECT_EQ(m_factory.CreateIServiceProxy(service), proxy);
    EXPECT_EQ(m_probe.Texts(), (Texts{"library opened", "service made", "proxy made"}));
    EXPECT_EQ(CountErrors(), 0);
    m_factory.DeleteIService(service);
}

TEST_F(FactoryOfServices, UnloadsAServiceAndForgetsIt) {
    IService* const service = Create("probed", "probed");
    ASSERT_NE(service, nullptr);
    ASSERT_TRUE(service->Start());
    m_factory.DeleteIService(service);
    EXPECT_EQ(m_probe.Texts(),
              (Texts{"library opened", "service made", "proxy made", "OnStart", "OnStop",
                     "proxy deleted", "service deleted", "library closed"}));
    EXPECT_FALSE(IsMapped("probed"));
    EXPECT_TRUE(GetContexts().empty());
    EXPECT_EQ(CountErrors(), 0);
}

TEST_F(FactoryOfServices, ReturnsTheFirstInstanceForANameThatItKnows) {
    IService* const first = Create("probed", "name");
    ASSERT_NE(first, nullptr);
    const Texts before = m_probe.Texts();
    service_info_t again = InfoOf("without_api", "name"); // the path and the type don't count
    again.load_type = static_cast<LoadType>(7);
    EXPECT_EQ(m_factory.CreateIService(again), first);
    ExpectOneError("service already created");
    EXPECT_EQ(m_probe.Texts(), before);
    EXPECT_FALSE(IsMapped("without_api"));
    EXPECT_EQ(GetContexts().size(), 1U);
    m_factory.DeleteIService(first);
}

TEST_F(FactoryOfServices, ComparesTheWholeName) {
    IService* const first = Create("probed", "name");
    IService* const second = Create("without_api", "name2");
    EXPECT_NE(first, second);
    EXPECT_EQ(CountErrors(), 0);
    m_factory.DeleteIService(first);
    m_factory.DeleteIService(second);
}

TEST_F(FactoryOfServices, CannotLoadAServiceOfAProcessOfItsOwn) {
    service_info_t info = InfoOf("probed", "external");
    info.load_type = LoadType::EXTERNAL_PROCESS;
    EXPECT_EQ(m_factory.CreateIService(info), nullptr);
    ExpectOneError("service could not be load"); // as it stands
    EXPECT_TRUE(GetContexts().empty());
}

TEST_F(FactoryOfServices, RefusesALoadTypeThatDoesNotExist) {
    service_info_t info = InfoOf("probed", "odd");
    info.load_type = static_cast<LoadType>(2);
    EXPECT_EQ(m_factory.CreateIService(info), nullptr);
    ExpectOneError("service info contains incorrect load type");
    EXPECT_TRUE(GetContexts().empty());
    EXPECT_FALSE(IsMapped("probed"));
}

TEST_F(FactoryOfServices, ReportsAFailedLoadBehindTheLoadersOwnLineAndKeepsNothing) {
    IService* const good = Create("without_api", "good");
    EXPECT_EQ(Create("no_such_library", "bad"), nullptr);
    std::vector<std::string> errors;
    for (const LogCapture::Line& line : LogCapture::Lines()) {
        if (line.priority == DLOG_ERROR) {
            errors.push_back(line.text);
        }
    }
    ASSERT_EQ(errors.size(), 2U);
    EXPECT_THAT(errors[0], testing::StartsWith("failed to load library. Error msg: "));
    EXPECT_EQ(errors[1], "service could not be load");
    ASSERT_EQ(GetContexts().size(), 1U);
    EXPECT_EQ(GetContexts()[0]->service, good);
    IService* const later = Create("probed", "bad"); // the name is free
    EXPECT_NE(later, nullptr);
    m_factory.DeleteIService(later);
    m_factory.DeleteIService(good);
}

TEST_F(FactoryOfServices, HasNoProxyForNull) {
    EXPECT_EQ(m_factory.CreateIServiceProxy(nullptr), nullptr);
    ExpectOneError("IService is null");
}

TEST_F(FactoryOfServices, HasNoProxyForAnUnknownService) {
    IService* const service = Create("probed", "probed");
    auto* const unknown = reinterpret_cast<IService*>(&m_factory); // not to be touched
    EXPECT_EQ(m_factory.CreateIServiceProxy(unknown), nullptr);
    ExpectOneError("IServiceProxy is null");
    m_factory.DeleteIService(service);
}

TEST_F(FactoryOfServices, HasNoProxyWhereTheContextHasNone) {
    IService* const service = Create("probed", "probed");
    ASSERT_EQ(GetContexts().size(), 1U);
    IServiceProxy* const proxy = std::exchange(GetContexts()[0]->proxy, nullptr);
    EXPECT_EQ(m_factory.CreateIServiceProxy(service), nullptr);
    ExpectOneError("IServiceProxy is null");
    GetContexts()[0]->proxy = proxy;
    m_factory.DeleteIService(service);
}

TEST_F(FactoryOfServices, HandsOutTheProxyOfAServiceWithoutAnApi) {
    IService* const service = Create("without_api", "without_api");
    ASSERT_NE(service, nullptr);
    EXPECT_NE(dynamic_cast<marrow::ser::NullServiceProxy*>(m_factory.CreateIServiceProxy(service)),
              nullptr);
    m_factory.DeleteIService(service);
}

TEST_F(FactoryOfServices, LogsADeletionOfNullAndChangesNothing) {
    IService* const service = Create("probed", "probed");
    m_factory.DeleteIService(nullptr);
    ExpectOneError("IService is null");
    EXPECT_EQ(GetContexts().size(), 1U);
    m_factory.DeleteIService(service);
}

TEST_F(FactoryOfServices, LogsADeletionOfAnUnknownServiceAndChangesNothing) {
    IService* const service = Create("probed", "probed");
    m_factory.DeleteIService(reinterpret_cast<IService*>(&m_factory)); // not to be touched
    ExpectOneError("service context is null");
    EXPECT_EQ(GetContexts().size(), 1U);
    EXPECT_TRUE(IsMapped("probed"));
    m_factory.DeleteIService(service);
}

TEST_F(FactoryOfServices, HasNoProxyAfterTheDeletionAndLoadsTheNameAgain) {
    IService* const service = Create("probed", "probed");
    m_factory.DeleteIService(service);
    EXPECT_EQ(m_factory.CreateIServiceProxy(service), nullptr);
    ExpectOneError("IServiceProxy is null");
    IService* const renewed = Create("probed", "probed");
    ASSERT_NE(renewed, nullptr);
    EXPECT_NE(m_factory.CreateIServiceProxy(renewed), nullptr);
    EXPECT_EQ(CountErrors(), 1);
    m_factory.DeleteIService(renewed);
}

TEST_F(FactoryOfServices, KeepsTheOrderOfTheOthersAtADeletion) {
    std::vector<service_context_t> others(4);
    IService* const service = Create("probed", "probed");
    service_context_t* const own = GetContexts()[0];
    GetContexts() = {&others[0], &others[1], own, &others[2], &others[3]};
    m_factory.DeleteIService(service);
    EXPECT_EQ(GetContexts(),
              (std::vector<service_context_t*>{&others[0], &others[1], &others[2], &others[3]}));
}

// No loader declines a context of its own; here stands one of the loader that declines everything.
TEST_F(FactoryOfServices, ReportsAFailedUnloadAndForgetsTheServiceAllTheSame) {
    service_context_t external;
    external.load_type = LoadType::EXTERNAL_PROCESS;
    external.service = reinterpret_cast<IService*>(&external); // not to be touched
    GetContexts().push_back(&external);
    m_factory.DeleteIService(external.service);
    ExpectOneError("failed to unload service");
    EXPECT_TRUE(GetContexts().empty());
}

TEST_F(FactoryOfServices, LeavesLoadedServicesAloneAtItsEnd) {
    auto factory = std::make_unique<ServiceFactory>();
    IService* const service = factory->CreateIService(InfoOf("probed", "probed"));
    ASSERT_NE(service, nullptr);
    ASSERT_TRUE(service->Start());
    service_context_t* const context = ((*factory).*MemberOf(Contexts())).front();
    factory.reset();
    EXPECT_TRUE(service->IsStarted());
    EXPECT_TRUE(IsMapped("probed"));
    EXPECT_THAT(m_probe.Texts(), testing::Not(testing::Contains("OnStop")));
    EXPECT_TRUE(ServiceLoader::Get(LoadType::COREAPP_PROCESS)->Unload(context));
}

TEST_F(FactoryOfServices, HoldsItsLockAcrossTheLibrarysInitialisation) {
    Gate inside;
    Gate finish;
    m_probe.atOpen = [&] {
        inside.Open();
        finish.Wait();
    };
    Caller loading([&] { return Create("probed", "probed"); });
    ASSERT_TRUE(inside.Wait());
    // Null is refused ahead of the lock.
    EXPECT_EQ(m_factory.CreateIServiceProxy(nullptr), nullptr);
    m_factory.DeleteIService(nullptr);
    EXPECT_FALSE(loading.IsDone());
    Caller asking([&] { return m_factory.CreateIServiceProxy(reinterpret_cast<IService*>(1)); });
    EXPECT_TRUE(asking.IsBlockedBy(m_factory.*MemberOf(FactoryMutex())));
    Caller loadingAnother([&] { return Create("without_api", "other"); });
    EXPECT_TRUE(loadingAnother.IsBlockedBy(m_factory.*MemberOf(FactoryMutex())));
    EXPECT_FALSE(IsMapped("without_api"));
    finish.Open();
    EXPECT_NE(loading.Join(), nullptr);
    EXPECT_EQ(asking.Join(), nullptr);
    EXPECT_NE(loadingAnother.Join(), nullptr);
    m_factory.DeleteIService(loading.Join());
    m_factory.DeleteIService(loadingAnother.Join());
}

TEST_F(FactoryOfServices, HoldsItsLockAcrossAServicesStop) {
    IService* const service = Create("probed", "probed");
    ASSERT_NE(service, nullptr);
    ASSERT_TRUE(service->Start());
    Gate inside;
    Gate finish;
    m_probe.atStop = [&] {
        inside.Open();
        finish.Wait();
    };
    Caller deleting([&] {
        m_factory.DeleteIService(service);
        return true;
    });
    ASSERT_TRUE(inside.Wait());
    Caller asking([&] { return m_factory.CreateIServiceProxy(service); });
    EXPECT_TRUE(asking.IsBlockedBy(m_factory.*MemberOf(FactoryMutex())));
    finish.Open();
    deleting.Join();
    EXPECT_EQ(asking.Join(), nullptr);
}

TEST_F(FactoryOfServices, HasNothingToInitialise) {
    m_factory.Init();
    EXPECT_TRUE(GetContexts().empty());
    EXPECT_EQ(CountErrors(), 0);
}

TEST(ServiceFactoryModule, IsReachedThroughTheRegistry) {
    ModuleInterface<IServiceFactory>::AddImpl(&ServiceFactory::CLASS);
    IServiceFactory* const factory = ModuleAccessor<IServiceFactory>::Get();
    ASSERT_NE(factory, nullptr);
    EXPECT_NE(dynamic_cast<ServiceFactory*>(factory), nullptr);
    EXPECT_EQ(ModuleAccessor<IServiceFactory>::Get(), factory);
}

} // namespace
