// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <optional>
#include <stdexcept>

#include "Runs.h"
#include "TVServiceAPI.h"

namespace {

using Clock = std::chrono::steady_clock;

// Counted on the library's thread, read once it has ended.
RunResult g_result;
std::mutex g_mutex;
std::condition_variable g_ended;
std::optional<Clock::time_point> g_begin;
std::optional<Clock::time_point> g_end;

int OnSignal(ESignalType signal, EProfile /*profile*/, unsigned short /*screen*/,
             TSSignalData /*data*/, void* /*user*/) {
    const std::scoped_lock lock(g_mutex);
    (signal == SIGNAL_STREAM_FOUND ? g_begin : g_end) = Clock::now();
    g_ended.notify_all();
    return 0;
}

void OnSection(bool /*flag*/, unsigned short /*size*/, unsigned char* /*data*/, int /*id*/) {
    ++g_result.sections;
}

void OnCaption(TSCaption& /*caption*/, void* /*user*/) {
    ++g_result.captions;
}

void OnPes(TSPESData& /*data*/, void* /*user*/) {
    ++g_result.pesPackets;
}

void Require(int result, const char* what) {
    if (result != 1) {
        throw std::runtime_error(std::string("refused: ") + what);
    }
}

// One for every PID, and what is left of 32 for the events of one service or another.
void SubscribeSections(ISectionSubscriber& subscriber) {
    int id = 0;
    int handle = 0;
    for (const std::uint16_t pid : SectionPids()) {
        Require(subscriber.SubscribeSection(id++, TCSectionCriteriaHelper(pid), handle),
                "a filter");
    }
    while (id < static_cast<int>(FILTERS)) {
        TCSectionCriteriaHelper events(EIT_PID, id % 2 == 0 ? 0x4E : 0x50);
        events.CompareExtension(static_cast<unsigned short>(1 + id % SERVICES));
        events.SetOnChangeOnly(id % 3 == 0);
        Require(subscriber.SubscribeSection(id++, events, handle), "a filter");
    }
}

} // namespace

RunResult RunLibrary(const std::string& path) {
    const std::string settings = path + ".settings";
    setenv("TVSERVICE_SETTINGS", settings.c_str(), 1);
    std::ofstream(settings) << "";
    ISignalSubscriber* signals = nullptr;
    ISectionSubscriber* sections = nullptr;
    IDataSubscriber* captions = nullptr;
    IPESDataSubscriber* pes = nullptr;
    Require(TVServiceAPI::CreateSignalSubscriber(OnSignal, &signals), "signals");
    Require(TVServiceAPI::CreateSectionSubscriber(OnSection, PROFILE_MAIN, 0, &sections),
            "sections");
    Require(TVServiceAPI::CreateDataSubscriber(PROFILE_MAIN, 0, &captions), "captions");
    Require(TVServiceAPI::CreatePESDataSubscriber(PROFILE_MAIN, 0, &pes), "PES");
    signals->SubscribeSignal(SIGNAL_STREAM_FOUND, nullptr, PROFILE_MAIN, 0);
    signals->SubscribeSignal(SIGNAL_END_OF_FILE, nullptr, PROFILE_MAIN, 0);
    SubscribeSections(*sections);
    int id = 0;
    Require(captions->SubscribeData(OnCaption, nullptr, id), "captions");
    for (unsigned service = 0; service < SERVICES; ++service) {
        Require(pes->SubscribePESData(OnPes, nullptr, id), "PES");
        const unsigned audio = FIRST_STREAM_PID + 2 * service + 1;
        Require(pes->SelectPES(id, static_cast<unsigned short>(audio)), "a PID");
    }
    std::ofstream(settings + ".new")
        << "[source]\naddress = " << path << "\npace = fast\nloop = no\n";
    std::rename((settings + ".new").c_str(), settings.c_str());
    {
        std::unique_lock lock(g_mutex);
        if (!g_ended.wait_for(lock, std::chrono::minutes(5), [] { return g_end.has_value(); })) {
            throw std::runtime_error("the file's end hasn't come");
        }
    }
    TVServiceAPI::DestroySignalSubscriber();
    TVServiceAPI::DestroySectionSubscriber();
    TVServiceAPI::DestroyDataSubscriber();
    TVServiceAPI::DestroyPESDataSubscriber();
    std::remove(settings.c_str());
    g_result.seconds = std::chrono::duration<double>(*g_end - g_begin.value_or(*g_end)).count();
    return g_result;
}
