// SPDX-License-Identifier: Apache-2.0

// What the router makes of a process that has crashed.

#include <array>
#include <atomic>
#include <csignal>
#include <dirent.h>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string_view>

#include "APIWatchdog.h"
#include "Caller.h"
#include "Dlog.h"
#include "Gate.h"
#include "IServiceManager.h"
#include "KeepForEver.h"
#include "LogCapture.h"
#include "MessageRouter.h"
#include "ModuleAccessor.h"
#include "PrivateBus.h"
#include "PrivateMember.h"
#include "Said.h"

namespace {

using marrow::msg::MessageRouter;
using Quill::TCMessage;
using Texts = std::vector<std::string>;

constexpr std::string_view THREADS = "/proc/self/task";

// What holds up whoever looks which threads there are, while this names it.
struct AtTheThreads {
    Gate there;
    Gate goOn;
};
std::atomic<AtTheThreads*> s_atTheThreads{nullptr};

struct PendingMutex : PrivateMember<PendingMutex, marrow::base::Mutex MessageRouter::*> {};

} // namespace

template struct ExposeMember<PendingMutex, &MessageRouter::m_pendingMutex>;

namespace {

// What a dump and the cause of one draw.
const Texts DUMP = {"W API caller crashed", "I Threads dumps"};

// A manager that knows no service: what is pending needs none.
struct EmptyManager : marrow::mgr::IServiceManager {
    void Init() override {}
    std::vector<marrow::ser::service_info_t> GetServiceList() override { return {}; }
    marrow::mgr::IServiceControl* GetServiceByName(std::string /*name*/) override {
        return nullptr;
    }
};

std::string Executed(const std::string& pid) {
    return "I Watchdog callback executed for " + pid;
}

std::string Pending(const std::string& sender, const std::string& subject = "probe") {
    return "I Pending messge: from " + sender + " to " + subject;
}

std::string Unknown(const std::string& sender) {
    return "W Message from unknown sender: " + sender;
}

class WatchdogCheck : public testing::Test {
protected:
    WatchdogCheck() {
        static ModuleClass<EmptyManager> managerClass("EmptyManager");
        ModuleInterface<marrow::mgr::IServiceManager>::AddImpl(&managerClass);
        for (TCMessage& message : messages) {
            message.subject = "probe";
        }
        EXPECT_TRUE(LogCapture::WaitFor(DLOG_INFO, "Watchdog started")); // it says no more now
        // No thread writes its stack, which nobody looks at here: it could stand in the middle of
        // that when the process ends, and hold up the sanitizer's look for leaks.
        std::signal(APIWatchdog::SIGNAL, SIG_IGN);
    }

    // Messages of these senders are in delivery, in this order in the table.
    void Enter(const Texts& senders) {
        for (const std::string& sender : senders) {
            Quill::TCEventIO* target = nullptr;
            router.IfTransferMessage(sender.c_str(), &messages.at(entered++), target);
        }
    }

    // What the router says of the crash of that process.
    Texts SaidOf(const std::string& pid) {
        LogCapture::Clear();
        router.WatchdogCheckCb(pid);
        return TakeSaid();
    }

    // Whether that process counts as the sender of what is pending.
    bool IsCaller(const std::string& pid) {
        const Texts said = SaidOf(pid);
        return said.back() == DUMP.back();
    }

    // There from the start, so that a file in it is one to be reported.
    const bool hasFolder = std::filesystem::create_directories(APIWatchdog::MONITORED_DIRECTORY);
    PrivateBus bus;
    MessageRouter& router = KeepForEver<MessageRouter>();
    std::array<TCMessage, 4> messages; // the table is in the order of their addresses
    std::size_t entered = 0;
};

TEST_F(WatchdogCheck, OfAnEmptyTableSaysThatItWasCalledAndNoMore) {
    EXPECT_EQ(SaidOf("4711"), Texts{Executed("4711")});
}

TEST_F(WatchdogCheck, KnowsTheLastSenderOfAMessageThatWasEnteredTwice) {
    Enter({"marrow.ser.client.PID_1"});
    entered = 0;
    Enter({"marrow.ser.client.PID_2"});
    EXPECT_EQ(SaidOf("1"), (Texts{Executed("1"), Pending("marrow.ser.client.PID_2")}));
}

TEST_F(WatchdogCheck, HasTheThreadsDumpedForACallerThatHasCrashed) {
    Enter({"marrow.ser.client.PID_4711"});
    EXPECT_EQ(SaidOf("4711"),
              (Texts{Executed("4711"), Pending("marrow.ser.client.PID_4711"), DUMP[0], DUMP[1]}));
}

TEST_F(WatchdogCheck, OfAClientWithNothingPendingNamesTheOthersAndMakesNoDump) {
    Enter({"marrow.ser.client.PID_1", "marrow.ser.client.PID_2"});
    EXPECT_EQ(SaidOf("4711"), (Texts{Executed("4711"), Pending("marrow.ser.client.PID_1"),
                                     Pending("marrow.ser.client.PID_2")}));
}

TEST_F(WatchdogCheck, MakesOneDumpForThreePendingMessagesBehindAllThatArePending) {
    messages[3].subject = "another";
    const std::string caller = "marrow.ser.client.PID_4711";
    Enter({caller, caller, caller, "marrow.ser.client.PID_12"});
    EXPECT_EQ(SaidOf("4711"),
              (Texts{Executed("4711"), Pending(caller), Pending(caller), Pending(caller),
                     Pending("marrow.ser.client.PID_12", "another"), DUMP[0], DUMP[1]}));
}

TEST_F(WatchdogCheck, ReportsEverySenderOfAnotherFormAsUnknownAndGoesOn) {
    const Texts others = {"marrow.ser.client.PID_4711x", "xmarrow.ser.client.PID_4711",
                          "marrow.ser.client.PID_"};
    Enter(others);
    Enter({"marrow.ser.client.PID_4711"});
    EXPECT_EQ(SaidOf("4711"),
              (Texts{Executed("4711"), Pending(others[0]), Unknown(others[0]), Pending(others[1]),
                     Unknown(others[1]), Pending(others[2]), Unknown(others[2]),
                     Pending("marrow.ser.client.PID_4711"), DUMP[0], DUMP[1]}));
}

TEST_F(WatchdogCheck, MakesNoDumpForASenderWhoseNameOnlyBeginsAsAClients) {
    Enter({"marrow.ser.client.PID_4711 ", "marrow.ser.client.PID_4711.1", ":1.4711", "4711"});
    EXPECT_FALSE(IsCaller("4711"));
    EXPECT_FALSE(IsCaller("47111"));
}

TEST_F(WatchdogCheck, ComparesProcessIdsAsText) {
    Enter({"marrow.ser.client.PID_4711", "marrow.ser.client.PID_0012"});
    EXPECT_TRUE(IsCaller("4711"));
    EXPECT_FALSE(IsCaller("04711"));
    EXPECT_FALSE(IsCaller("471"));
    EXPECT_FALSE(IsCaller("711"));
    EXPECT_FALSE(IsCaller("47110"));
    EXPECT_FALSE(IsCaller(""));
    EXPECT_TRUE(IsCaller("0012"));
    EXPECT_FALSE(IsCaller("12"));
}

TEST_F(WatchdogCheck, IsMadeForEachCrashFile) {
    Enter({"marrow.ser.client.PID_4711"});
    LogCapture::Clear();
    const std::filesystem::path folder = APIWatchdog::MONITORED_DIRECTORY;
    std::ofstream(folder / "1.prog.x86.4711.core") << "core";
    EXPECT_TRUE(LogCapture::WaitFor(DLOG_INFO, "Threads dumps"));
    EXPECT_EQ(Said(),
              (Texts{"I [watch 1] File modified/created 1.prog.x86.4711.core", Executed("4711"),
                     Pending("marrow.ser.client.PID_4711"), DUMP[0], DUMP[1]}));
}

// The dots of the expression are no literal ones.
TEST_F(WatchdogCheck, TakesAnyByteWhereAClientsNameHasADot) {
    Enter({"marrow-ser/client PID_4711"});
    EXPECT_EQ(SaidOf("4711"),
              (Texts{Executed("4711"), Pending("marrow-ser/client PID_4711"), DUMP[0], DUMP[1]}));
}

// What is printed is what was pending when the threads were asked.
TEST_F(WatchdogCheck, HoldsTheTableUntilAllThreadsHaveBeenAsked) {
    Enter({"marrow.ser.client.PID_4711"});
    AtTheThreads gates;
    s_atTheThreads = &gates;
    Caller checking([&] {
        router.WatchdogCheckCb("4711");
        return true;
    });
    EXPECT_TRUE(gates.there.Wait());
    s_atTheThreads = nullptr;
    Caller entering([&] {
        Enter({"marrow.ser.client.PID_12"});
        return true;
    });
    EXPECT_TRUE(entering.IsBlockedBy(router.*MemberOf(PendingMutex())));
    EXPECT_EQ(LogCapture::Count(DLOG_INFO, "1 pending messages"), 0) << "they are counted there";
    gates.goOn.Open();
}

TEST_F(WatchdogCheck, LeavesThePendingMessagesAsTheyAre) {
    Enter({"marrow.ser.client.PID_4711", "marrow.ser.client.PID_12"});
    const Texts first = SaidOf("4711");
    EXPECT_EQ(SaidOf("4711"), first);
    TCMessage reply;
    router.IfMessageReceived("marrow.ser.client.PID_4711", messages.data(), &reply, nullptr);
    EXPECT_EQ(SaidOf("4711"), (Texts{Executed("4711"), Pending("marrow.ser.client.PID_12")}));
}

} // namespace

// In the place of the C library's, for the whole test process.
extern "C" DIR* opendir(const char* path) {
    if (AtTheThreads* const gates = s_atTheThreads; gates != nullptr && path == THREADS) {
        gates->there.Open();
        gates->goOn.Wait();
    }
    using Call = DIR* (*)(const char*);
    static const auto next = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "opendir"));
    return next(path);
}
