// SPDX-License-Identifier: Apache-2.0

// The whole shell, as the daemon brings it up.

#include "CommandManager.h"

#include <array>
#include <gtest/gtest.h>
#include <set>
#include <thread>

#include "ControlPipe.h"
#include "FakeManager.h"
#include "PrivateBus.h"
#include "RawClient.h"
#include "Said.h"

namespace {

using marrow::dbg::CommandManager;
using Texts = std::vector<std::string>;

class CommandManagerTest : public testing::Test {
protected:
    PrivateBus bus;
    ControlPipe pipe;
    FakeManager& manager = FakeManager::Register();
};

TEST_F(CommandManagerTest, IsMadeWithItsCommandAtTheFirstGet) {
    LogCapture::Clear();
    ASSERT_NE(CommandManager::Get(), nullptr);
    const Texts said = Said();
    ASSERT_GE(said.size(), 4U);
    EXPECT_EQ(Texts(said.begin(), said.begin() + 4),
              (Texts{"D Get instance", "D Creating object", "I Creating command objects",
                     "D Registering message handle object and member function: service-command"}));
}

TEST_F(CommandManagerTest, MakesNothingAtASecondGet) {
    CommandManager* const only = CommandManager::Get();
    ASSERT_TRUE(LogCapture::WaitFor(DLOG_INFO, "Ready to open"));
    LogCapture::Clear();
    EXPECT_EQ(CommandManager::Get(), only);
    EXPECT_EQ(Said(), Texts{"D Get instance"});
}

TEST_F(CommandManagerTest, IsOneForSeveralThreads) {
    LogCapture::Clear();
    std::array<CommandManager*, 4> seen{};
    std::vector<std::thread> threads;
    for (CommandManager*& one : seen) {
        threads.emplace_back([&one] { one = CommandManager::Get(); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(std::set(seen.begin(), seen.end()).size(), 1U);
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "Creating command objects"), 1);
}

TEST_F(CommandManagerTest, AnswersAPersonAtThePipeInTheLog) {
    manager.Declare("probe");
    CommandManager::Get();
    ASSERT_TRUE(Visit("service-command status-load probe\nservice-command list-services-status\n"));
    const std::string before = "Response from command execution: {\n\t\"return\" : \"";
    EXPECT_EQ(
        LogCapture::Count(DLOG_INFO, before + "State successfully changed to loaded\\n\"\n}\n"), 1);
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, before + "probe           loaded\\n\"\n}\n"), 1);
}

TEST_F(CommandManagerTest, AnswersAPeerOnTheBus) {
    CommandManager::Get();
    RawClient client;
    EXPECT_EQ(client
                  .Call("quill.debugshell_C", "",
                        R"({"org.norvane.services.debugshell.command.tag":"service-command",)"
                        R"("function":"list-services"})")
                  .payload,
              R"({"return":"There is no services to list.\n"})");
}

} // namespace
