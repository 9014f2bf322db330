// SPDX-License-Identifier: Apache-2.0
#include "CoreAppProcessServiceLoader.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "DeathTest.h"
#include "Dlog.h"
#include "FakeServices.h"
#include "HostedLibraryTest.h"
#include "NullServiceProxy.h"
#include "Service.h"
#include "Text.h"
#include "WorkerFactory.h"
#include "WorkerTools.h"

namespace {

using marrow::ser::IServiceProxy;
using marrow::ser::LaunchType;
using marrow::ser::LoadType;
using marrow::ser::service_info_t;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using Texts = std::vector<std::string>;

class CoreLoader : public HostedLibrary {
protected:
    CoreAppProcessServiceLoader m_loader;
    HostedProbe& m_probe = HostedProbe::Get();

    service_context_t* Load(const std::string& library) {
        return m_loader.Load(InfoOf(library, library + " service"));
    }
    static int CountErrors() { return LogCapture::CountBeginning(DLOG_ERROR, ""); }
    static int CountBanners() { return LogCapture::CountBeginning(DLOG_INFO, "\n########"); }
};

TEST_F(CoreLoader, RefusesAnotherLoadTypeAndTouchesNoFile) {
    for (const int type : {1, 2, -1}) {
        service_info_t info = InfoOf("probed", "probed");
        info.load_type = static_cast<LoadType>(type);
        LogCapture::Clear();
        EXPECT_EQ(m_loader.Load(info), nullptr);
        EXPECT_EQ(
            LogCapture::Count(DLOG_ERROR, "service load_type does not match this IServiceLoader."),
            1);
        EXPECT_EQ(CountErrors() + CountBanners(), 1);
        EXPECT_FALSE(IsMapped("probed"));
        EXPECT_EQ(m_probe.Texts(), Texts{});
    }
}

TEST_F(CoreLoader, ReportsAFileThatIsNotThere) {
    const std::string path = PathOf("no_such_library");
    ASSERT_EQ(dlopen(path.c_str(), RTLD_NOW), nullptr);
    const std::string reason = dlerror();
    EXPECT_EQ(Load("no_such_library"), nullptr);
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR, "failed to load library. Error msg: " + reason), 1);
    EXPECT_EQ(CountErrors(), 1);
}

TEST_F(CoreLoader, ReportsAFileThatIsNoLibrary) {
    service_info_t info = InfoOf("probed", "probed");
    info.lib_path = "/proc/self/status";
    EXPECT_EQ(m_loader.Load(info), nullptr);
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_ERROR,
                                         "failed to load library. Error msg: /proc/self/status: "),
              1);
}

TEST_F(CoreLoader, BindsAllNamesAtOnce) {
    const std::string path = PathOf("unresolved");
    void* const lazily = dlopen(path.c_str(), RTLD_LAZY);
    ASSERT_NE(lazily, nullptr) << dlerror(); // nobody misses it yet
    dlclose(lazily);
    ASSERT_FALSE(IsMapped("unresolved"));
    LogCapture::Clear();
    EXPECT_EQ(Load("unresolved"), nullptr);
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_ERROR, "failed to load library. Error msg: " + path +
                                                         ": undefined symbol: "),
              1);
}

TEST_F(CoreLoader, HandsBackTheRecordWithServiceProxyAndHandle) {
    service_info_t info = InfoOf("probed", "a name");
    info.priority = 200;
    info.launch_type = static_cast<LaunchType>(2);
    info.dependencies = {"one", "two"};
    service_context_t* const context = m_loader.Load(info);
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(context->service_name, "a name");
    EXPECT_EQ(context->lib_path, info.lib_path);
    EXPECT_EQ(context->priority, 200);
    EXPECT_EQ(context->load_type, LoadType::COREAPP_PROCESS);
    EXPECT_EQ(context->launch_type, static_cast<LaunchType>(2));
    EXPECT_EQ(context->dependencies, (Texts{"one", "two"}));
    ASSERT_NE(context->handle, nullptr);
    EXPECT_EQ(context->service,
              *static_cast<marrow::ser::IService**>(dlsym(context->handle, "g_service")));
    EXPECT_EQ(context->proxy,
              *static_cast<IServiceProxy**>(dlsym(context->handle, "g_service_proxy")));
    EXPECT_TRUE(m_loader.Unload(context));
}

TEST_F(CoreLoader, LogsABannerForALoadedService) {
    service_context_t* const context = Load("probed");
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "\n######## Service Loaded ########\n"
                                           "name: probed service\n"
                                           "lib_path: " +
                                               PathOf("probed") +
                                               "\nIService: " + Pointer(context->service) +
                                               "\nIServiceProxy: " + Pointer(context->proxy) +
                                               "\n################################"),
              1);
    EXPECT_EQ(CountBanners(), 1);
    EXPECT_EQ(CountErrors(), 0);
    m_loader.Unload(context);
}

TEST_F(CoreLoader, RunsTheLibrarysInitialisationOnTheCallingThread) {
    service_context_t* const context = Load("probed");
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(m_probe.Texts(), (Texts{"library opened", "service made", "proxy made"}));
    EXPECT_EQ(m_probe.ThreadOf("service made"), std::this_thread::get_id());
    m_loader.Unload(context);
}

TEST_F(CoreLoader, KeepsTheLibrarysNamesOutOfTheGlobalScope) {
    service_context_t* const context = Load("probed");
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "g_service"), nullptr);
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "g_service_proxy"), nullptr);
    m_loader.Unload(context);
}

TEST_F(CoreLoader, TakesAProxyWithoutAnApiAsItIs) {
    service_context_t* const context = Load("without_api");
    ASSERT_NE(context, nullptr);
    EXPECT_NE(dynamic_cast<marrow::ser::NullServiceProxy*>(context->proxy), nullptr);
    EXPECT_TRUE(context->proxy->CallAPI({}).payload.empty());
    EXPECT_TRUE(m_loader.Unload(context));
    EXPECT_FALSE(IsMapped("without_api"));
}

TEST_F(CoreLoader, ClosesALibraryWhoseServiceIsNull) {
    EXPECT_EQ(Load("null_service"), nullptr);
    EXPECT_EQ(
        LogCapture::Count(DLOG_ERROR, "failed to acquire IService instance. Error msg: (null)"), 1);
    EXPECT_EQ(CountErrors(), 1);
    EXPECT_EQ(CountBanners(), 0);
    EXPECT_EQ(m_probe.Texts(), (Texts{"library opened", "proxy made", "library closed"}));
    EXPECT_FALSE(IsMapped("null_service"));
}

TEST_F(CoreLoader, ClosesALibraryWhoseProxyIsNullAndDeletesNoService) {
    EXPECT_EQ(Load("null_proxy"), nullptr);
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR,
                                "failed to acquire IServiceProxy instance. Error msg: (null)"),
              1);
    EXPECT_EQ(CountErrors(), 1);
    EXPECT_EQ(m_probe.Texts(), (Texts{"library opened", "service made", "library closed"}));
    EXPECT_FALSE(IsMapped("null_proxy"));
}

TEST_F(CoreLoader, ReportsTheServiceAloneWhereBothAreNull) {
    EXPECT_EQ(Load("null_both"), nullptr);
    EXPECT_EQ(
        LogCapture::Count(DLOG_ERROR, "failed to acquire IService instance. Error msg: (null)"), 1);
    EXPECT_EQ(CountErrors(), 1);
    EXPECT_FALSE(IsMapped("null_both"));
}

TEST_F(CoreLoader, UnloadsInItsOrder) {
    service_context_t* const context = Load("probed");
    ASSERT_NE(context, nullptr);
    ASSERT_TRUE(context->service->Start());
    EXPECT_TRUE(m_loader.Unload(context));
    EXPECT_EQ(m_probe.Texts(),
              (Texts{"library opened", "service made", "proxy made", "OnStart", "OnStop",
                     "proxy deleted", "service deleted", "library closed"}));
    EXPECT_FALSE(IsMapped("probed"));
    EXPECT_EQ(CountErrors(), 0);
}

TEST_F(CoreLoader, LogsABannerForAnUnloadedService) {
    service_context_t* const context = Load("probed");
    ASSERT_NE(context, nullptr);
    LogCapture::Clear();
    EXPECT_TRUE(m_loader.Unload(context));
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "\n######## Service Unloaded ########\n"
                                           "name: probed service\n"
                                           "lib_path: " +
                                               PathOf("probed") +
                                               "\n##################################"),
              1);
    EXPECT_EQ(CountBanners(), 1);
}

TEST_F(CoreLoader, DoesNotStopAServiceThatIsNotStarted) {
    service_context_t* const context = Load("probed");
    ASSERT_NE(context, nullptr);
    EXPECT_TRUE(m_loader.Unload(context));
    EXPECT_THAT(m_probe.Texts(), Not(testing::Contains("OnStop")));
}

// A service of another make may refuse where there is nothing to stop.
TEST_F(CoreLoader, AsksAServiceWhetherItIsStartedAheadOfItsStop) {
    auto* const service = new FakeService; // which isn't
    int stops = 0;
    service->onStop = [&] {
        ++stops;
        return false;
    };
    auto* const context = new service_context_t;
    context->service_name = "fake";
    context->service = service;
    context->handle = dlopen(nullptr, RTLD_NOW);
    EXPECT_TRUE(m_loader.Unload(context));
    EXPECT_EQ(stops, 0);
    EXPECT_EQ(CountErrors(), 0);
}

TEST_F(CoreLoader, UnloadsAServiceThatWillNotStop) {
    service_context_t* const context = Load("probed");
    ASSERT_NE(context, nullptr);
    ASSERT_TRUE(context->service->Start());
    m_probe.stopResult = false;
    EXPECT_TRUE(m_loader.Unload(context));
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR, "service can not be stopped. FORCE UNLOAD"), 1);
    EXPECT_EQ(CountErrors(), 1);
    EXPECT_EQ(m_probe.Texts(),
              (Texts{"library opened", "service made", "proxy made", "OnStart", "OnStop",
                     "proxy deleted", "service deleted", "library closed"}));
    EXPECT_FALSE(IsMapped("probed"));
}

TEST_F(CoreLoader, HandsTheServicesWorkerToTheCleaner) {
    service_context_t* const context = Load("probed");
    ASSERT_NE(context, nullptr);
    m_loader.Unload(context);
    EXPECT_TRUE(LogCapture::WaitFor(DLOG_INFO, "~Worker[probed]"));
}

TEST_F(CoreLoader, DoesNotWaitForTheEndOfTheServicesWorker) {
    service_context_t* const context = Load("probed");
    ASSERT_NE(context, nullptr);
    const auto finish = std::make_shared<Gate>();
    auto busy = marrow::ser::WorkerFactory::Get().GetWorker("Busy");
    Post(busy, [finish] { finish->Wait(); });
    busy.reset(); // the cleaner has to wait for this one first
    EXPECT_TRUE(m_loader.Unload(context));
    EXPECT_FALSE(IsMapped("probed"));
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "~Worker[probed]"), 0);
    finish->Open();
    EXPECT_TRUE(LogCapture::WaitFor(DLOG_INFO, "~Worker[probed]"));
}

TEST_F(CoreLoader, RefusesANullContext) {
    EXPECT_FALSE(m_loader.Unload(nullptr));
    EXPECT_EQ(LogCapture::Count(DLOG_ERROR, "service context is NULL"), 1);
    EXPECT_EQ(CountErrors() + CountBanners(), 1);
}

// The sanitizers see that the context is freed and that nothing else is touched.
TEST_F(CoreLoader, LeavesOutTheLibraryWhereThereIsNoHandle) {
    auto* const context = new service_context_t;
    context->service_name = "closed";
    context->lib_path = "somewhere";
    context->service = reinterpret_cast<marrow::ser::IService*>(1); // not to be touched
    context->proxy = reinterpret_cast<IServiceProxy*>(1);
    EXPECT_TRUE(m_loader.Unload(context));
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "\n######## Service Unloaded ########\n"
                                           "name: closed\nlib_path: somewhere\n"
                                           "##################################"),
              1);
    EXPECT_EQ(CountErrors() + CountBanners(), 1);
}

TEST_F(CoreLoader, UnloadsAContextWhoseProxyHasGone) {
    service_context_t* const context = Load("probed");
    ASSERT_NE(context, nullptr);
    delete context->proxy;
    context->proxy = nullptr;
    EXPECT_TRUE(m_loader.Unload(context));
    EXPECT_FALSE(IsMapped("probed"));
}

// The address of a variable isn't examined: a library without one takes the daemon down there and
// then, ahead of any line about it.
TEST(CoreLoaderDeathTest, DiesOfALibraryWithoutItsServiceVariable) {
    UseFreshProcesses();
    class Loading : public CoreLoader {
    public:
        void TestBody() override { Load("missing_service"); }
    };
    setenv("HEARTHD_TEST_LOG", "1", 1);
    EXPECT_EXIT(Loading().TestBody(), DiedOfAFault,
                AllOf(Not(HasSubstr("failed to")), Not(HasSubstr("Service Loaded"))));
    unsetenv("HEARTHD_TEST_LOG");
}

TEST(CoreLoaderDeathTest, DiesOfALibraryWithoutItsProxyVariable) {
    UseFreshProcesses();
    class Loading : public CoreLoader {
    public:
        void TestBody() override { Load("missing_proxy"); }
    };
    setenv("HEARTHD_TEST_LOG", "1", 1);
    EXPECT_EXIT(Loading().TestBody(), DiedOfAFault,
                AllOf(Not(HasSubstr("failed to")), Not(HasSubstr("Service Loaded"))));
    unsetenv("HEARTHD_TEST_LOG");
}

} // namespace
