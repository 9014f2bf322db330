// SPDX-License-Identifier: Apache-2.0

// The proxy with the real store, which another process changes too.

#include "VConfEventProxy.h"

#include <cstdlib>
#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Program.h"
#include "RecordingListener.h"
#include "TemporaryFolder.h"
#include "WaitUntil.h"

namespace {

using marrow::evt::VConfData;
using marrow::evt::VConfEventProxy;
using testing::ElementsAre;
using testing::SizeIs;

using Listener = RecordingListener<VConfData>;

// The store of this process is opened once: all tests share it.
const TemporaryFolder& StoreFolder() {
    static const auto* const folder = [] {
        auto* const made = new TemporaryFolder;
        std::atexit([] { std::filesystem::remove_all(StoreFolder().Path()); });
        setenv("VCONF_DATABASE", (made->Path() / "vconf.db").c_str(), 1);
        return made;
    }();
    return *folder;
}

// The test's thread is the main thread: what it subscribes to is asked for inside the call.
class VConfEventProxyOnStore : public testing::Test {
protected:
    VConfEventProxyOnStore() {
        StoreFolder();
        EXPECT_TRUE(g_main_context_acquire(nullptr));
    }
    ~VConfEventProxyOnStore() override { g_main_context_release(nullptr); }

    // In another process.
    static void VConf(const std::vector<std::string>& arguments) {
        std::vector<std::string> words{VCONF_PROGRAM};
        words.insert(words.end(), arguments.begin(), arguments.end());
        Program program(words);
        EXPECT_EQ(program.Wait(), 0) << program.Errors();
    }
    bool Came(std::size_t count) {
        return WaitUntil([&] { return listener.Count() >= count; });
    }

    VConfEventProxy& proxy = VConfEventProxy::GetInstance();
    Listener listener{"listener"};
};

TEST_F(VConfEventProxyOnStore, ReadsWhatItHasWritten) {
    EXPECT_TRUE(proxy.SetValue("a/int", -3));
    EXPECT_TRUE(proxy.SetValue("a/bool", true));
    EXPECT_TRUE(proxy.SetValue("a/double", 0.1));
    EXPECT_TRUE(proxy.SetValue("a/string", "text"));
    int number = 0;
    bool truth = false;
    double real = 0;
    char* text = nullptr;
    EXPECT_TRUE(proxy.GetValue("a/int", number));
    EXPECT_EQ(number, -3);
    EXPECT_TRUE(proxy.GetValue("a/bool", truth));
    EXPECT_TRUE(truth);
    EXPECT_TRUE(proxy.GetValue("a/double", real));
    EXPECT_EQ(real, 0.1);
    EXPECT_TRUE(proxy.GetValue("a/string", text));
    EXPECT_STREQ(text, "text");
    free(text); // NOLINT: as the store's strings are freed
    EXPECT_FALSE(proxy.GetValue("a/int", real)) << "of another type";
    EXPECT_TRUE(proxy.Sync("a/int"));
    EXPECT_TRUE(proxy.Delete("a/int"));
    EXPECT_FALSE(proxy.GetValue("a/int", number));
    EXPECT_FALSE(proxy.Delete("a/int"));
}

TEST_F(VConfEventProxyOnStore, TellsItsListenersOfWhatItSetsItself) {
    proxy.Subscribe("b/key", &listener);
    EXPECT_TRUE(proxy.SetValue("b/key", 5));
    ASSERT_TRUE(Came(1));
    EXPECT_EQ(listener.EventsSoFar()[0].GetName(), "b/key");
    EXPECT_EQ(static_cast<int>(listener.EventsSoFar()[0]), 5);
    EXPECT_TRUE(proxy.SetValue("b/key", 5));
    EXPECT_TRUE(Came(2)) << "the same value again is a change";
    proxy.Unsubscribe("b/key", &listener);
    EXPECT_THAT(listener.Threads(), ElementsAre("listener_thread", "listener_thread"));
}

TEST_F(VConfEventProxyOnStore, TellsItsListenersOfWhatAnotherProcessSets) {
    proxy.Subscribe("c/key", &listener);
    VConf({"set", "c/other", "1"});
    VConf({"set", "c/key", "41"});
    ASSERT_TRUE(Came(1));
    EXPECT_EQ(static_cast<int>(listener.EventsSoFar()[0]), 41);
    VConf({"set", "-t", "string", "c/key", "words"});
    ASSERT_TRUE(Came(2));
    EXPECT_EQ(static_cast<std::string>(listener.EventsSoFar()[1]), "words");
    VConf({"set", "-t", "bool", "c/key", "true"});
    ASSERT_TRUE(Came(3));
    EXPECT_EQ(listener.EventsSoFar()[2].GetType(), 43);
    EXPECT_THROW((void)static_cast<bool>(listener.EventsSoFar()[2]), boost::bad_any_cast);
    VConf({"set", "-t", "double", "c/key", "2.5"});
    ASSERT_TRUE(Came(4));
    EXPECT_EQ(listener.EventsSoFar()[3].GetType(), 42);
    VConf({"unset", "c/key"});
    ASSERT_TRUE(Came(5));
    EXPECT_EQ(listener.EventsSoFar()[4].GetType(), 0);
    EXPECT_THAT(listener.EventsSoFar(), SizeIs(5)) << "and nothing of the other key";
    proxy.Unsubscribe("c/key", &listener);
}

TEST_F(VConfEventProxyOnStore, TellsNobodyOnceTheLastHasGone) {
    Listener other("other");
    proxy.Subscribe("d/key", &listener);
    proxy.Subscribe("d/behind", &other);
    proxy.Unsubscribe("d/key", &listener);
    VConf({"set", "d/key", "1"});
    VConf({"set", "d/behind", "1"});
    ASSERT_TRUE(WaitUntil([&] { return other.Count() != 0; }));
    EXPECT_THAT(listener.EventsSoFar(), SizeIs(0));
    proxy.Unsubscribe("d/behind", &other);
}

} // namespace
