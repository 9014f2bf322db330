// SPDX-License-Identifier: Apache-2.0

// The order of virtual operations: hosted libraries and device libraries call by number.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Layouts/Dump.h"

namespace {

using Slots = std::vector<std::string>;

// The table of a class without further bases.
Slots SlotsOf(const std::string& className) {
    const LayoutDump::Tables tables = Layouts().VirtualTables(className);
    EXPECT_EQ(tables.size(), 1U) << className;
    return tables.empty() ? Slots() : tables[0];
}

TEST(VirtualSlots, OfTheRegistryStandInTheirOrder) {
    EXPECT_EQ(SlotsOf("IModule"), (Slots{"IModule::Init [pure]", "IModule::~IModule [complete]",
                                         "IModule::~IModule [deleting]"}));
    EXPECT_EQ(SlotsOf("IModuleClass"),
              (Slots{"IModuleClass::Instance [pure]", "IModuleClass::GetName [pure]"}));
    const Slots config = SlotsOf("IConfig");
    ASSERT_EQ(config.size(), 5U);
    EXPECT_EQ(config[0], "IModule::Init [pure]");
    EXPECT_EQ(config[1], "IConfig::~IConfig [complete]");
    EXPECT_EQ(config[2], "IConfig::~IConfig [deleting]");
    EXPECT_EQ(config[4], "IConfig::GetValue [pure]"); // the second of its own
    EXPECT_EQ(SlotsOf("ModuleClass"), (Slots{"ModuleClass<layouts::Thing>::Instance",
                                             "ModuleClass<layouts::Thing>::GetName"}));
}

TEST(VirtualSlots, OfTheDoubleModuleClassEndWithItsDestructor) {
    EXPECT_EQ(SlotsOf("marrow::msg::DoubleModuleClass"),
              (Slots{"marrow::msg::DoubleModuleClass::Instance",
                     "ModuleClass<marrow::msg::MessageRouter>::GetName",
                     "marrow::msg::DoubleModuleClass::~DoubleModuleClass [complete]",
                     "marrow::msg::DoubleModuleClass::~DoubleModuleClass [deleting]"}));
}

TEST(VirtualSlots, OfTheRecordHandlerStandInTheirOrder) {
    EXPECT_EQ(SlotsOf("RecordHandler"),
              (Slots{"RecordHandler::handle [pure]", "RecordHandler::~RecordHandler [complete]",
                     "RecordHandler::~RecordHandler [deleting]"}));
}

TEST(VirtualSlots, OfEventsAndHandlersStandInTheirOrder) {
    EXPECT_EQ(
        SlotsOf("Quill::TCHandler"),
        (Slots{"Quill::TCHandler::~TCHandler [complete]", "Quill::TCHandler::~TCHandler [deleting]",
               "Quill::TCHandler::t_OnEvent", "Quill::TCHandler::t_Clear"}));
    EXPECT_EQ(SlotsOf("Quill::TCEvent"), (Slots{"Quill::TCEvent::~TCEvent [complete]",
                                                "Quill::TCEvent::~TCEvent [deleting]"}));
    EXPECT_EQ(SlotsOf("marrow::ser::Job"),
              (Slots{"marrow::ser::Job::~Job [complete]", "marrow::ser::Job::~Job [deleting]",
                     "marrow::ser::Job::t_OnEvent", "marrow::ser::Job::t_Clear"}));
}

TEST(VirtualSlots, OfTheQueueStandInTheirOrder) {
    const LayoutDump::Tables tables = Layouts().VirtualTables("Quill::TCEventIO");
    ASSERT_EQ(tables.size(), 2U);
    EXPECT_EQ(tables[0], (Slots{"Quill::TCEventIO::~TCEventIO [complete]",
                                "Quill::TCEventIO::~TCEventIO [deleting]", "Quill::TCIOBase::Init",
                                "Quill::TCIOBase::Final", "Quill::TCEventIO::t_OnEvent",
                                "Quill::TCEventIO::t_Init", "Quill::TCEventIO::t_Final",
                                "Quill::TCEventIO::t_Clear"}));
    EXPECT_EQ(tables[1], (Slots{"Quill::TCEventIO::~TCEventIO [complete]",
                                "Quill::TCEventIO::~TCEventIO [deleting]",
                                "Quill::TCEventIO::t_OnEvent", "Quill::TCEventIO::t_Clear"}));
}

// A worker has nothing of its own but its destructors.
TEST(VirtualSlots, OfTaskAndWorkerStandBehindThoseOfTheQueue) {
    const Slots behind = {"Quill::TCIOBase::Init",       "Quill::TCIOBase::Final",
                          "Quill::TCEventIO::t_OnEvent", "Quill::TCEventIO::t_Init",
                          "Quill::TCEventIO::t_Final",   "Quill::TCEventIO::t_Clear",
                          "Quill::TCTask::t_Create",     "Quill::TCTask::t_Main",
                          "Quill::TCTask::t_Destroy",    "Quill::TCTask::t_AddIO"};
    Slots task = {"Quill::TCTask::~TCTask [complete]", "Quill::TCTask::~TCTask [deleting]"};
    task.insert(task.end(), behind.begin(), behind.end());
    Slots worker = {"marrow::ser::Worker::~Worker [complete]",
                    "marrow::ser::Worker::~Worker [deleting]"};
    worker.insert(worker.end(), behind.begin(), behind.end());
    const LayoutDump::Tables taskTables = Layouts().VirtualTables("Quill::TCTask");
    const LayoutDump::Tables workerTables = Layouts().VirtualTables("marrow::ser::Worker");
    ASSERT_EQ(taskTables.size(), 2U);
    ASSERT_EQ(workerTables.size(), 2U);
    EXPECT_EQ(taskTables[0], task);
    EXPECT_EQ(workerTables[0], worker);
    EXPECT_EQ(workerTables[1], (Slots{"marrow::ser::Worker::~Worker [complete]",
                                      "marrow::ser::Worker::~Worker [deleting]",
                                      "Quill::TCEventIO::t_OnEvent", "Quill::TCEventIO::t_Clear"}));
}

TEST(VirtualSlots, OfServicesStandInTheirOrder) {
    EXPECT_EQ(
        SlotsOf("marrow::ser::IService"),
        (Slots{"marrow::ser::IService::Start [pure]", "marrow::ser::IService::Stop [pure]",
               "marrow::ser::IService::IsStarted [pure]", "marrow::ser::IService::GetWorker [pure]",
               "marrow::ser::IService::~IService [complete]",
               "marrow::ser::IService::~IService [deleting]"}));
    EXPECT_EQ(
        SlotsOf("marrow::ser::Service"),
        (Slots{"marrow::ser::Service::Start", "marrow::ser::Service::Stop",
               "marrow::ser::Service::IsStarted", "marrow::ser::Service::GetWorker",
               "marrow::ser::Service::~Service [complete]",
               "marrow::ser::Service::~Service [deleting]", "marrow::ser::Service::OnStart [pure]",
               "marrow::ser::Service::OnStop [pure]"}));
}

TEST(VirtualSlots, OfProxiesStandInTheirOrder) {
    EXPECT_EQ(SlotsOf("marrow::ser::IServiceProxy"),
              (Slots{"marrow::ser::IServiceProxy::CallAPI [pure]",
                     "marrow::ser::IServiceProxy::SendNotification [pure]",
                     "marrow::ser::IServiceProxy::~IServiceProxy [complete]",
                     "marrow::ser::IServiceProxy::~IServiceProxy [deleting]"}));
    EXPECT_EQ(
        SlotsOf("marrow::ser::ServiceProxy"),
        (Slots{"marrow::ser::ServiceProxy::CallAPI", "marrow::ser::ServiceProxy::SendNotification",
               "marrow::ser::ServiceProxy::~ServiceProxy [complete]",
               "marrow::ser::ServiceProxy::~ServiceProxy [deleting]",
               "marrow::ser::ServiceProxy::OnCallAPI [pure]"}));
    EXPECT_EQ(
        SlotsOf("marrow::ser::NullServiceProxy"),
        (Slots{"marrow::ser::ServiceProxy::CallAPI", "marrow::ser::ServiceProxy::SendNotification",
               "marrow::ser::NullServiceProxy::~NullServiceProxy [complete]",
               "marrow::ser::NullServiceProxy::~NullServiceProxy [deleting]",
               "marrow::ser::NullServiceProxy::OnCallAPI"}));
}

TEST(VirtualSlots, OfLoaderAndFactoryStandInTheirOrder) {
    EXPECT_EQ(SlotsOf("IServiceLoader"),
              (Slots{"IServiceLoader::Load [pure]", "IServiceLoader::Unload [pure]",
                     "IServiceLoader::~IServiceLoader [complete]",
                     "IServiceLoader::~IServiceLoader [deleting]"}));
    EXPECT_EQ(
        SlotsOf("marrow::ser::IServiceFactory"),
        (Slots{"IModule::Init [pure]", "marrow::ser::IServiceFactory::~IServiceFactory [complete]",
               "marrow::ser::IServiceFactory::~IServiceFactory [deleting]",
               "marrow::ser::IServiceFactory::CreateIService [pure]",
               "marrow::ser::IServiceFactory::CreateIServiceProxy [pure]",
               "marrow::ser::IServiceFactory::DeleteIService [pure]"}));
    EXPECT_EQ(SlotsOf("ServiceFactory"),
              (Slots{"ServiceFactory::Init", "ServiceFactory::~ServiceFactory [complete]",
                     "ServiceFactory::~ServiceFactory [deleting]", "ServiceFactory::CreateIService",
                     "ServiceFactory::CreateIServiceProxy", "ServiceFactory::DeleteIService"}));
}

TEST(VirtualSlots, OfManagerAndControlStandInTheirOrder) {
    EXPECT_EQ(
        SlotsOf("marrow::mgr::IServiceManager"),
        (Slots{"IModule::Init [pure]", "marrow::mgr::IServiceManager::~IServiceManager [complete]",
               "marrow::mgr::IServiceManager::~IServiceManager [deleting]",
               "marrow::mgr::IServiceManager::GetServiceList [pure]",
               "marrow::mgr::IServiceManager::GetServiceByName [pure]"}));
    Slots expected;
    for (const char* operation :
         {"GetName", "IsAutostart", "GetPriority", "GetDependencies", "Load", "Unload", "Start",
          "Stop", "GetState", "GetWorker", "CallAPI"}) {
        expected.push_back("marrow::mgr::IServiceControl::" + std::string(operation) + " [pure]");
    }
    expected.emplace_back("marrow::mgr::IServiceControl::~IServiceControl [complete]");
    expected.emplace_back("marrow::mgr::IServiceControl::~IServiceControl [deleting]");
    EXPECT_EQ(SlotsOf("marrow::mgr::IServiceControl"), expected);
}

TEST(VirtualSlots, OfTheMessageInterfacesStandBehindTheModules) {
    EXPECT_EQ(
        SlotsOf("marrow::msg::IMessageRouter"),
        (Slots{"IModule::Init [pure]", "marrow::msg::IMessageRouter::~IMessageRouter [complete]",
               "marrow::msg::IMessageRouter::~IMessageRouter [deleting]",
               "marrow::msg::IMessageRouter::Route [pure]"}));
    EXPECT_EQ(
        SlotsOf("marrow::msg::IMessageHandler"),
        (Slots{"IModule::Init [pure]", "marrow::msg::IMessageHandler::~IMessageHandler [complete]",
               "marrow::msg::IMessageHandler::~IMessageHandler [deleting]",
               "marrow::msg::IMessageHandler::OnMessage [pure]",
               "marrow::msg::IMessageHandler::SendNotification [pure]"}));
}

TEST(VirtualSlots, OfServerAndRouterStandInTheirOrder) {
    EXPECT_EQ(SlotsOf("Quill::TCServer"),
              (Slots{"Quill::TCServer::~TCServer [complete]",
                     "Quill::TCServer::~TCServer [deleting]", "Quill::TCServer::IfTransferMessage",
                     "Quill::TCServer::IfMessageReceived", "Quill::TCServer::IfMessageReplied"}));
    const LayoutDump::Tables tables = Layouts().VirtualTables("marrow::msg::MessageRouter");
    ASSERT_EQ(tables.size(), 3U); // its own, the router's and the handler's
    EXPECT_EQ(
        tables[0],
        (Slots{"marrow::msg::MessageRouter::~MessageRouter [complete]",
               "marrow::msg::MessageRouter::~MessageRouter [deleting]",
               "marrow::msg::MessageRouter::IfTransferMessage",
               "marrow::msg::MessageRouter::IfMessageReceived", "Quill::TCServer::IfMessageReplied",
               "marrow::msg::MessageRouter::Route", "marrow::msg::MessageRouter::OnMessage",
               "marrow::msg::MessageRouter::SendNotification",
               "marrow::msg::MessageRouter::Init"}));
}

TEST(VirtualSlots, OfTheDebugShellsCommandsStandInTheirOrder) {
    EXPECT_EQ(SlotsOf("marrow::dbg::ICommand"),
              (Slots{"marrow::dbg::ICommand::~ICommand [complete]",
                     "marrow::dbg::ICommand::~ICommand [deleting]",
                     "marrow::dbg::ICommand::OnMessage [pure]"}));
    EXPECT_EQ(SlotsOf("marrow::dbg::ServiceCommand"),
              (Slots{"marrow::dbg::ServiceCommand::~ServiceCommand [complete]",
                     "marrow::dbg::ServiceCommand::~ServiceCommand [deleting]",
                     "marrow::dbg::ServiceCommand::OnMessage"}));
}

TEST(VirtualSlots, OfTheDebugShellsChannelsStandInTheirOrder) {
    EXPECT_EQ(SlotsOf("marrow::dbg::IIPC"),
              (Slots{"marrow::dbg::IIPC::~IIPC [complete]", "marrow::dbg::IIPC::~IIPC [deleting]",
                     "marrow::dbg::IIPC::DeleteMessenger [pure]",
                     "marrow::dbg::IIPC::GetMessenger [pure]",
                     "marrow::dbg::IIPC::SendSyncMessage [pure]"}));
    EXPECT_EQ(
        SlotsOf("marrow::dbg::StreamIPC"),
        (Slots{"marrow::dbg::StreamIPC::~StreamIPC [complete]",
               "marrow::dbg::StreamIPC::~StreamIPC [deleting]",
               "marrow::dbg::StreamIPC::DeleteMessenger", "marrow::dbg::StreamIPC::GetMessenger",
               "marrow::dbg::StreamIPC::SendSyncMessage"}));
    const LayoutDump::Tables tables = Layouts().VirtualTables("marrow::dbg::DbusIPC");
    ASSERT_EQ(tables.size(), 2U);
    EXPECT_EQ(
        tables[0],
        (Slots{"marrow::dbg::DbusIPC::~DbusIPC [complete]",
               "marrow::dbg::DbusIPC::~DbusIPC [deleting]", "marrow::dbg::DbusIPC::DeleteMessenger",
               "marrow::dbg::DbusIPC::GetMessenger", "marrow::dbg::DbusIPC::SendSyncMessage",
               "marrow::dbg::DbusIPC::IfMessageReceived"}));
    EXPECT_EQ(
        tables[1],
        (Slots{"marrow::dbg::DbusIPC::~DbusIPC [complete]",
               "marrow::dbg::DbusIPC::~DbusIPC [deleting]", "Quill::TCServer::IfTransferMessage",
               "marrow::dbg::DbusIPC::IfMessageReceived", "Quill::TCServer::IfMessageReplied"}));
}

TEST(VirtualSlots, OfTheTvLibrarysSubscribersStandInTheirOrder) {
    EXPECT_EQ(SlotsOf("ISignalSubscriber"),
              (Slots{"ISignalSubscriber::~ISignalSubscriber [complete]",
                     "ISignalSubscriber::~ISignalSubscriber [deleting]",
                     "ISignalSubscriber::SubscribeSignal [pure]",
                     "ISignalSubscriber::UnsubscribeSignal [pure]"}));
    EXPECT_EQ(SlotsOf("IDataSubscriber"), (Slots{"IDataSubscriber::~IDataSubscriber [complete]",
                                                 "IDataSubscriber::~IDataSubscriber [deleting]",
                                                 "IDataSubscriber::SubscribeData [pure]",
                                                 "IDataSubscriber::UnsubscribeData [pure]"}));
}

// An operation that the proxies never call stands among those that they do.
TEST(VirtualSlots, OfTheTvLibrarysSubscribersLeaveRoomForOneOperationMore) {
    const Slots section = SlotsOf("ISectionSubscriber");
    ASSERT_EQ(section.size(), 5U);
    EXPECT_EQ(section[0], "ISectionSubscriber::~ISectionSubscriber [complete]");
    EXPECT_EQ(section[1], "ISectionSubscriber::~ISectionSubscriber [deleting]");
    EXPECT_EQ(section[2], "ISectionSubscriber::SubscribeSection [pure]");
    EXPECT_EQ(section[4], "ISectionSubscriber::UnsubscribeSection [pure]");
    const Slots program = SlotsOf("IProgramSubscriber");
    ASSERT_EQ(program.size(), 6U);
    EXPECT_EQ(program[0], "IProgramSubscriber::~IProgramSubscriber [complete]");
    EXPECT_EQ(program[1], "IProgramSubscriber::~IProgramSubscriber [deleting]");
    EXPECT_EQ(program[2], "IProgramSubscriber::SubscribeProgram [pure]");
    EXPECT_EQ(program[4], "IProgramSubscriber::SubscribeProgramListPF [pure]");
    EXPECT_EQ(program[5], "IProgramSubscriber::SubscribeProgramList [pure]");
    const Slots packets = SlotsOf("IPESDataSubscriber");
    ASSERT_EQ(packets.size(), 5U);
    EXPECT_EQ(packets[0], "IPESDataSubscriber::~IPESDataSubscriber [complete]");
    EXPECT_EQ(packets[1], "IPESDataSubscriber::~IPESDataSubscriber [deleting]");
    EXPECT_EQ(packets[2], "IPESDataSubscriber::SubscribePESData [pure]");
    EXPECT_EQ(packets[4], "IPESDataSubscriber::UnsubscribePESData [pure]");
}

TEST(VirtualSlots, OfTheTvLibrarysDataAreDestructors) {
    EXPECT_EQ(SlotsOf("TCProgramData"), (Slots{"TCProgramData::~TCProgramData [complete]",
                                               "TCProgramData::~TCProgramData [deleting]"}));
    EXPECT_EQ(SlotsOf("TSCaption"),
              (Slots{"TSCaption::~TSCaption [complete]", "TSCaption::~TSCaption [deleting]"}));
}

TEST(VirtualSlots, OfEventSourcesAndTheirListenersStandInTheirOrder) {
    const std::string source = "marrow::evt::IListenable<marrow::evt::tvs_event_args_t>::";
    EXPECT_EQ(SlotsOf("marrow::evt::IListenable"),
              (Slots{source + "~IListenable [complete]", source + "~IListenable [deleting]"}));
    EXPECT_EQ(SlotsOf(source + "IListener"), (Slots{source + "IListener::GetWorker [pure]",
                                                    source + "IListener::OnEvent [pure]"}));
    const std::string manager = "marrow::evt::SubscriptionManager<marrow::evt::tvs_event_t, "
                                "marrow::evt::tvs_event_args_t>::";
    EXPECT_EQ(SlotsOf("marrow::evt::SubscriptionManager"),
              (Slots{manager + "~SubscriptionManager [complete]",
                     manager + "~SubscriptionManager [deleting]", manager + "OnFirstSubCb",
                     manager + "OnLastUnsubCb"}));
}

TEST(VirtualSlots, OfTheTvProxiesStandInTheirOrder) {
    const auto destructors = [](const std::string& name) {
        return Slots{"marrow::evt::" + name + "::~" + name + " [complete]",
                     "marrow::evt::" + name + "::~" + name + " [deleting]"};
    };
    Slots signals = destructors("TVSEventProxy");
    signals.insert(signals.end(), {"marrow::evt::TVSEventProxy::OnFirstSubCb",
                                   "marrow::evt::TVSEventProxy::OnLastUnsubCb"});
    EXPECT_EQ(SlotsOf("marrow::evt::TVSEventProxy"), signals);
    Slots sections = destructors("TVSSectionEventProxy");
    sections.insert(sections.end(), {"marrow::evt::TVSSectionEventProxy::Subscribe",
                                     "marrow::evt::TVSSectionEventProxy::Unsubscribe"});
    EXPECT_EQ(SlotsOf("marrow::evt::TVSSectionEventProxy"), sections);
    for (const char* name : {"TVSProgramEventProxy", "TVSCaptionEventProxy", "TVSPESEventProxy"}) {
        EXPECT_EQ(SlotsOf("marrow::evt::" + std::string(name)), destructors(name));
    }
}

TEST(VirtualSlots, OfTheProxiesOfKeysAndConfigurationStandInTheirOrder) {
    EXPECT_EQ(SlotsOf("marrow::evt::KeyEventProxy"),
              (Slots{"marrow::evt::KeyEventProxy::~KeyEventProxy [complete]",
                     "marrow::evt::KeyEventProxy::~KeyEventProxy [deleting]"}));
    EXPECT_EQ(SlotsOf("marrow::evt::VConfEventProxy"),
              (Slots{"marrow::evt::VConfEventProxy::~VConfEventProxy [complete]",
                     "marrow::evt::VConfEventProxy::~VConfEventProxy [deleting]",
                     "marrow::evt::VConfEventProxy::OnFirstSubCb",
                     "marrow::evt::VConfEventProxy::OnLastUnsubCb"}));
}

} // namespace
