// SPDX-License-Identifier: Apache-2.0
#include <csignal>
#include <gtest/gtest.h>
#include <unistd.h>

#include "KeyWindow.h"
#include "OtherClient.h"
#include "Program.h"
#include "UtilX.h"
#include "VirtualDisplay.h"
#include "WaitUntil.h"

namespace {

// A second process, which holds the key "1".
class Holder {
public:
    /// The text that it says of its grab.
    bool Says(const std::string& text) { return m_program.WaitForOutput(text); }
    int End() {
        m_program.Type("q\n");
        return m_program.Wait();
    }

private:
    Program m_program{{UTILX_KEY_CLIENT, "hold", "1"}, Program::At::TERMINAL};
};

} // namespace

TEST(UtilXProcesses, OnlyOneHasTheKey) {
    const VirtualDisplay server;
    KeyWindow window;
    ASSERT_EQ(window.Grab("1"), 0);
    Holder second;
    EXPECT_TRUE(second.Says("grab -1"));
    server.Tap("1");
    EXPECT_EQ(window.Next(2), Tapped(server.KeyCode("1")));
    EXPECT_EQ(second.End(), 0);
}

TEST(UtilXProcesses, TheSecondHasTheKeyOnceTheFirstHasGone) {
    const VirtualDisplay server;
    Holder first;
    ASSERT_TRUE(first.Says("grab 0"));
    KeyWindow window;
    EXPECT_EQ(window.Grab("1"), -1);
    ASSERT_EQ(first.End(), 0);
    // The server notices the end of a program a moment later.
    EXPECT_TRUE(WaitUntil([&] { return window.Grab("1") == 0; }));
    server.Tap("1");
    EXPECT_EQ(window.Next(2), Tapped(server.KeyCode("1")));
}

TEST(UtilXProcesses, EndNormallyWithAKeyGrabbed) {
    const VirtualDisplay server;
    Program program({UTILX_KEY_CLIENT, "leave", "1"});
    EXPECT_EQ(program.Wait(), 0) << program.Errors();
    EXPECT_EQ(program.Output(), "grab 0\n");
}

TEST(UtilXProcesses, LetKeysGoInDestructorsAtExit) {
    const VirtualDisplay server;
    Program program({UTILX_KEY_CLIENT, "destroy", "1"});
    EXPECT_EQ(program.Wait(), 0) << program.Errors();
    EXPECT_EQ(program.Output(), "grab 0\nungrab 0\n");
}

TEST(UtilXProcesses, EndWhereTheServerHasStopped) {
    const VirtualDisplay server;
    Holder holder;
    ASSERT_TRUE(holder.Says("grab 0"));
    ASSERT_EQ(kill(server.Pid(), SIGSTOP), 0);
    EXPECT_EQ(holder.End(), 0);
    kill(server.Pid(), SIGCONT);
}
