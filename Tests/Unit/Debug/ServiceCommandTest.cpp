// SPDX-License-Identifier: Apache-2.0
#include "ServiceCommand.h"

#include <gtest/gtest.h>
#include <sstream>

#include "ControlPipe.h"
#include "DbusIPC.h"
#include "FakeManager.h"
#include "PrivateBus.h"
#include "Said.h"

namespace {

using marrow::dbg::ServiceCommand;
using Quill::TCMessage;
using Request = ServiceCommand::ServiceState;
using State = marrow::mgr::IServiceControl::ServiceState;
using Texts = std::vector<std::string>;

constexpr const char* NO_SERVICES = "There is no services to list.\n";
constexpr const char* DONE = "State successfully changed to ";
constexpr const char* FAILED = "Failed to change status. Current service status is ";
constexpr const char* UNKNOWN = "Service nobody does not exist\n";

class ServiceCommandTest : public testing::Test {
protected:
    // The text of the answer, which holds nothing else.
    std::string Ask(const std::string& function, const Json::Value& service = {}) {
        TCMessage message;
        message.payload["function"] = function;
        if (!service.isNull()) {
            message.payload["service"] = service;
        }
        return TextOf(command.OnMessage(message));
    }
    static std::string TextOf(const TCMessage& reply) {
        EXPECT_EQ(reply.payload.getMemberNames(), Texts{"return"});
        EXPECT_TRUE(reply.payload["return"].isString());
        EXPECT_EQ(reply.subject, "");
        return reply.payload["return"].asString();
    }
    std::string Change(const std::string& name, Request request) {
        std::ostringstream output;
        output << "before;";
        command.changeStatus(output, name, request);
        return output.str();
    }

    PrivateBus bus; // a command registers with both channels
    ControlPipe pipe;
    FakeManager& manager = FakeManager::Register();
    FakeFactory& factory = FakeFactory::Get();
    ServiceCommand command;
};

TEST_F(ServiceCommandTest, UnregistersWhenItEnds) {
    using marrow::dbg::DbusIPC;
    {
        const ServiceCommand another; // of the same tag
        LogCapture::Clear();
    }
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "Unregistering message handle object and member "
                                            "function: service-command"),
              1);
    TCMessage message;
    TCMessage reply;
    message.payload[DbusIPC::COMMAND_TAG] = "service-command";
    EXPECT_EQ(DbusIPC::Get()->IfMessageReceived("sender", &message, &reply, nullptr), 0);
    EXPECT_EQ(
        LogCapture::Count(DLOG_DEBUG, "There is no subscription for command tag: service-command"),
        1);
}

TEST_F(ServiceCommandTest, NumbersItsRequests) {
    EXPECT_EQ(static_cast<int>(Request::LOAD), 0);
    EXPECT_EQ(static_cast<int>(Request::UNLOAD), 1);
    EXPECT_EQ(static_cast<int>(Request::START), 2);
    EXPECT_EQ(static_cast<int>(Request::STOP), 3);
}

TEST_F(ServiceCommandTest, HasItsOwnWordsForStates) {
    EXPECT_EQ(command.serviceStateTostring(State::NOT_LOADED), "not-load");
    EXPECT_EQ(command.serviceStateTostring(State::LOADED), "loaded");
    EXPECT_EQ(command.serviceStateTostring(State::STARTED), "started");
    EXPECT_EQ(command.serviceStateTostring(static_cast<State>(3)), "");
    EXPECT_EQ(command.serviceStateTostring(static_cast<State>(-1)), "");
}

TEST_F(ServiceCommandTest, SaysNothingButItsNameInTheLog) {
    ASSERT_TRUE(LogCapture::WaitFor(DLOG_INFO, "Ready to open")); // the last of the registration
    LogCapture::Clear();
    Ask("status-load", "nobody");
    Ask("nonsense");
    EXPECT_EQ(Said(), (Texts{"I OnMessage", "I OnMessage"}));
}

TEST_F(ServiceCommandTest, AnswersWithAnEmptyTextToAFunctionThatItDoesntKnow) {
    manager.Declare("probe");
    for (const char* function :
         {"", "nonsense", "list-service", "list-services ", "List-Services", "status-restart"}) {
        EXPECT_EQ(Ask(function, "probe"), "") << function;
        EXPECT_EQ(Ask(function, Json::arrayValue), "") << function;
    }
    TCMessage nothing;
    EXPECT_EQ(TextOf(command.OnMessage(nothing)), "");
    EXPECT_EQ(factory.calls, Texts{});
}

TEST_F(ServiceCommandTest, SaysThatThereIsNothingToList) {
    EXPECT_EQ(Ask("list-services"), NO_SERVICES);
    EXPECT_EQ(Ask("list-services", "nobody"), NO_SERVICES);
    EXPECT_EQ(Ask("list-services-status"), NO_SERVICES);
    EXPECT_EQ(Ask("list-services-status", ""), NO_SERVICES);
}

TEST_F(ServiceCommandTest, ListsTheNamesInTheOrderOfTheManifests) {
    manager.Declare("second");
    manager.Declare("first");
    manager.Declare("third");
    EXPECT_EQ(Ask("list-services"), "second\nfirst\nthird\n");
    EXPECT_EQ(Ask("list-services", "nobody"), "second\nfirst\nthird\n");
    EXPECT_EQ(Ask("list-services", Json::objectValue), "second\nfirst\nthird\n")
        << "it doesn't look";
}

TEST_F(ServiceCommandTest, ListsTheStatesInAColumn) {
    manager.Declare("a");
    manager.Declare("twelve_chars").Load();
    manager.Declare("of_thirteen_c").Load();
    manager.Declare("of_fourteen_ch");
    manager.GetServiceByName("of_thirteen_c")->Start();
    const std::string expected = "a               not-load\n"
                                 "twelve_chars    loaded\n"
                                 "of_thirteen_c   started\n"
                                 "of_fourteen_ch   not-load\n";
    EXPECT_EQ(Ask("list-services-status"), expected);
    EXPECT_EQ(Ask("list-services-status", ""), expected);
}

TEST_F(ServiceCommandTest, TellsTheStateOfOneServiceWithoutAColumn) {
    manager.Declare("other");
    manager.Declare("a").Load();
    EXPECT_EQ(Ask("list-services-status", "a"), "a   loaded\n");
    EXPECT_EQ(Ask("list-services-status", "nobody"), UNKNOWN);
}

TEST_F(ServiceCommandTest, LoadsAServiceOnce) {
    manager.Declare("probe");
    EXPECT_EQ(Ask("status-load", "probe"), std::string(DONE) + "loaded\n");
    EXPECT_EQ(factory.calls, (Texts{"create probe", "proxy"}));
    EXPECT_EQ(Ask("status-load", "probe"), std::string(FAILED) + "loaded\n");
    EXPECT_EQ(factory.calls.size(), 2U);
}

TEST_F(ServiceCommandTest, StartsAServiceInTwoSteps) {
    auto& control = manager.Declare("probe");
    EXPECT_EQ(Ask("status-start", "probe"), std::string(DONE) + "loaded\n" + DONE + "started\n");
    EXPECT_EQ(control.GetState(), State::STARTED);
}

TEST_F(ServiceCommandTest, StartsALoadedServiceBehindAFailedLoad) {
    manager.Declare("probe").Load();
    EXPECT_EQ(Ask("status-start", "probe"), std::string(FAILED) + "loaded\n" + DONE + "started\n");
}

TEST_F(ServiceCommandTest, TakesTheSecondStepWhateverBecameOfTheFirst) {
    manager.Declare("probe");
    factory.refused["probe"] = true;
    EXPECT_EQ(Ask("status-start", "probe"),
              std::string(FAILED) + "not-load\n" + FAILED + "not-load\n");
    factory.refused["probe"] = false;
    Ask("status-start", "probe");
    EXPECT_EQ(Ask("status-start", "probe"),
              std::string(FAILED) + "started\n" + FAILED + "started\n");
    factory.service.onStop = [] { return false; };
    EXPECT_EQ(Ask("status-unload", "probe"),
              std::string(FAILED) + "started\n" + FAILED + "started\n");
}

TEST_F(ServiceCommandTest, StopsAServiceThatIsStartedAlone) {
    auto& control = manager.Declare("probe");
    EXPECT_EQ(Ask("status-stop", "probe"), std::string(FAILED) + "not-load\n");
    control.Load();
    EXPECT_EQ(Ask("status-stop", "probe"), std::string(FAILED) + "loaded\n");
    control.Start();
    EXPECT_EQ(Ask("status-stop", "probe"), std::string(DONE) + "loaded\n");
}

TEST_F(ServiceCommandTest, UnloadsAServiceInTwoSteps) {
    auto& control = manager.Declare("probe");
    control.Load();
    control.Start();
    EXPECT_EQ(Ask("status-unload", "probe"), std::string(DONE) + "loaded\n" + DONE + "not-load\n");
    control.Load();
    EXPECT_EQ(Ask("status-unload", "probe"),
              std::string(FAILED) + "loaded\n" + DONE + "not-load\n");
    EXPECT_EQ(Ask("status-unload", "probe"),
              std::string(FAILED) + "not-load\n" + FAILED + "not-load\n");
}

TEST_F(ServiceCommandTest, SaysOfEachStepThatThereIsNoSuchService) {
    EXPECT_EQ(Ask("status-load", "nobody"), UNKNOWN);
    EXPECT_EQ(Ask("status-stop", "nobody"), UNKNOWN);
    EXPECT_EQ(Ask("status-start", "nobody"), std::string(UNKNOWN) + UNKNOWN);
    EXPECT_EQ(Ask("status-unload", "nobody"), std::string(UNKNOWN) + UNKNOWN);
    EXPECT_EQ(Ask("status-load"), "Service  does not exist\n") << "no name at all";
}

TEST_F(ServiceCommandTest, AsksTheControlForWhatTheRequestSays) {
    auto& control = manager.Declare("probe");
    const std::string done = "before;" + std::string(DONE);
    EXPECT_EQ(Change("probe", Request::LOAD), done + "loaded\n");
    EXPECT_EQ(Change("probe", Request::START), done + "started\n");
    EXPECT_EQ(Change("probe", Request::STOP), done + "loaded\n");
    EXPECT_EQ(Change("probe", Request::UNLOAD), done + "not-load\n");
    EXPECT_EQ(control.GetState(), State::NOT_LOADED);
}

TEST_F(ServiceCommandTest, AsksNothingForARequestThatDoesntExist) {
    manager.Declare("probe").Load();
    factory.calls.clear();
    LogCapture::Clear();
    EXPECT_EQ(Change("probe", static_cast<Request>(4)),
              "before;" + std::string(FAILED) + "loaded\n");
    EXPECT_EQ(factory.calls, Texts{});
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_ERROR, "service['probe']"), 0) << "nor a refusal";
}

} // namespace
