// SPDX-License-Identifier: Apache-2.0

// The order of fields, private ones included: code that was compiled elsewhere reaches them by
// their offsets.

#include <atomic>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Layouts/Dump.h"

namespace {

using Names = std::vector<std::string>;

// std::mutex, or a class that adds operations to it and no data.
bool IsPlainMutex(const std::string& type) {
    const Names bases = Layouts().Bases(type);
    return type == "std::mutex" ||
           (bases.size() == 1 && Layouts().Fields(type).empty() && IsPlainMutex(bases[0]));
}

// The fields of a class, with every plain mutex under its standard name.
Names FieldsOf(const std::string& className) {
    Names fields = Layouts().Fields(className);
    for (std::string& field : fields) {
        const auto name = field.rfind(' ');
        if (IsPlainMutex(field.substr(0, name))) {
            field = "std::mutex" + field.substr(name);
        }
    }
    return fields;
}

TEST(FieldOrder, OfRecordAndMonitor) {
    const std::string number = sizeof(long) == 8 ? "long" : "long long";
    const std::string time = "std::chrono::time_point<std::chrono::steady_clock, "
                             "std::chrono::duration<" +
                             number + ", std::ratio<1, 1000000000>>>";
    EXPECT_EQ(FieldsOf("record_t"),
              (Names{"std::basic_string<char> tag", time + " start", time + " stop"}));
    EXPECT_EQ(
        FieldsOf("PerformanceMonitor"),
        (Names{"std::mutex m_recordsMutex", "std::map<std::basic_string<char>, record_t> m_records",
               "std::mutex m_handlersMutex", "std::vector<RecordHandler*> m_handlers"}));
    EXPECT_EQ(Layouts().Bases("PerformanceMonitor"), Names{});
    EXPECT_EQ(FieldsOf("PrintRecordHandler"), Names{});
    EXPECT_EQ(Layouts().Bases("PrintRecordHandler"), Names{"RecordHandler"});
}

TEST(FieldOrder, OfModuleClassIsItsName) {
    EXPECT_EQ(FieldsOf("ModuleClass<layouts::Thing>"), Names{"std::basic_string<char> m_name"});
    EXPECT_EQ(Layouts().Bases("ModuleClass<layouts::Thing>"), Names{"IModuleClass"});
}

TEST(FieldOrder, OfEventHandlerAndMessage) {
    EXPECT_EQ(FieldsOf("Quill::TCEvent"), (Names{"Quill::TCHandler* handler", "std::uint32_t word",
                                                 "std::uint8_t byte", "Quill::TCData data"}));
    EXPECT_EQ(FieldsOf("Quill::TCHandler"), Names{"Quill::TCEventIO* owner"});
    const Names message = FieldsOf("Quill::TCMessage");
    EXPECT_THAT(message, testing::Contains("Json::Value payload"));
    EXPECT_THAT(message, testing::Contains("std::basic_string<char> subject"));
}

TEST(FieldOrder, OfJobAndWorker) {
    EXPECT_EQ(Layouts().Bases("marrow::ser::Job"), Names{"Quill::TCHandler"});
    EXPECT_EQ(FieldsOf("marrow::ser::Job"), Names{"std::function<void ()> m_work"});
    EXPECT_EQ(Layouts().Bases("marrow::ser::Worker"),
              (Names{"Quill::TCTask", "std::enable_shared_from_this<marrow::ser::Worker>"}));
    EXPECT_EQ(FieldsOf("marrow::ser::Worker"), Names{"std::basic_string<char> m_name"});
}

TEST(FieldOrder, OfWorkerFactory) {
    EXPECT_EQ(Layouts().Bases("marrow::ser::WorkerFactory"), Names{});
    EXPECT_EQ(FieldsOf("marrow::ser::WorkerFactory"),
              (Names{"marrow::ser::Worker* m_cleaner", "std::list<marrow::ser::Worker*> m_workers",
                     "std::mutex m_mutex"}));
    EXPECT_EQ(Layouts().VirtualTables("marrow::ser::WorkerFactory"), LayoutDump::Tables{});
}

TEST(FieldOrder, OfService) {
    EXPECT_EQ(Layouts().Bases("marrow::ser::Service"), Names{"marrow::ser::IService"});
    EXPECT_EQ(
        FieldsOf("marrow::ser::Service"),
        (Names{"std::basic_string<char> m_name", "std::atomic<bool> m_started",
               "std::mutex m_stateMutex", "_GMutex m_handOverMutex", "_GCond m_handOverCondition",
               "std::atomic<bool> m_result", "std::shared_ptr<marrow::ser::Worker> m_worker"}));
}

TEST(FieldOrder, OfServiceProxy) {
    EXPECT_EQ(Layouts().Bases("marrow::ser::ServiceProxy"), Names{"marrow::ser::IServiceProxy"});
    EXPECT_EQ(FieldsOf("marrow::ser::ServiceProxy"),
              (Names{"std::basic_string<char> m_name", "std::mutex m_callMutex",
                     "_GMutex m_handOverMutex", "_GCond m_handOverCondition",
                     "Quill::TCMessage m_reply", "std::shared_ptr<marrow::ser::Worker> m_worker"}));
    EXPECT_EQ(FieldsOf("marrow::ser::NullServiceProxy"), Names{});
    EXPECT_EQ(Layouts().Bases("marrow::ser::NullServiceProxy"), Names{"marrow::ser::ServiceProxy"});
}

const Names SERVICE_INFO = {
    "std::basic_string<char> service_name",
    "std::basic_string<char> lib_path",
    "std::uint8_t priority",
    "marrow::ser::LoadType load_type",
    "marrow::ser::LaunchType launch_type",
    "std::vector<std::basic_string<char>> dependencies",
};

TEST(FieldOrder, OfServiceInfo) {
    EXPECT_EQ(FieldsOf("marrow::ser::service_info_t"), SERVICE_INFO);
}

TEST(FieldOrder, OfServiceContextIsTheInfosWithServiceProxyAndHandleBehind) {
    Names expected = SERVICE_INFO;
    expected.insert(expected.end(), {"marrow::ser::IService* service",
                                     "marrow::ser::IServiceProxy* proxy", "void* handle"});
    EXPECT_EQ(Layouts().Bases("service_context_t"), Names{});
    EXPECT_EQ(FieldsOf("service_context_t"), expected);
}

TEST(FieldOrder, OfServiceFactory) {
    EXPECT_EQ(FieldsOf("ServiceFactory"),
              (Names{"std::vector<service_context_t*> m_contexts", "std::mutex m_mutex"}));
}

TEST(FieldOrder, OfServiceControlAndManager) {
    EXPECT_EQ(FieldsOf("ServiceControl"),
              (Names{"marrow::ser::service_info_t m_info", "marrow::ser::IService* m_service",
                     "marrow::ser::IServiceProxy* m_proxy",
                     "marrow::mgr::IServiceControl::ServiceState m_state", "std::mutex m_mutex"}));
    EXPECT_EQ(FieldsOf("ServiceManager"),
              (Names{"std::vector<marrow::mgr::IServiceControl*> m_services",
                     "std::vector<marrow::ser::service_info_t> m_serviceInfos"}));
}

TEST(FieldOrder, OfMessageRouter) {
    const Names bases = Layouts().Bases("marrow::msg::MessageRouter");
    ASSERT_GE(bases.size(), 3U);
    EXPECT_EQ(
        Names(bases.begin(), bases.begin() + 3),
        (Names{"Quill::TCServer", "marrow::msg::IMessageRouter", "marrow::msg::IMessageHandler"}));
    EXPECT_EQ(FieldsOf("marrow::msg::MessageRouter"),
              (Names{"std::mutex m_pendingMutex",
                     "std::map<const Quill::TCMessage*, std::basic_string<char>> m_pending",
                     "APIWatchdog m_watchdog"}));
}

TEST(FieldOrder, OfTheWatchOnCrashes) {
    EXPECT_EQ(Layouts().Bases("APIWatchdog"), Names{});
    EXPECT_EQ(Layouts().VirtualTables("APIWatchdog"), LayoutDump::Tables{});
    EXPECT_EQ(FieldsOf("APIWatchdog"),
              (Names{"int m_inotifyFd", "int m_ancestorWatch", "int m_directoryWatch",
                     "std::shared_ptr<marrow::ser::Worker> m_worker",
                     "std::function<void (std::basic_string<char>)> m_callback"}));
}

TEST(FieldOrder, OfTheDebugShellsCommands) {
    EXPECT_EQ(Layouts().Bases("marrow::dbg::ICommand"), Names{});
    EXPECT_EQ(FieldsOf("marrow::dbg::ICommand"), Names{"std::basic_string<char> m_commandTag"});
    EXPECT_EQ(Layouts().Bases("marrow::dbg::ServiceCommand"), Names{"marrow::dbg::ICommand"});
    EXPECT_EQ(FieldsOf("marrow::dbg::ServiceCommand"), Names{});
    EXPECT_EQ(Layouts().Bases("marrow::dbg::CommandManager"), Names{});
    EXPECT_EQ(Layouts().VirtualTables("marrow::dbg::CommandManager"), LayoutDump::Tables{});
    EXPECT_EQ(FieldsOf("marrow::dbg::CommandManager"),
              (Names{"std::unique_ptr<marrow::dbg::ServiceCommand> m_serviceCommand",
                     "std::map<std::basic_string<char>, marrow::dbg::ICommand*> m_commands"}));
}

TEST(FieldOrder, OfTheDebugShellsChannels) {
    const std::string messengers =
        "std::map<std::basic_string<char>, marrow::dbg::Messenger*> m_messengers";
    EXPECT_EQ(Layouts().Bases("marrow::dbg::IIPC"), Names{});
    EXPECT_EQ(FieldsOf("marrow::dbg::IIPC"), Names{});
    EXPECT_EQ(Layouts().Bases("marrow::dbg::DbusIPC"),
              (Names{"marrow::dbg::IIPC", "Quill::TCServer"}));
    EXPECT_EQ(FieldsOf("marrow::dbg::DbusIPC"), Names{messengers});
    EXPECT_EQ(Layouts().Bases("marrow::dbg::StreamIPC"), Names{"marrow::dbg::IIPC"});
    EXPECT_EQ(FieldsOf("marrow::dbg::StreamIPC"),
              (Names{messengers, "std::shared_ptr<marrow::ser::Worker> m_worker", "int m_pipeFd",
                     "std::atomic<bool> m_stopped", "marrow::base::AnyThreadMutex m_readerMutex",
                     "std::mutex m_messengersMutex"}));
}

TEST(FieldOrder, OfTheDebugShellsMessenger) {
    EXPECT_EQ(Layouts().Bases("marrow::dbg::Messenger"), Names{});
    EXPECT_EQ(Layouts().VirtualTables("marrow::dbg::Messenger"), LayoutDump::Tables{});
    EXPECT_EQ(FieldsOf("marrow::dbg::Messenger"),
              (Names{"std::basic_string<char> m_tag", "marrow::dbg::IIPC* m_ipc",
                     "marrow::dbg::ICommand* m_handler", "std::mutex m_mutex"}));
}

TEST(FieldOrder, OfTheTvLibrarysRecords) {
    EXPECT_EQ(FieldsOf("TSSignalData"), (Names{"std::uint32_t value", "std::uint32_t extra"}));
    EXPECT_EQ(Layouts().Bases("TSCaption"), Names{});
    EXPECT_EQ(FieldsOf("TSCaption"),
              (Names{"std::uint32_t word_a", "std::uint8_t byte_b", "std::uint32_t word_c",
                     "std::vector<unsigned char> bytes"}));
    const Names packet = FieldsOf("TSPESData");
    ASSERT_GE(packet.size(), 4U); // what stands ahead of these is the library's affair
    EXPECT_EQ(Names(packet.end() - 4, packet.end()),
              (Names{"std::uint32_t word_a", "std::uint16_t short_b", "std::uint32_t word_c",
                     "std::vector<unsigned char> bytes"}));
    EXPECT_EQ(Layouts().VirtualTables("TSPESData"), LayoutDump::Tables{});
}

TEST(FieldOrder, OfTheTvEvents) {
    EXPECT_EQ(FieldsOf("marrow::evt::tvs_event_t"),
              (Names{"EProfile profile", "unsigned short screen", "ESignalType signal"}));
    EXPECT_EQ(FieldsOf("marrow::evt::tvs_event_args_t"),
              (Names{"marrow::evt::tvs_event_t event", "TSSignalData data"}));
    EXPECT_EQ(FieldsOf("marrow::evt::tvs_section_event_arg_t"),
              (Names{"bool flag", "unsigned short size", "std::shared_ptr<unsigned char> data",
                     "int subscriber_id"}));
    EXPECT_EQ(FieldsOf("marrow::evt::tvs_program_event_arg_t"),
              (Names{"EProgramChangeType change_type", "std::shared_ptr<TCProgramData> program",
                     "int param", "int subscriber_id"}));
    EXPECT_EQ(FieldsOf("marrow::evt::tvs_pes_event_arg_t"),
              (Names{"std::uint32_t word_a", "unsigned short short_b", "std::uint32_t word_c",
                     "std::shared_ptr<unsigned char> data", "int size"}));
}

TEST(FieldOrder, OfTheSubscriptionManagerAndTheSignalsProxy) {
    const std::string source = "marrow::evt::IListenable<marrow::evt::tvs_event_args_t>";
    const std::string manager = "marrow::evt::SubscriptionManager<marrow::evt::tvs_event_t, "
                                "marrow::evt::tvs_event_args_t>";
    EXPECT_EQ(Layouts().Bases(source), Names{});
    EXPECT_EQ(FieldsOf(source), Names{});
    EXPECT_EQ(FieldsOf(source + "::IListener"), Names{});
    EXPECT_EQ(Layouts().Bases(manager), Names{source});
    EXPECT_EQ(FieldsOf(manager),
              (Names{"std::mutex m_mutex", "std::map<marrow::evt::tvs_event_t, std::vector<" +
                                               source + "::IListener*>> m_subscribers"}));
    EXPECT_EQ(Layouts().Bases("marrow::evt::TVSEventProxy"), Names{manager});
    EXPECT_EQ(FieldsOf("marrow::evt::TVSEventProxy"), Names{"ISignalSubscriber* m_subscriber"});
}

TEST(FieldOrder, OfTheOtherTvProxies) {
    const auto source = [](const std::string& event) {
        return "marrow::evt::IListenable<" + event + ">";
    };
    const std::string program = source("marrow::evt::tvs_program_event_arg_t");
    const std::string caption = source("TSCaption");
    const std::string packet = source("marrow::evt::tvs_pes_event_arg_t");

    EXPECT_EQ(Layouts().Bases("marrow::evt::TVSSectionEventProxy"),
              Names{source("marrow::evt::tvs_section_event_arg_t")});
    EXPECT_EQ(FieldsOf("marrow::evt::TVSSectionEventProxy"),
              (Names{"ISectionSubscriber* m_subscriber", "int m_next_id",
                     "std::map<int, marrow::evt::TVSSectionEventProxy::tvs_section_subscriber_t> "
                     "m_subscribers",
                     "std::mutex m_mutex"}));
    const Names subscriber =
        FieldsOf("marrow::evt::TVSSectionEventProxy::tvs_section_subscriber_t");
    ASSERT_EQ(subscriber.size(), 2U);
    EXPECT_EQ(subscriber[0], "int handle");
    EXPECT_THAT(subscriber[1], testing::EndsWith("IListener* listener"));

    EXPECT_EQ(Layouts().Bases("marrow::evt::TVSProgramEventProxy"), Names{program});
    EXPECT_EQ(
        FieldsOf("marrow::evt::TVSProgramEventProxy"),
        (Names{"IProgramSubscriber* m_subscriber",
               "std::map<int, " + program + "::IListener*> m_subscribers", "std::mutex m_mutex"}));

    EXPECT_EQ(Layouts().Bases("marrow::evt::TVSCaptionEventProxy"), Names{caption});
    EXPECT_EQ(
        FieldsOf("marrow::evt::TVSCaptionEventProxy"),
        (Names{"IDataSubscriber* m_subscriber", "int m_subscription_id",
               "std::vector<" + caption + "::IListener*> m_listeners", "std::mutex m_mutex"}));

    EXPECT_EQ(Layouts().Bases("marrow::evt::TVSPESEventProxy"), Names{packet});
    EXPECT_EQ(
        FieldsOf("marrow::evt::TVSPESEventProxy"),
        (Names{"std::vector<" + packet + "::IListener*> m_listeners",
               "IPESDataSubscriber* m_subscriber", "int m_subscription_id", "std::mutex m_mutex"}));
}

TEST(FieldOrder, OfKeysAndTheirProxy) {
    const std::string source = "marrow::evt::IListenable<marrow::evt::key_event_arg_t>";
    EXPECT_EQ(FieldsOf("marrow::evt::key_event_arg_t"),
              (Names{"std::int32_t type", "std::basic_string<char> keyname"}));
    EXPECT_EQ(Layouts().Bases("marrow::evt::KeyEventProxy"), Names{source});
    EXPECT_EQ(FieldsOf("marrow::evt::KeyEventProxy"),
              (Names{"std::mutex m_mutex", "std::thread m_thread", "unsigned long m_window",
                     "_XDisplay* x_disp", "std::atomic<bool> m_stop",
                     "std::map<std::basic_string<char>, std::vector<" + source +
                         "::IListener*>> m_subscribers"}));
    static_assert(sizeof(std::atomic<bool>) == sizeof(bool));
}

TEST(FieldOrder, OfConfigurationKeysAndTheirProxy) {
    const std::string source = "marrow::evt::IListenable<marrow::evt::VConfData>";
    const std::string manager =
        "marrow::evt::SubscriptionManager<std::string, marrow::evt::VConfData>";
    EXPECT_EQ(Layouts().Bases("marrow::evt::VConfData"), Names{});
    EXPECT_EQ(FieldsOf("marrow::evt::VConfData"),
              (Names{"std::basic_string<char> name", "std::int32_t type", "boost::any value"}));
    EXPECT_EQ(Layouts().VirtualTables("marrow::evt::VConfData"), LayoutDump::Tables{});
    EXPECT_EQ(Layouts().Bases(manager), Names{source});
    EXPECT_EQ(Layouts().Bases("marrow::evt::VConfEventProxy"), Names{manager});
    EXPECT_EQ(FieldsOf("marrow::evt::VConfEventProxy"), Names{});
}

} // namespace
