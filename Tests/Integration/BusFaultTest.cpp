// SPDX-License-Identifier: Apache-2.0

// The bus is killed under load and comes back at the same address.

#include "ServiceTest.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "Gate.h"
#include "ProcessLimits.h"
#include "ProcessUse.h"
#include "WaitUntil.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// A client that connects again whenever the bus is there.
std::unique_ptr<RawClient> ConnectUnless(const std::atomic<bool>& ended) {
    std::unique_ptr<RawClient> client;
    WaitUntil([&] {
        try {
            client = std::make_unique<RawClient>();
        } catch (const std::runtime_error&) { // no bus yet
        }
        return client != nullptr || ended;
    });
    return client;
}

// What has come how often. Any thread.
class Tally {
public:
    void Add(int number) {
        const std::scoped_lock lock(m_mutex);
        ++m_counts[number];
    }
    int Size() const {
        const std::scoped_lock lock(m_mutex);
        return static_cast<int>(m_counts.size());
    }
    std::map<int, int> Counts() const {
        const std::scoped_lock lock(m_mutex);
        return m_counts;
    }

private:
    mutable std::mutex m_mutex;
    std::map<int, int> m_counts;
};

void ExpectEachOnce(const std::map<int, int>& counts, const char* what) {
    EXPECT_FALSE(counts.empty()) << what;
    for (const auto& [number, count] : counts) {
        EXPECT_EQ(count, 1) << what << " " << number;
    }
}

class BusFault : public DaemonTest {
protected:
    static constexpr int CLIENTS = 3;

    BusFault() { daemon.AddService("probe", {.library = "libprobe.so"}); }
    ~BusFault() override { EndLoad(); }

    void BeginLoad() {
        for (int i = 0; i < CLIENTS; ++i) {
            m_threads.emplace_back([this] { Call(); });
        }
        m_threads.emplace_back([this] { Listen(); });
    }

    void EndLoad() {
        m_ended = true;
        for (std::thread& thread : m_threads) {
            thread.join();
        }
        m_threads.clear();
    }

    // How long it takes until there is more of it.
    static milliseconds TimeUntilMore(const Tally& tally, Clock::time_point since, int before) {
        EXPECT_TRUE(WaitUntil([&] { return tally.Size() > before; }));
        return std::chrono::duration_cast<milliseconds>(Clock::now() - since);
    }

    // The numbers of the calls that the daemon has begun, as its log has them.
    std::map<int, int> Begun() const {
        const std::string log = daemon.Log();
        constexpr std::string_view KEY = "\"n\" : ";
        std::map<int, int> counts;
        for (std::size_t at = log.find(KEY); at != std::string::npos; at = log.find(KEY, at + 1)) {
            ++counts[std::stoi(log.substr(at + KEY.size(), 12))];
        }
        return counts;
    }

    Tally answered;
    Tally notified;

private:
    // Each call is told to all who listen.
    void Call() {
        while (!m_ended) {
            const std::unique_ptr<RawClient> client = ConnectUnless(m_ended);
            bool isThere = client != nullptr;
            while (isThere && !m_ended) {
                const int number = m_next++;
                const std::string payload =
                    R"({"do":"notify","n":)" + std::to_string(number) + R"(,"subject":"flow"})";
                const RawClient::Reply reply = client->Call(ROUTER, "probe", payload);
                if (reply.payload == payload) {
                    answered.Add(number);
                }
                isThere = reply.error.empty();
            }
        }
    }

    void Listen() {
        while (!m_ended) {
            const std::unique_ptr<RawClient> client = ConnectUnless(m_ended);
            if (client == nullptr) {
                continue;
            }
            try {
                client->Match("type='signal',interface='quill.Endpoint1'");
                while (!m_ended) {
                    Take(client->Next(std::chrono::seconds(1)));
                }
            } catch (const std::runtime_error&) { // the bus has gone
            }
        }
    }

    void Take(const std::optional<RawClient::Signal>& signal) {
        Json::Value payload;
        if (signal) {
            std::istringstream(signal->arguments.at(2)) >> payload;
            notified.Add(payload["n"].asInt());
        }
    }

    std::vector<std::thread> m_threads;
    std::atomic<bool> m_ended = false;
    std::atomic<int> m_next = 0;
};

TEST_F(BusFault, IsOverSoonAfterTheBusIsBackAndNothingComesTwice) {
    StartAndWait();
    BeginLoad();
    ASSERT_TRUE(WaitUntil([&] { return answered.Size() > 50 && notified.Size() > 50; }));
    const std::ptrdiff_t descriptors = OpenDescriptors(daemon.Pid());
    const std::size_t threads = CountThreadsOf(daemon.Pid());
    milliseconds calls{0};
    milliseconds notifications{0};
    for (int round = 0; round < 4; ++round) {
        bus.Kill();
        ASSERT_TRUE(daemon.WaitForLog("has lost the bus", 2 * round + 1));
        if (round == 3) {
            Gate().Wait(std::chrono::seconds(2)); // by then the daemon tries once in a second
        }
        const int answeredBefore = answered.Size();
        const int notifiedBefore = notified.Size();
        bus.Start();
        const auto back = Clock::now();
        calls = std::max(calls, TimeUntilMore(answered, back, answeredBefore));
        notifications = std::max(notifications, TimeUntilMore(notified, back, notifiedBefore));
        ASSERT_TRUE(daemon.WaitForLog("endpoint debugshell_C is on the bus again", round + 1));
    }
    EndLoad();
    // On a machine with nothing else to do both are below two seconds.
    RecordProperty("milliseconds_until_calls", std::to_string(calls.count()));
    RecordProperty("milliseconds_until_notifications", std::to_string(notifications.count()));
    std::cout << "answered again after " << calls.count() << " ms, notified after "
              << notifications.count() << " ms\n";
    ExpectEachOnce(answered.Counts(), "answered");
    ExpectEachOnce(notified.Counts(), "notified");
    ExpectEachOnce(Begun(), "begun");
    EXPECT_EQ(CountThreadsOf(daemon.Pid()), threads);
    EXPECT_TRUE(WaitUntil([&] { return OpenDescriptors(daemon.Pid()) <= descriptors; }));
}

} // namespace
