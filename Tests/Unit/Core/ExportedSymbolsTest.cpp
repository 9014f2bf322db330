// SPDX-License-Identifier: Apache-2.0

// What hosted libraries bind to: the dynamic symbol table of the daemon's executable.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

#include "ExportedSymbols.h"

namespace {

using testing::IsEmpty;

const std::vector<std::string> MODULE_INTERFACES = {
    "IConfig",
    "marrow::mgr::IServiceManager",
    "marrow::ser::IServiceFactory",
    "marrow::msg::IMessageHandler",
    "marrow::msg::IMessageRouter",
};

TEST(ExportedSymbols, HoldTheRegistrysStaticsOfAllFiveInterfacesAsWeakObjects) {
    std::vector<std::string> statics;
    for (const std::string& interface : MODULE_INTERFACES) {
        statics.push_back("ModuleInterface<" + interface + ">::m_impls[abi:cxx11]");
        statics.push_back("ModuleAccessor<" + interface + ">::m_instance");
        statics.push_back("ConfigAccessor<" + interface + ">::m_storage");
    }
    ASSERT_THAT(Missing(statics), IsEmpty());
    for (const std::string& name : statics) {
        EXPECT_TRUE(Exported().at(name).isObject) << name;
        EXPECT_TRUE(Exported().at(name).isWeak) << name;
    }
}

TEST(ExportedSymbols, HoldTheRegistrysOperations) {
    std::vector<std::string> operations;
    for (const std::string& interface : MODULE_INTERFACES) {
        operations.push_back("ModuleInterface<" + interface + ">::AddImpl(IModuleClass*)");
        operations.push_back("ModuleInterface<" + interface + ">::GetImpls[abi:cxx11]()");
        operations.push_back("ModuleAccessor<" + interface + ">::Get()");
        operations.push_back("ModuleAccessor<" + interface + ">::Create()");
    }
    EXPECT_THAT(Missing(operations), IsEmpty());
}

TEST(ExportedSymbols, HoldTheMonitorAndItsOneObject) {
    EXPECT_THAT(Missing({
                    "PerformanceMonitor::Get()",
                    "PerformanceMonitor::Get()::instance",
                    "guard variable for PerformanceMonitor::Get()::instance",
                    "PerformanceMonitor::Start(std::string)",
                    "PerformanceMonitor::Stop(std::string)",
                    "PerformanceMonitor::AddRecordHandler(RecordHandler*)",
                }),
                IsEmpty());
    EXPECT_TRUE(Exported().at("PerformanceMonitor::Get()::instance").isObject);
    EXPECT_TRUE(Exported().at("PerformanceMonitor::Get()::instance").isWeak);
}

TEST(ExportedSymbols, HoldTheClassObjectsAndConstants) {
    EXPECT_THAT(Missing({
                    "ServiceManager::CLASS",
                    "ServiceFactory::CLASS",
                    "marrow::msg::MessageRouter::CLASS",
                    "marrow::msg::MessageRouter::DBUS_PRIVATE_NAME",
                    "marrow::msg::DoubleModuleClass::common_instance",
                    "ServiceManager::CONFIG_FILE_PATH[abi:cxx11]",
                    "ServiceManager::SERVICE_MANIFEST_DIR_PATH[abi:cxx11]",
                    "ServiceManager::SERVICE_MANIFEST_POSTFIX[abi:cxx11]",
                }),
                IsEmpty());
}

TEST(ExportedSymbols, HoldEveryOperationOfService) {
    EXPECT_THAT(Missing({
                    "marrow::ser::Service::Service(std::string)",
                    "marrow::ser::Service::~Service()",
                    "marrow::ser::Service::Start()",
                    "marrow::ser::Service::Stop()",
                    "marrow::ser::Service::IsStarted()",
                    "marrow::ser::Service::GetWorker()",
                    "marrow::ser::Service::GetCurrent()",
                    "marrow::ser::Service::_set_current_service(marrow::ser::Service*)",
                    "marrow::ser::Service::_start()",
                    "marrow::ser::Service::_stop()",
                    "marrow::ser::Service::instance",
                }),
                IsEmpty());
    EXPECT_TRUE(Exported().at("marrow::ser::Service::instance").isThreadLocal);
}

TEST(ExportedSymbols, HoldEveryOperationOfTheProxies) {
    EXPECT_THAT(Missing({
                    "marrow::ser::ServiceProxy::ServiceProxy(std::string)",
                    "marrow::ser::ServiceProxy::~ServiceProxy()",
                    "marrow::ser::ServiceProxy::CallAPI(Quill::TCMessage const&)",
                    "marrow::ser::ServiceProxy::SendNotification(Quill::TCMessage const&)",
                    "marrow::ser::ServiceProxy::_callAPI(Quill::TCMessage)",
                    "marrow::ser::NullServiceProxy::NullServiceProxy()",
                    "marrow::ser::NullServiceProxy::~NullServiceProxy()",
                    "marrow::ser::NullServiceProxy::OnCallAPI(Quill::TCMessage&)",
                }),
                IsEmpty());
}

TEST(ExportedSymbols, HoldEveryOperationOfWorkersAndJobs) {
    EXPECT_THAT(
        Missing({
            "marrow::ser::Job::Job(std::function<void ()>)",
            "marrow::ser::Job::~Job()",
            "marrow::ser::Job::SetOwner(Quill::TCEventIO*)",
            "marrow::ser::Job::t_OnEvent(Quill::TCEvent const*)",
            "marrow::ser::Job::t_Clear(Quill::TCEvent*)",
            "marrow::ser::Worker::Worker(std::string)",
            "marrow::ser::Worker::~Worker()",
            "marrow::ser::Worker::InitWorker(std::string)",
            "marrow::ser::Worker::Do(marrow::ser::Job*&)",
            "marrow::ser::Worker::GetName[abi:cxx11]()",
            "marrow::ser::Worker::SetLocalWorker(marrow::ser::Worker*)",
            "marrow::ser::Worker::IsCurrentWorker(std::shared_ptr<marrow::ser::Worker>)",
            "marrow::ser::Worker::local_worker",
            "marrow::ser::WorkerFactory::Get()",
            "marrow::ser::WorkerFactory::GetWorker(std::string)",
            "marrow::ser::WorkerFactory::FindWorker(std::string)",
            "marrow::ser::WorkerFactory::DeleteWorker(marrow::ser::Worker*)",
            "marrow::ser::WorkerFactory::CleanWorker(marrow::ser::Worker*)",
            "marrow::ser::WorkerFactory::GetWorkersList[abi:cxx11]()",
            "marrow::ser::WorkerFactory::WorkerDeleter::operator()(marrow::ser::Worker*) const",
        }),
        IsEmpty());
    EXPECT_TRUE(Exported().at("marrow::ser::Worker::local_worker").isThreadLocal);
}

TEST(ExportedSymbols, HoldTheOperationsOfTheModules) {
    EXPECT_THAT(Missing({
                    "ServiceFactory::Init()",
                    "ServiceFactory::CreateIService(marrow::ser::service_info_t)",
                    "ServiceFactory::CreateIServiceProxy(marrow::ser::IService*)",
                    "ServiceFactory::DeleteIService(marrow::ser::IService*)",
                    "ServiceLoader::Get(marrow::ser::LoadType)",
                    "ServiceManager::LoadServiceManiests()",
                    "ServiceManager::LoadServiceManifest(std::string)",
                    "ServiceManager::GetServiceList()",
                    "ServiceManager::GetServiceByName(std::string)",
                    "ServiceManager::StartAutostartService(marrow::mgr::IServiceControl*)",
                    "ServiceManager::StartService(marrow::mgr::IServiceControl*)",
                    "ServiceControl::CallAPI(Quill::TCMessage const&)",
                    "marrow::msg::MessageRouter::SendNotification(Quill::TCMessage)",
                }),
                IsEmpty());
}

TEST(ExportedSymbols, HoldEveryOperationOfTheDebugShellsCommands) {
    EXPECT_THAT(Missing(Each({"marrow::dbg::"},
                             {
                                 "ICommand::ICommand(std::string const&)",
                                 "ICommand::~ICommand()",
                                 "ICommand::Register(marrow::dbg::ICommand*)",
                                 "ICommand::UnRegister(marrow::dbg::ICommand*)",
                                 "Messenger::Messenger(std::string const&, marrow::dbg::IIPC*)",
                                 "Messenger::Register(marrow::dbg::ICommand*)",
                                 "Messenger::Unregister(marrow::dbg::ICommand*)",
                                 "Messenger::SendSyncMessage(Quill::TCMessage&)",
                                 "Messenger::HandleMessage(Quill::TCMessage&)",
                                 "CommandManager::Get()",
                                 "CommandManager::~CommandManager()",
                                 "CommandManager::m_instance",
                                 "CommandManager::m_instanceMutex",
                                 "ServiceCommand::ServiceCommand()",
                                 "ServiceCommand::~ServiceCommand()",
                                 "ServiceCommand::OnMessage(Quill::TCMessage&)",
                             })),
                IsEmpty());
    EXPECT_THAT(Missing({
                    "marrow::dbg::ServiceCommand::serviceStateTostring[abi:cxx11]"
                    "(marrow::mgr::IServiceControl::ServiceState)",
                    "marrow::dbg::ServiceCommand::changeStatus("
                    "std::__cxx11::basic_ostringstream<char, std::char_traits<char>, "
                    "std::allocator<char> >&, "
                    "std::string const&, marrow::dbg::ServiceCommand::ServiceState)",
                }),
                IsEmpty());
}

TEST(ExportedSymbols, HoldEveryOperationOfTheDebugShellsChannels) {
    EXPECT_THAT(Missing(Each({"marrow::dbg::DbusIPC::", "marrow::dbg::StreamIPC::"},
                             {
                                 "Get()",
                                 "m_instance",
                                 "m_instanceMutex",
                                 "DeleteMessenger(std::string&)",
                                 "GetMessenger(std::string const&)",
                                 "SendSyncMessage(std::string&, Quill::TCMessage&)",
                             })),
                IsEmpty());
    EXPECT_THAT(Missing(Each({"marrow::dbg::"},
                             {
                                 "DbusIPC::DbusIPC()",
                                 "DbusIPC::~DbusIPC()",
                                 "DbusIPC::DBUS_SERVER_NAME",
                                 "DbusIPC::DBUS_DESTINATION_NAME",
                                 "DbusIPC::COMMAND_TAG",
                                 "DbusIPC::IfMessageReceived(char const*, Quill::TCMessage const*, "
                                 "Quill::TCMessage*, char const*)",
                                 "StreamIPC::StreamIPC()",
                                 "StreamIPC::~StreamIPC()",
                                 "StreamIPC::FIFO_PATH",
                                 "StreamIPC::Start()",
                                 "StreamIPC::Stop()",
                                 "StreamIPC::ReadFromPipe()",
                                 "StreamIPC::DivideIntoLines(std::string)",
                                 "StreamIPC::ParseInput(std::string&)",
                             })),
                IsEmpty());
}

TEST(ExportedSymbols, HoldEveryOperationOfTheWatchOnCrashes) {
    EXPECT_THAT(Missing(Each({"APIWatchdog::"},
                             {
                                 "APIWatchdog(std::function<void (std::string)>)",
                                 "~APIWatchdog()",
                                 "AddWatch(std::string)",
                                 "GetDirContent(std::string)",
                                 "MainLoop()",
                                 "CheckMissedEvent()",
                                 "RunCallback(std::string)",
                                 "PrintInfo()",
                                 "SignalHandler(int)",
                                 "MONITORED_DIRECTORY",
                                 "FILE_NAME_PATTERN",
                             })),
                IsEmpty());
    EXPECT_THAT(Missing({"marrow::msg::MessageRouter::WatchdogCheckCb(std::string)"}), IsEmpty());
}

const std::vector<std::string> INTERFACES = {
    "IModule",
    "IModuleClass",
    "IConfig",
    "RecordHandler",
    "IServiceLoader",
    "marrow::mgr::IServiceManager",
    "marrow::mgr::IServiceControl",
    "marrow::ser::IServiceFactory",
    "marrow::ser::IService",
    "marrow::ser::IServiceProxy",
    "marrow::msg::IMessageHandler",
    "marrow::msg::IMessageRouter",
    "marrow::dbg::ICommand",
    "marrow::dbg::IIPC",
};

const std::vector<std::string> CLASSES = {
    "ModuleClass<ServiceManager>",
    "ModuleClass<ServiceFactory>",
    "ModuleClass<marrow::msg::MessageRouter>",
    "PrintRecordHandler",
    "CoreAppProcessServiceLoader",
    "ExternalProcessServiceLoader",
    "ServiceManager",
    "ServiceControl",
    "ServiceFactory",
    "marrow::ser::Service",
    "marrow::ser::ServiceProxy",
    "marrow::ser::NullServiceProxy",
    "marrow::ser::Worker",
    "marrow::ser::Job",
    "marrow::msg::MessageRouter",
    "marrow::msg::DoubleModuleClass",
    "marrow::dbg::ServiceCommand",
    "marrow::dbg::DbusIPC",
    "marrow::dbg::StreamIPC",
    "marrow::evt::IListenable<marrow::evt::tvs_event_args_t>",
    "marrow::evt::IListenable<marrow::evt::tvs_section_event_arg_t>",
    "marrow::evt::IListenable<marrow::evt::tvs_program_event_arg_t>",
    "marrow::evt::IListenable<TSCaption>",
    "marrow::evt::IListenable<marrow::evt::tvs_pes_event_arg_t>",
    "marrow::evt::SubscriptionManager<marrow::evt::tvs_event_t, marrow::evt::tvs_event_args_t>",
    "marrow::evt::TVSEventProxy",
    "marrow::evt::TVSSectionEventProxy",
    "marrow::evt::TVSProgramEventProxy",
    "marrow::evt::TVSCaptionEventProxy",
    "marrow::evt::TVSPESEventProxy",
};

TEST(ExportedSymbols, HoldTheTypeInformationOfInterfacesAndClasses) {
    EXPECT_THAT(Missing(Each({"typeinfo for ", "typeinfo name for "}, INTERFACES)), IsEmpty());
    EXPECT_THAT(Missing(Each({"typeinfo for ", "typeinfo name for "}, CLASSES)), IsEmpty());
}

TEST(ExportedSymbols, HoldTheVirtualTablesOfTheClasses) {
    EXPECT_THAT(Missing(Each({"vtable for "}, CLASSES)), IsEmpty());
}

TEST(ExportedSymbols, HoldTheVirtualTablesOfTheInterfaces) {
    EXPECT_THAT(Missing(Each({"vtable for "}, INTERFACES)), IsEmpty());
}

// One unique symbol in the host or in a library would keep that library mapped after dlclose.
TEST(ExportedSymbols, AreNeverUnique) {
    std::vector<std::string> unique;
    for (const auto& [name, symbol] : Exported()) {
        if (symbol.isUnique) {
            unique.push_back(name);
        }
    }
    EXPECT_THAT(unique, IsEmpty());
}

// Everything with external linkage, not only what somebody thought of.
TEST(ExportedSymbols, LeaveOutNothingWithExternalLinkage) {
    const std::vector<ElfSymbol> all = AllSymbols(HEARTHD_EXECUTABLE);
    ASSERT_FALSE(all.empty()) << "the executable was stripped";
    std::vector<std::string> missing;
    for (const ElfSymbol& symbol : all) {
        if (!symbol.isLocal && !symbol.isHidden && !Exported().contains(symbol.name)) {
            missing.push_back(symbol.name);
        }
    }
    EXPECT_THAT(missing, IsEmpty());
}

} // namespace
