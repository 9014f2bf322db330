// SPDX-License-Identifier: Apache-2.0

// The proxy with its window on a real X server. The test sends the messages itself, so that it can
// send wrong ones too; what is grabbed is only recorded.

#include "KeyEventProxy.h"

#include <algorithm>
#include <atomic>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <mutex>
#include <set>
#include <type_traits>
#include <utility>

#include "DeathTest.h"
#include "KeepForEver.h"
#include "KeyRecord.h"
#include "PrivateMember.h"
#include "ProxyTools.h"
#include "RecordingListener.h"
#include "VirtualDisplay.h"
#include "WaitUntil.h"

#include <X11/Xlib.h> // behind GoogleTest, which its macros would break

namespace {

using marrow::evt::key_event_arg_t;
using marrow::evt::KeyEventProxy;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

using Strings = std::vector<std::string>;
using Table = std::map<std::string, std::vector<KeyEventProxy::IListener*>>;
using Listener = RecordingListener<key_event_arg_t>;

constexpr long PRESS = 2;
constexpr long RELEASE = 3;
constexpr int UNMAPPED = 8;   // no keyboard has a key with this code
constexpr int REMAPPED = 254; // the tests give it what they want

struct Subscribers : PrivateMember<Subscribers, Table KeyEventProxy::*> {};
struct Lock : PrivateMember<Lock, marrow::base::Mutex KeyEventProxy::*> {};
struct Stop : PrivateMember<Stop, std::atomic<bool> KeyEventProxy::*> {};
struct Connection : PrivateMember<Connection, _XDisplay * KeyEventProxy::*> {};
struct Loop : PrivateMember<Loop, void (KeyEventProxy::*)()> {};

} // namespace

template struct ExposeMember<Subscribers, &KeyEventProxy::m_subscribers>;
template struct ExposeMember<Lock, &KeyEventProxy::m_mutex>;
template struct ExposeMember<Stop, &KeyEventProxy::m_stop>;
template struct ExposeMember<Connection, &KeyEventProxy::x_disp>;
template struct ExposeMember<Loop, &KeyEventProxy::KeyEventLoop>;

namespace {

// Whoever has the proxy's window sends it messages, on a connection of its own.
class Sender {
public:
    // The window is there once the server has seen what the proxy has asked for.
    Sender() : m_display(XOpenDisplay(nullptr)) { XSync(KeyRecord::Get().GrabDisplay(), False); }
    ~Sender() { XCloseDisplay(m_display); }
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;

    void Send(long keycode, long type, const char* atom = "RCINPUT_KEYEVENT") {
        XEvent event{};
        event.xclient.type = ClientMessage;
        event.xclient.window = KeyRecord::Get().GrabWindow();
        event.xclient.message_type = XInternAtom(m_display, atom, False);
        event.xclient.format = 32;
        std::fill(std::begin(event.xclient.data.l), std::end(event.xclient.data.l), 0x7777);
        event.xclient.data.l[2] = keycode;
        event.xclient.data.l[3] = type;
        Send(event);
    }
    void Send(XEvent& event) {
        XSendEvent(m_display, KeyRecord::Get().GrabWindow(), False, 0, &event);
        XSync(m_display, False);
    }
    Display* Handle() { return m_display; }

private:
    Display* m_display;
};

// The server lives as long as the process: the proxy does.
VirtualDisplay& Server() {
    static VirtualDisplay server;
    return server;
}

class KeyEventProxyTest : public testing::Test {
protected:
    KeyEventProxyTest() {
        WaitUntilItRuns();
        record.Clear();
        ClearTable();
        LogCapture::Clear();
    }
    ~KeyEventProxyTest() override { ClearTable(); }

    // Its thread says so once, and not in the midst of a test.
    static void WaitUntilItRuns() {
        static const bool runs = LogCapture::WaitFor(DLOG_INFO, "start");
        EXPECT_TRUE(runs);
    }

    // As it is now.
    ::Table Table() {
        const std::scoped_lock lock(proxy.*MemberOf(Lock()));
        return proxy.*MemberOf(Subscribers());
    }
    void ClearTable() {
        const std::scoped_lock lock(proxy.*MemberOf(Lock()));
        (proxy.*MemberOf(Subscribers())).clear();
    }

    // Sends the message, and waits until the proxy has dealt with it.
    void SendAndWait(long keycode, long type) {
        const int before = m_sent++;
        sender.Send(keycode, type);
        // A key that nobody wants, behind it: its line says that the one ahead is done.
        sender.Send(server.KeyCode("End"), 1000 + before);
        const std::string line = "KeyEvent type: " + std::to_string(1000 + before) +
                                 ", keycode: " + std::to_string(server.KeyCode("End"));
        ASSERT_TRUE(LogCapture::WaitFor(DLOG_DEBUG, line));
        ASSERT_TRUE(LogCapture::WaitFor(DLOG_DEBUG, "Keyname: End", m_sent));
    }
    void SendAndWait(const char* key, long type) { SendAndWait(server.KeyCode(key), type); }

    VirtualDisplay& server = Server();
    KeyRecord& record = KeyRecord::Get();
    KeyEventProxy& proxy = KeyEventProxy::Get();
    Sender sender;
    Listener one{"one"};
    Listener two{"two"};

private:
    int m_sent = 0;
};

// --- the table of keys ---

TEST_F(KeyEventProxyTest, KnowsTheKeysOfARemoteControlInTheirOrderAndWithTheirRepeats) {
    const Strings& keys = KeyEventProxy::KEYS_ALL;
    EXPECT_THAT(keys, SizeIs(156));
    EXPECT_THAT(std::set<std::string>(keys.begin(), keys.end()), SizeIs(131));
    // FNV-1a over the names, each with a newline behind it: no name moves or changes unnoticed.
    std::uint64_t hash = 0xCBF29CE484222325U;
    for (const std::string& key : keys) {
        for (const char c : key + "\n") {
            hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
        }
    }
    EXPECT_EQ(hash, 0x258BBD6E33792137U);
    const std::map<std::size_t, std::string> some = {
        {0, "XF86PowerOff"}, {12, "minus"},    {13, "0"},          {33, "XF86Red"},
        {70, "XF86Back"},    {71, "XF86Memo"}, {155, "XF86Wakeup"}};
    for (const auto& [index, name] : some) {
        EXPECT_EQ(keys.at(index), name) << index;
    }
    EXPECT_EQ(std::count(keys.begin(), keys.end(), "XF86Recommend"), 3);
    EXPECT_EQ(std::count(keys.begin(), keys.end(), "Up"), 2);
}

// --- construction ---

TEST_F(KeyEventProxyTest, IsOneObjectForTheProcess) {
    EXPECT_EQ(&KeyEventProxy::Get(), &proxy);
    EXPECT_FALSE(std::is_default_constructible_v<KeyEventProxy>);
}

TEST(KeyEventProxyLife, IsMadeInAFixedOrderAndGrabsThreeKeysByItself) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            Server();
            const bool wasEmpty = KeyEventProxy::KEYS_ALL.empty();
            KeyRecord::Get().Clear(); // Xlib has prepared itself for threads when it was loaded
            KeyEventProxy::Get();
            const bool runs = LogCapture::WaitFor(DLOG_INFO, "start");
            std::fprintf(stderr, "empty before %d, runs %d, told %d, made by %s\n", wasEmpty, runs,
                         LogCapture::Count(DLOG_DEBUG, "AddKey XF86STBPower"),
                         testing::PrintToString(KeyRecord::Get().Calls()).c_str());
            std::exit(0);
        },
        testing::ExitedWithCode(0),
        HasSubstr("empty before 1, runs 1, told 1, made by { \"XInitThreads\", \"XOpenDisplay\", "
                  "\"XCreateWindow 1 -1 -1 1 1 0 0 2 0 0 3\", \"XSelectInput 163843\", "
                  "\"grab XF86MBRMenu 65536\", \"grab XF86STBPower 65536\", "
                  "\"grab XF86MBRSTBGuide 65536\" }"));
}

TEST_F(KeyEventProxyTest, HasAHiddenWindow) {
    proxy.AddKey("Up");
    XWindowAttributes attributes{};
    ASSERT_NE(XGetWindowAttributes(sender.Handle(), record.GrabWindow(), &attributes), 0);
    EXPECT_EQ(attributes.map_state, IsUnmapped);
    EXPECT_EQ(attributes.c_class, InputOnly);
    EXPECT_EQ(attributes.all_event_masks, 0x28003);
    EXPECT_EQ(attributes.root, XDefaultRootWindow(sender.Handle()));
}

// Where there is no X server to connect to.
TEST(KeyEventProxyLife, EndsTheProcessWhereThereIsNoDisplay) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            setenv("DISPLAY", ":54321", 1);
            KeyEventProxy::Get();
            std::exit(0);
        },
        DiedOfAFault, "");
}

TEST(KeyEventProxyLife, LetsGoOfEveryKeyOfTheTableAtTheEndAndThenOfTheServer) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            Server();
            std::atexit([] {
                const Strings calls = KeyRecord::Get().Calls();
                const Strings ungrabs = KeyRecord::Get().CallsBeginning("ungrab ");
                bool inOrder = ungrabs.size() == KeyEventProxy::KEYS_ALL.size();
                for (std::size_t i = 0; inOrder && i < ungrabs.size(); ++i) {
                    inOrder = ungrabs[i] == "ungrab " + KeyEventProxy::KEYS_ALL[i];
                }
                std::fprintf(stderr, "%s; then %s and %s; stopped %d\n",
                             inOrder ? "complete" : "wrong", calls[calls.size() - 2].c_str(),
                             calls.back().c_str(), LogCapture::Count(DLOG_INFO, "stop"));
            });
            KeyEventProxy& proxy = KeyEventProxy::Get();
            ASSERT_TRUE(LogCapture::WaitFor(DLOG_INFO, "start"));
            proxy.Subscribe(nullptr, {"Up"});
            KeyRecord::Get().InsideNextCall([&] {
                std::fprintf(stderr, "stopped %d with %zu keys, and %s; ",
                             LogCapture::Count(DLOG_INFO, "stop"),
                             (proxy.*MemberOf(Subscribers())).size(),
                             KeyRecord::Get().Calls().back().c_str());
            });
            std::exit(0);
        },
        testing::ExitedWithCode(0),
        HasSubstr("stopped 1 with 0 keys, and ungrab XF86PowerOff; "
                  "complete; then XDestroyWindow and XCloseDisplay; stopped 1"));
}

TEST(KeyEventProxyLife, FindsNoListenersForAKeyThatIsUnderWayAtTheEnd) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            Server();
            static std::atomic<int> asked = 0;
            std::atexit([] { std::fprintf(stderr, "asked %d\n", asked.load()); });
            KeyEventProxy& proxy = KeyEventProxy::Get();
            Listener& listener = KeepForEver<Listener>("listener");
            listener.onAsked = [] { ++asked; };
            proxy.Subscribe(&listener, {"Up"});
            Sender sender;
            Gate isUnderWay;
            KeyRecord::Get().InsideNextName([&] {
                isUnderWay.Open();
                WaitUntil([&] { return (proxy.*MemberOf(Stop())).load(); });
            });
            sender.Send(Server().KeyCode("Up"), PRESS);
            isUnderWay.Wait();
            std::exit(0);
        },
        testing::ExitedWithCode(0), "asked 0");
}

// --- subscriptions ---

TEST_F(KeyEventProxyTest, GrabsAKeyForItsFirstListenerAndLetsGoForItsLast) {
    proxy.Subscribe(&one, {"Up"});
    EXPECT_THAT(record.Calls(), ElementsAre("grab Up 65536"));
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "AddKey Up"), 1);
    proxy.Subscribe(&two, {"Up"});
    EXPECT_THAT(record.Calls(), SizeIs(1));
    proxy.Unsubscribe(&one);
    EXPECT_THAT(record.Calls(), SizeIs(1)) << "the other still wants it";
    proxy.Unsubscribe(&two);
    EXPECT_THAT(record.Calls(), ElementsAre("grab Up 65536", "ungrab Up"));
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "RemoveKey Up"), 1);
}

TEST_F(KeyEventProxyTest, GrabsForItsOwnWindowOnItsOwnConnection) {
    proxy.Subscribe(&one, {"Up"});
    Display* const display = record.GrabDisplay();
    const Window window = record.GrabWindow();
    proxy.Unsubscribe(&one);
    EXPECT_EQ(record.GrabDisplay(), display);
    EXPECT_EQ(record.GrabWindow(), window);
    EXPECT_NE(window, 0U);
}

TEST_F(KeyEventProxyTest, GrabsSeveralKeysInTheOrderGiven) {
    proxy.Subscribe(&one, {"Down", "Up", "NoSuchKey"});
    EXPECT_THAT(record.Calls(),
                ElementsAre("grab Down 65536", "grab Up 65536", "grab NoSuchKey 65536"));
}

TEST_F(KeyEventProxyTest, DoesNothingForNoKeys) {
    proxy.Subscribe(&one, {});
    EXPECT_THAT(record.Calls(), IsEmpty());
    EXPECT_THAT(Table(), IsEmpty());
}

TEST_F(KeyEventProxyTest, TakesItsLockForNoKeysToo) {
    OtherThread other;
    bool waited = false;
    record.InsideNextCall(
        [&] { waited = other.WaitsFor(proxy, [this] { proxy.Subscribe(&two, {}); }); });
    proxy.Subscribe(&one, {"Up"});
    EXPECT_TRUE(waited);
}

TEST_F(KeyEventProxyTest, LooksAtNoAnswerOfThePlatform) {
    record.Answer(-1);
    EXPECT_EQ(proxy.AddKey("Up"), -1);
    EXPECT_EQ(proxy.RemoveKey("Up"), -1);
    proxy.Subscribe(&one, {"Up"});
    EXPECT_THAT(Table()["Up"], ElementsAre(&one));
    proxy.Unsubscribe(&one);
    EXPECT_THAT(Table()["Up"], IsEmpty());
    for (const LogCapture::Line& line : LinesWithoutTheWorkers()) {
        EXPECT_EQ(line.priority, DLOG_DEBUG) << line.text;
    }
}

TEST_F(KeyEventProxyTest, MakesAnEntryForEachKeyOfTheTableWhenAStrangerUnsubscribes) {
    proxy.Unsubscribe(&one);
    EXPECT_THAT(record.Calls(), IsEmpty());
    EXPECT_THAT(Table(), SizeIs(131));
    for (const auto& [key, listeners] : Table()) {
        EXPECT_THAT(listeners, IsEmpty()) << key;
    }
}

TEST_F(KeyEventProxyTest, PassesOverTheListenerThatMovesIntoAnErasedOnesPlace) {
    // "XF86Red" stands once in the table.
    proxy.Subscribe(&one, {"XF86Red", "XF86Red"});
    proxy.Unsubscribe(&one);
    EXPECT_THAT(Table()["XF86Red"], ElementsAre(&one));
    EXPECT_THAT(record.Calls(), ElementsAre("grab XF86Red 65536"));
    proxy.Unsubscribe(&one);
    EXPECT_THAT(Table()["XF86Red"], IsEmpty());
    EXPECT_THAT(record.CallsBeginning("ungrab"), SizeIs(1));
}

TEST_F(KeyEventProxyTest, KeepsTheOrderOfTheOtherListeners) {
    Listener three("three");
    proxy.Subscribe(&one, {"XF86Red"});
    proxy.Subscribe(&two, {"XF86Red"});
    proxy.Subscribe(&one, {"XF86Red"});
    proxy.Subscribe(&three, {"XF86Red"});
    proxy.Unsubscribe(&one);
    EXPECT_THAT(Table()["XF86Red"], ElementsAre(&two, &three));
}

TEST_F(KeyEventProxyTest, PassesTwiceOverAKeyThatStandsTwiceInTheTable) {
    proxy.Subscribe(&one, {"Up", "Up"});
    SendAndWait("Up", PRESS);
    EXPECT_THAT(one.Events(), SizeIs(2));
    proxy.Unsubscribe(&one);
    EXPECT_THAT(Table()["Up"], IsEmpty());
    EXPECT_THAT(record.Calls(), ElementsAre("grab Up 65536", "ungrab Up"));
}

TEST_F(KeyEventProxyTest, NeverRemovesAListenerOfAKeyThatIsNotInTheTable) {
    proxy.Subscribe(&one, {"space"});
    SendAndWait("space", PRESS);
    EXPECT_THAT(one.Events(), SizeIs(1));
    proxy.Unsubscribe(&one);
    EXPECT_THAT(Table()["space"], ElementsAre(&one));
    EXPECT_THAT(record.Calls(), ElementsAre("grab space 65536"));
}

TEST_F(KeyEventProxyTest, LetsGoOfTheKeysItGrabbedByItselfWithTheirLastListener) {
    proxy.Subscribe(&one, {"XF86STBPower"});
    proxy.Unsubscribe(&one);
    EXPECT_THAT(record.Calls(), ElementsAre("grab XF86STBPower 65536", "ungrab XF86STBPower"));
}

TEST_F(KeyEventProxyTest, TakesTheListenerAsItIs) {
    proxy.Subscribe(nullptr, {"Up"});
    EXPECT_THAT(Table()["Up"], ElementsAre(nullptr));
}

// --- events ---

TEST_F(KeyEventProxyTest, DeliversAPressAndAReleaseByName) {
    proxy.Subscribe(&one, {"Up"});
    SendAndWait("Up", PRESS);
    SendAndWait("Up", RELEASE);
    ASSERT_THAT(one.Events(), SizeIs(2));
    EXPECT_EQ(one.Events()[0].type, 0);
    EXPECT_EQ(one.Events()[0].keyname, "Up");
    EXPECT_EQ(one.Events()[1].type, 1);
    EXPECT_EQ(one.Events()[1].keyname, "Up");
    EXPECT_THAT(one.Threads(), ElementsAre("one_thread", "one_thread"));
    ASSERT_THAT(one.asked, SizeIs(2));
    EXPECT_NE(one.asked[0], ThisThread());
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "Keyname: Up"), 2);
    EXPECT_EQ(LogCapture::Count(DLOG_DEBUG, "KeyEvent type: 3, keycode: " +
                                                std::to_string(server.KeyCode("Up"))),
              1);
}

TEST_F(KeyEventProxyTest, TakesEveryTypeButTwoForARelease) {
    proxy.Subscribe(&one, {"Up"});
    for (const long type : {5L, 0L, 1L, -2L, 0x7FFFFFFFL}) {
        SendAndWait("Up", type);
    }
    ASSERT_THAT(one.Events(), SizeIs(5));
    for (const key_event_arg_t& event : one.Events()) {
        EXPECT_EQ(event.type, 1);
    }
}

TEST_F(KeyEventProxyTest, DeliversToEachListenerOfTheKeyInTheirOrder) {
    proxy.Subscribe(&two, {"Up", "Down"});
    proxy.Subscribe(&one, {"Up"});
    std::vector<Listener*> order;
    one.onAsked = [&] { order.push_back(&one); };
    two.onAsked = [&] { order.push_back(&two); };
    SendAndWait("Up", PRESS);
    SendAndWait("Down", PRESS);
    EXPECT_THAT(order, ElementsAre(&two, &one, &two));
    EXPECT_THAT(one.Events(), SizeIs(1));
    ASSERT_THAT(two.Events(), SizeIs(2));
    EXPECT_EQ(two.Events()[1].keyname, "Down");
}

TEST_F(KeyEventProxyTest, ReadsTheKeyWithoutAnyModifier) {
    proxy.Subscribe(&one, {"a", "A"});
    SendAndWait("a", PRESS);
    ASSERT_THAT(one.Events(), SizeIs(1));
    EXPECT_EQ(one.Events()[0].keyname, "a");
}

TEST_F(KeyEventProxyTest, MakesAnEntryForAKeyThatNobodyWants) {
    SendAndWait("Left", PRESS);
    ASSERT_EQ(Table().count("Left"), 1U);
    EXPECT_THAT(Table()["Left"], IsEmpty());
    EXPECT_THAT(one.asked, IsEmpty());
}

TEST_F(KeyEventProxyTest, DropsEverythingElse) {
    proxy.Subscribe(&one, {"Up"});
    sender.Send(server.KeyCode("Up"), PRESS, "ANOTHER_MESSAGE");
    XEvent event{};
    event.xkey.type = KeyPress;
    event.xkey.keycode = server.KeyCode("Up");
    sender.Send(event);
    event.xexpose.type = Expose;
    sender.Send(event);
    event.xdestroywindow.type = DestroyNotify;
    sender.Send(event);
    SendAndWait("Down", PRESS);
    EXPECT_THAT(one.Events(), IsEmpty());
    EXPECT_EQ(LogCapture::CountBeginning(DLOG_DEBUG, "KeyEvent type: 2"), 1);
}

TEST_F(KeyEventProxyTest, HoldsItsLockWhileAKeyIsDelivered) {
    proxy.Subscribe(&one, {"Up"});
    OtherThread other;
    bool waited = false;
    one.onAsked = [&] { waited = other.WaitsFor(proxy, [this] { proxy.Unsubscribe(&two); }); };
    SendAndWait("Up", PRESS);
    EXPECT_TRUE(waited);
}

TEST_F(KeyEventProxyTest, HoldsItsLockWhileAKeyIsGrabbedAndLetGo) {
    OtherThread atGrab;
    OtherThread atEnd;
    bool waited = false;
    record.InsideNextCall(
        [&] { waited = atGrab.WaitsFor(proxy, [this] { proxy.Subscribe(&two, {"Down"}); }); });
    proxy.Subscribe(&one, {"XF86Red"});
    EXPECT_TRUE(waited);
    waited = false;
    record.InsideNextCall(
        [&] { waited = atEnd.WaitsFor(proxy, [this] { proxy.Subscribe(&two, {"Left"}); }); });
    proxy.Unsubscribe(&one);
    EXPECT_TRUE(waited);
}

TEST_F(KeyEventProxyTest, DeliversKeysWithUnicodeNames) {
    const std::vector<std::pair<KeySym, std::string>> keys{
        {0x1000100, "U0100"},
        {0x1000416, "U0416"},
        {0x110FFFF, "U0010FFFF"},
        // Xlib's own names, which aren't to be freed.
        {0x1000174, "Wcircumflex"},
        {0x10020AB, "DongSign"}};
    // The server's map has none: the test gives them to the last key codes, before the proxy's
    // connection fetches the map.
    const int first = REMAPPED - static_cast<int>(keys.size()) + 1;
    std::vector<KeySym> map;
    Strings names;
    for (const auto& [keysym, name] : keys) {
        map.push_back(keysym);
        names.push_back(name);
    }
    XChangeKeyboardMapping(sender.Handle(), first, 1, map.data(), static_cast<int>(map.size()));
    XSync(sender.Handle(), False);
    proxy.Subscribe(&one, names);
    int held = -1;
    record.InsideNextFree([&] {
        auto& mutex = proxy.*MemberOf(Lock());
        held = mutex.try_lock() ? 0 : 1;
        if (held == 0) {
            mutex.unlock();
        }
    });
    ASSERT_TRUE(WaitUntil([&] {
        SendAndWait(first, PRESS);
        return one.Count() != 0;
    }));
    for (int code = first + 1; code <= REMAPPED; ++code) {
        SendAndWait(code, PRESS);
    }
    const auto told = [&](const std::string& name) {
        const auto events = one.Events();
        return std::any_of(events.begin(), events.end(),
                           [&](const key_event_arg_t& event) { return event.keyname == name; });
    };
    for (const std::string& name : names) {
        EXPECT_TRUE(WaitUntil([&] { return told(name); })) << name;
    }
    EXPECT_EQ(held, 1) << "the lock, while a name is given back";
}

TEST_F(KeyEventProxyTest, LooksForKeysTenTimesASecondWhileNoneComeAndHoldsNoLockMeanwhile) {
    SendAndWait("Up", PRESS);         // and all that had come before
    static std::atomic<int> held = 0; // the thread may look at it yet when the test is over
    record.Clear();
    record.InsidePolls([&mutex = proxy.*MemberOf(Lock())] {
        if (!mutex.try_lock()) {
            ++held;
            return;
        }
        mutex.unlock();
    });
    ASSERT_TRUE(WaitUntil([this] { return record.Polls().size() >= 7; }));
    Strings polls = record.Polls();
    record.Clear();
    if (polls.front() != "XPending 0") {
        polls.erase(polls.begin());
    }
    polls.resize(6);
    const std::string look = "XPending 0";
    const std::string sleep = "nanosleep 0 100000000";
    EXPECT_THAT(polls, ElementsAre(look, sleep, look, sleep, look, sleep));
    EXPECT_EQ(held, 0);
}

// --- what goes wrong ---

// Its thread has ended when it is asked to run once more.
TEST(KeyEventProxyFaults, RunsNotAtAllWithoutADisplay) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            Server();
            KeyEventProxy& proxy = KeyEventProxy::Get();
            proxy.*MemberOf(Stop()) = true;
            if (!LogCapture::WaitFor(DLOG_INFO, "stop")) {
                std::exit(1);
            }
            LogCapture::Clear();
            _XDisplay* const display = std::exchange(proxy.*MemberOf(Connection()), nullptr);
            (proxy.*MemberOf(Loop()))();
            proxy.*MemberOf(Connection()) = display; // its end needs it
            const auto lines = LinesWithoutTheWorkers();
            if (lines.size() != 2 || lines[0].text != "start" || lines[1].priority != DLOG_ERROR) {
                std::exit(2);
            }
            std::fprintf(stderr, "only: %s.\n", lines[1].text.c_str());
            std::exit(0);
        },
        testing::ExitedWithCode(0), HasSubstr("only: x_disp is null."));
}

TEST(KeyEventProxyFaults, GoesDeafForEverAtAKeyCodeWithoutAKeysym) {
    UseFreshProcesses();
    EXPECT_EXIT(
        {
            Server();
            KeyEventProxy& proxy = KeyEventProxy::Get();
            Listener listener("listener");
            proxy.Subscribe(&listener, {"Up"});
            Sender sender;
            sender.Send(UNMAPPED, PRESS);
            if (!LogCapture::WaitFor(DLOG_INFO, "stop") ||
                LogCapture::Count(DLOG_WARN, "KeyEvent break by ks NoSymbol") != 1) {
                std::exit(1);
            }
            KeyRecord::Get().Clear();
            proxy.Subscribe(&listener, {"Down"});
            if (KeyRecord::Get().Calls() != Strings{"grab Down 65536"}) {
                std::exit(2);
            }
            sender.Send(Server().KeyCode("Up"), PRESS);
            sender.Send(Server().KeyCode("Down"), PRESS);
            // Many times the proxy's idle time: nothing else could tell that nothing comes.
            if (WaitUntil([&] { return listener.Count() != 0; }, std::chrono::seconds(1))) {
                std::exit(3);
            }
            std::fprintf(stderr, "deaf\n");
            std::exit(0);
        },
        testing::ExitedWithCode(0), "deaf");
}

TEST_F(KeyEventProxyTest, GoesOnBehindAKeysymWithoutAName) {
    KeySym map[] = {0x1008FA77}; // of no table
    XChangeKeyboardMapping(sender.Handle(), REMAPPED, 1, map, 1);
    XSync(sender.Handle(), False);
    proxy.Subscribe(&one, {"Up"});
    SendAndWait(REMAPPED, PRESS);
    EXPECT_EQ(LogCapture::Count(DLOG_WARN, "KeyEvent break by key not found"), 1);
    SendAndWait("Up", PRESS);
    EXPECT_THAT(one.Events(), SizeIs(1));
}

} // namespace
