// SPDX-License-Identifier: Apache-2.0

// Ten minutes of a damaged stream, at far more than ten times its pace, with subscriptions of every
// kind that come and go: nothing is lost for good, and the memory doesn't grow.

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <malloc.h>
#include <random>
#include <thread>

#include "Sample.h"
#include "StreamMaker.h"
#include "TVServiceAPI.h"
#include "TemporaryFolder.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto STREAM_TIME = 20s;
constexpr double ALLOWED_GROWTH = 4e6; // bytes

// HEARTHD_SOAK_SECONDS, for a shorter look.
std::chrono::seconds Duration() {
    const char* seconds = std::getenv("HEARTHD_SOAK_SECONDS");
    return std::chrono::seconds(seconds != nullptr ? std::atoi(seconds) : 600);
}

std::atomic<std::uint64_t> g_ends{0};
std::atomic<std::uint64_t> g_sections{0};
std::atomic<std::uint64_t> g_notices{0};
std::atomic<std::uint64_t> g_captions{0};
std::atomic<std::uint64_t> g_packets{0};

int OnSignal(ESignalType signal, EProfile /*profile*/, unsigned short /*screen*/,
             TSSignalData /*data*/, void* /*user*/) {
    if (signal == SIGNAL_END_OF_FILE) {
        ++g_ends;
    }
    return 0;
}
void OnSection(bool /*flag*/, unsigned short /*size*/, unsigned char* /*data*/, int /*id*/) {
    ++g_sections;
}
void OnProgram(EProgramChangeType /*type*/, TCProgramData* /*data*/, int /*param*/, int /*id*/) {
    ++g_notices;
}
void OnCaption(TSCaption& /*caption*/, void* /*user*/) {
    ++g_captions;
}
void OnPes(TSPESData& /*data*/, void* /*user*/) {
    ++g_packets;
}

// Services that come and go, and one wrong bit in some thousand.
streammaker::Bytes DamagedStream() {
    streammaker::SampleOptions options;
    options.duration = STREAM_TIME;
    streammaker::StreamMaker maker = MakeSample(options);
    maker.At(5s, [](streammaker::Multiplex& multiplex) {
        streammaker::Service third = multiplex.services[0];
        third.id = 333;
        third.pmtPid = 0x700;
        third.videoPid = 0x701;
        third.name = "A third one";
        multiplex.services.push_back(third);
    });
    maker.At(12s, [](streammaker::Multiplex& multiplex) { multiplex.services.pop_back(); });
    streammaker::Bytes stream = maker.Make(STREAM_TIME);
    std::mt19937 random(1);
    for (std::size_t count = 0; count < stream.size() / 1000; ++count) {
        stream[random() % stream.size()] ^= static_cast<std::uint8_t>(1U << random() % 8);
    }
    return stream;
}

double UsedMemory() {
    malloc_trim(0);
    std::size_t total = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return static_cast<double>(resident) * 4096;
}

TEST(StreamSoak, KeepsItsMemory) {
    const TemporaryFolder folder;
    const std::string stream = (folder.Path() / "stream.ts").string();
    {
        const streammaker::Bytes bytes = DamagedStream();
        std::ofstream(stream, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
    }
    const std::string settings = (folder.Path() / "settings").string();
    std::ofstream(settings) << "[source]\naddress = " << stream << "\npace = fast\n"
                            << "[screen 1 0]\npes = 0x202\n";
    setenv("TVSERVICE_SETTINGS", settings.c_str(), 1);

    ISignalSubscriber* signals = nullptr;
    ISectionSubscriber* sections = nullptr;
    IProgramSubscriber* programs = nullptr;
    IDataSubscriber* captions = nullptr;
    IPESDataSubscriber* pes = nullptr;
    ASSERT_EQ(TVServiceAPI::CreateSignalSubscriber(OnSignal, &signals), 1);
    ASSERT_EQ(TVServiceAPI::CreateSectionSubscriber(OnSection, PROFILE_MAIN, 0, &sections), 1);
    ASSERT_EQ(TVServiceAPI::CreateProgramSubscriber(OnProgram, &programs), 1);
    ASSERT_EQ(TVServiceAPI::CreateDataSubscriber(PROFILE_MAIN, 0, &captions), 1);
    ASSERT_EQ(TVServiceAPI::CreatePESDataSubscriber(PROFILE_MAIN, 0, &pes), 1);
    signals->SubscribeSignal(SIGNAL_END_OF_FILE, nullptr, PROFILE_MAIN, 0);
    int id = 0;
    programs->SubscribeProgram(TCProgramFilteringItem(), id);
    captions->SubscribeData(OnCaption, nullptr, id);
    pes->SubscribePESData(OnPes, nullptr, id);

    const Clock::time_point begin = Clock::now();
    const auto duration = Duration();
    double warm = 0;
    while (Clock::now() - begin < duration) {
        std::vector<int> handles;
        for (const unsigned short pid : {0x00, 0x11, 0x12, 0x14, 0x100, 0x200}) {
            int handle = 0;
            ASSERT_EQ(sections->SubscribeSection(pid, TCSectionCriteriaHelper(pid), handle), 1);
            handles.push_back(handle);
        }
        int list = 0;
        ASSERT_EQ(programs->SubscribeProgramListPF(0, 0, SUBSCRIBE_BOTH, list), 1);
        std::this_thread::sleep_for(50ms);
        for (const int handle : handles) {
            while (sections->UnsubscribeSection(handle) != 1) {
            }
        }
        ASSERT_EQ(programs->UnsubscribeProgram(list), 1);
        if (warm == 0 && Clock::now() - begin > duration / 10) {
            warm = UsedMemory();
        }
    }
    const std::chrono::duration<double> taken = Clock::now() - begin;
    const double pace = static_cast<double>(g_ends) * 20 / taken.count();
    const double growth = UsedMemory() - warm;
    std::printf("%.0f s at %.0f times the stream's pace: %llu sections, %llu notices, %llu "
                "captions, %llu PES packets; memory grew by %.0f bytes from %.0f\n",
                taken.count(), pace, static_cast<unsigned long long>(g_sections),
                static_cast<unsigned long long>(g_notices),
                static_cast<unsigned long long>(g_captions),
                static_cast<unsigned long long>(g_packets), growth, warm);
    TVServiceAPI::DestroySignalSubscriber();
    TVServiceAPI::DestroySectionSubscriber();
    TVServiceAPI::DestroyProgramSubscriber();
    TVServiceAPI::DestroyDataSubscriber();
    TVServiceAPI::DestroyPESDataSubscriber();
    EXPECT_GT(pace, 10);
    EXPECT_LT(growth, ALLOWED_GROWTH);
    EXPECT_GT(g_sections, 0U);
    EXPECT_GT(g_notices, 0U);
    EXPECT_GT(g_captions, 0U);
    EXPECT_GT(g_packets, 0U);
}

} // namespace
