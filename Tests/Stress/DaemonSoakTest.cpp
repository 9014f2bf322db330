// SPDX-License-Identifier: Apache-2.0

// Everything at once, for as long as one likes: calls, notifications, services that come and go,
// keys, configuration, television, crash files, and a bus that is killed now and then. Whatever the
// bus hasn't taken with it arrives once and in order, and the daemon ends up with what it had.

#include "DaemonTest.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <json/json.h>
#include <list>
#include <memory>
#include <numeric>
#include <optional>
#include <sstream>
#include <thread>
#include <vector>

#include "Beacon.h"
#include "BusBreaker.h"
#include "CrashReporter.h"
#include "DeathTest.h"
#include "KeyPresser.h"
#include "Loader.h"
#include "NotificationListener.h"
#include "ProcessUse.h"
#include "Samples.h"
#include "ServiceClient.h"
#include "ServiceTest.h"
#include "SettingWriter.h"
#include "SoakNames.h"
#include "Television.h"
#include "TemporaryFolder.h"
#include "WaitUntil.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr int CLIENTS = 8;
constexpr int LISTENERS = 2;
constexpr const char* MARK = "mark";
constexpr std::size_t KEPT_DUMPS = 5;
constexpr int SAMPLES = 200;    // or fewer
constexpr double WARM_UP = 0.1; // of the whole
constexpr double ALLOWED_GROWTH = 0.1;
constexpr double ALWAYS_ALLOWED = 4; // MiB

// A bus passes replies on that nobody waits for, so that the clients may see them.
constexpr const char* STRAY_REPLIES =
    R"(<policy context="mandatory"><allow send_requested_reply="false" send_type="method_return"/>
<allow send_requested_reply="false" send_type="error"/>
<allow receive_requested_reply="false"/></policy>)";

std::string FromEnvironment(const char* name, const std::string& otherwise) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : otherwise;
}

Seconds Duration() {
    return Seconds(std::stod(
        FromEnvironment("HEARTHD_SOAK_SECONDS", std::to_string(HEARTHD_DEFAULT_SOAK_SECONDS))));
}

// A minute and a half, and less in a short run: a few times it is to happen.
std::chrono::milliseconds KillInterval() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
        std::min<Seconds>(Duration() / 6, 90s));
}

std::unique_ptr<VirtualDisplay> DisplayIfThereIsOne() {
    try {
        return std::make_unique<VirtualDisplay>();
    } catch (const std::runtime_error& error) {
        std::cout << "no keys are pressed: " << error.what() << "\n";
        unsetenv("DISPLAY");
        return nullptr;
    }
}

template <typename One>
int Sum(const std::list<One>& actors, int (One::*count)() const) {
    return std::accumulate(actors.begin(), actors.end(), 0,
                           [count](int sum, const One& actor) { return sum + (actor.*count)(); });
}

class DaemonSoak : public DaemonTest {
protected:
    // Of what is limited in number.
    struct Use {
        std::ptrdiff_t descriptors;
        std::size_t threads;
        bool operator==(const Use&) const = default;
    };

    DaemonSoak() : DaemonTest({.policyFile = {}, .limits = STRAY_REPLIES}) {
        std::cout << "the seed is " << m_firstSeed << "\n";
        setenv("VCONF_DATABASE", (m_folder.Path() / "vconf.db").c_str(), 1);
        setenv("TVSERVICE_SETTINGS", PrepareTelevision(m_folder.Path()).c_str(), 1);
        AddServices();
        AddActors();
        if (const std::string trouble = m_beacon.Trouble(); !trouble.empty()) {
            std::cout << "dumps are lost, no file system serves the device: " << trouble;
        }
        daemon.SetEnvironment("DLOG_LEVEL", "warn");
        daemon.Start();
        EXPECT_TRUE(WaitUntil([this] { return Told().isMember("notifications"); }));
    }

    ~DaemonSoak() override {
        StopAll();
        if (HasFailure()) {
            std::cerr << "---- the log ahead of that\n" << m_crashes.OlderLog();
        }
    }

    // Has everybody act for so long, or until something fails.
    void Run(Seconds time) {
        for (Actor* actor : m_actors) {
            actor->Start();
        }
        const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(time);
        while (Clock::now() < end && !HasFailure() && daemon.IsRunning()) {
            m_breaker.Look();
            m_samples.Take(daemon.Pid(), Sum(m_clients, &ServiceClient::Calls),
                           static_cast<double>(daemon.LogSize()));
            std::this_thread::sleep_until(std::min(Clock::now() + m_interval, end));
        }
        ASSERT_TRUE(daemon.IsRunning());
        ExpectNotificationsUpToNow();
        StopAll();
        ExpectLastKeysAndSettings();
    }

    // What the daemon uses while nobody asks anything of it: the same at a hundred looks.
    Use UseInQuiet() {
        RawClient client;
        m_loader.UnloadAll(client);
        Use use{};
        int looks = 0;
        EXPECT_TRUE(WaitUntil([&] {
            const Use now{OpenDescriptors(daemon.Pid()), CountThreadsOf(daemon.Pid())};
            looks = now == use ? looks + 1 : 0;
            use = now;
            return looks == 100;
        }));
        return use;
    }

    void ExpectEverythingTookPlace() {
        EXPECT_GT(Sum(m_clients, &ServiceClient::Answered), 0);
        EXPECT_GT(Sum(m_clients, &ServiceClient::Refused), 0);
        EXPECT_GT(m_loader.Rounds(), 0);
        EXPECT_GT(m_crashes.Reports(), 0);
        EXPECT_GT(m_breaker.Kills(), 0);
        const Json::Value told = Told();
        for (const char* what : {"signals", "sections", "programs", "captions"}) {
            EXPECT_GT(told[what].asInt(), 0) << what;
        }
        EXPECT_EQ(told["repeated calls"].asInt(), 0);
        EXPECT_EQ(told["settings in disorder"].asInt(), 0);
        ExpectTidyDumps();
    }

    void ExpectFlatMemory() const {
        const double first = m_samples.Median(&Samples::Sample::memory, WARM_UP, 2 * WARM_UP);
        const double last = m_samples.Median(&Samples::Sample::memory, 1 - WARM_UP, 1);
        std::cout << "memory: " << first << " MiB after the warm-up, " << last << " at the end\n";
        if (!UNDER_SANITIZER) { // which keep what is freed
            EXPECT_LE(last, first + std::max(ALLOWED_GROWTH * first, ALWAYS_ALLOWED));
        }
    }

    void Report() {
        std::cout << Sum(m_clients, &ServiceClient::Calls)
                  << " calls: " << Sum(m_clients, &ServiceClient::Answered) << " answered, "
                  << Sum(m_clients, &ServiceClient::Refused) << " for a service that was away, "
                  << Sum(m_clients, &ServiceClient::Lost) << " lost with the bus\n"
                  << Sum(m_listeners, &NotificationListener::Heard) << " notifications heard, "
                  << m_listeners.front().Lost() << " and " << m_listeners.back().Lost()
                  << " lost with the bus\n"
                  << m_breaker.Kills() << " kills of the bus, the daemon back after "
                  << m_breaker.Longest().count() << " ms at the most\n"
                  << m_loader.Rounds() << " rounds of services, " << m_crashes.Reports()
                  << " rounds of crash files, " << Beacon::DumpsIn(m_dumps).size()
                  << " dumps kept\n"
                  << "what the service has heard: " << Told() << "\n";
    }

private:
    void AddServices() {
        daemon.AddServices({{SOAK_SERVICE, {.library = "libsoak.so"}},
                            {"probe", {.library = "libprobe.so"}},
                            {"probe2", {.library = "libprobe2.so"}},
                            {"probe3", {.library = "libprobe3.so", .launchType = 1}},
                            {"probe4", {.library = "libprobe4.so", .launchType = 1}},
                            {MARK, {.library = "libsoak_mark.so", .launchType = 1}},
                            {"lazy", {.library = LibraryOf("lazy"), .launchType = 1}},
                            {"volume", {.library = LibraryOf("volume"), .launchType = 1}}});
    }
    static std::string LibraryOf(const std::string& example) {
        return std::string(EXAMPLES) + "lib" + example + ".so";
    }
    std::vector<std::string> ServicesThatMove() const {
        std::vector<std::string> services{"probe3", "probe4", "lazy"};
        if (m_display) { // without keys it doesn't start
            services.emplace_back("volume");
        }
        return services;
    }

    void AddActors() {
        for (int number = 1; number <= CLIENTS; ++number) {
            m_actors.push_back(&m_clients.emplace_back(number, NextSeed(), m_times, m_moves));
        }
        for (int number = 1; number <= LISTENERS; ++number) {
            m_actors.push_back(&m_listeners.emplace_back(number, NextSeed(), m_times));
        }
        for (const char* key : SOAK_SETTINGS) {
            const auto by = key == SOAK_SETTINGS.back() ? SettingWriter::By::PROGRAM
                                                        : SettingWriter::By::THIS_PROCESS;
            m_actors.push_back(&m_writers.emplace_back(key, by, NextSeed()));
        }
        m_actors.push_back(&m_loader);
        m_actors.push_back(&m_crashes);
        if (m_display) {
            m_presser.emplace(*m_display, NextSeed());
            m_actors.push_back(&*m_presser);
        }
    }
    unsigned NextSeed() { return m_firstSeed + m_seeds++; }

    void StopAll() {
        for (Actor* actor : m_actors) {
            actor->Stop();
        }
    }

    // What the soak's service tells of itself; null where the daemon isn't there yet.
    static Json::Value Told() {
        Json::Value all;
        RawClient client;
        const RawClient::Reply reply = client.Call(ROUTER, SOAK_SERVICE, R"({"tell":"all"})");
        if (reply.error.empty()) {
            std::istringstream(reply.payload) >> all;
        }
        return all;
    }

    void ExpectNotificationsUpToNow() {
        const int last = Told()["notifications"].asInt();
        for (const NotificationListener& listener : m_listeners) {
            EXPECT_TRUE(WaitUntil([&] { return listener.Last() >= last; }))
                << listener.Name() << " has heard " << listener.Last() << " of " << last;
        }
    }

    void ExpectLastKeysAndSettings() {
        for (const SettingWriter& writer : m_writers) {
            EXPECT_TRUE(WaitUntil([&] {
                return Told()["settings"][writer.Key()].asInt() == writer.Last();
            })) << writer.Key()
                << " is " << writer.Last() << ", and heard was " << Told();
        }
        if (m_presser) {
            for (const auto& [key, count] : m_presser->Pressed()) {
                EXPECT_TRUE(WaitUntil([&, &key = key, &count = count] {
                    return Told()["keys"][key].asInt() == count;
                })) << key
                    << " was pressed " << count << " times, and heard was " << Told();
            }
        }
    }

    void ExpectTidyDumps() {
        if (m_beacon.Trouble().empty()) {
            const std::size_t count = Beacon::DumpsIn(m_dumps).size();
            EXPECT_GT(count, 0U);
            EXPECT_LE(count, KEPT_DUMPS);
        }
    }

    const unsigned m_firstSeed =
        static_cast<unsigned>(std::stoul(FromEnvironment("HEARTHD_SOAK_SEED", "1")));
    unsigned m_seeds = 0;
    const std::chrono::milliseconds m_interval{
        std::clamp(static_cast<int>(Duration().count() * 1000 / SAMPLES), 500, 5000)};

    const TemporaryFolder m_folder;
    const std::string m_dumps = m_folder.Path() / "dumps";
    const std::unique_ptr<VirtualDisplay> m_display = DisplayIfThereIsOne();
    Beacon m_beacon{daemon.Device(), m_dumps, KEPT_DUMPS};
    Samples m_samples{FromEnvironment("HEARTHD_SOAK_FILE", "daemon-soak.txt")};

    BusTimes m_times;
    Moves m_moves;
    std::list<ServiceClient> m_clients;
    std::list<NotificationListener> m_listeners;
    std::list<SettingWriter> m_writers;
    std::optional<KeyPresser> m_presser;
    Loader m_loader{daemon, ServicesThatMove(), MARK, m_moves, NextSeed(), m_times};
    CrashReporter m_crashes{daemon, NextSeed(), m_times, m_moves};
    BusBreaker m_breaker{bus, m_times, KillInterval(), NextSeed()};
    std::vector<Actor*> m_actors;
};

TEST_F(DaemonSoak, LosesNothingButWhatTheBusTakesWithItAndEndsUpWithWhatItHad) {
    Run(Duration() * WARM_UP);
    const Use warm = UseInQuiet();
    Run(Duration() * (1 - WARM_UP));
    Report();
    ASSERT_FALSE(HasFailure()) << "it hasn't run to its end";
    const Use last = UseInQuiet();
    std::cout << "in quiet: " << warm.descriptors << " descriptors and " << warm.threads
              << " threads after the warm-up, " << last.descriptors << " and " << last.threads
              << " at the end\n";
    EXPECT_EQ(last.descriptors, warm.descriptors);
    EXPECT_EQ(last.threads, warm.threads);
    ExpectFlatMemory();
    ExpectEverythingTookPlace();
}

} // namespace
