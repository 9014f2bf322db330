// SPDX-License-Identifier: Apache-2.0

// The television's services of the examples, in the installed daemon, on streams that are made
// here.

#include "ServiceTest.h"

#include <chrono>
#include <filesystem>
#include <fstream>

#include "StreamMaker.h"
#include "TemporaryFolder.h"
#include "WaitUntil.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using streammaker::Event;
using streammaker::Multiplex;
using streammaker::StreamMaker;

constexpr const char* ONCE = "pace = fast\nloop = no\n";
constexpr const char* OVER_AND_OVER = "pace = fast\nloop = yes\n";
constexpr std::uint16_t FIRST = 1;

Event EventOf(std::uint16_t id, const char* name) {
    Event event;
    event.id = id;
    event.start = streammaker::StreamSettings().utcStart;
    event.duration = 1800;
    event.name = name;
    return event;
}

// Two services, "<name> One" and "<name> Two". The first one goes on to its following event after a
// second.
StreamMaker Television(const std::string& name, std::uint16_t streamId = 1) {
    Multiplex multiplex;
    multiplex.transportStreamId = streamId;
    for (std::uint16_t number = FIRST; number <= 2; ++number) {
        streammaker::Service service;
        service.id = number;
        service.name = name + (number == FIRST ? " One" : " Two");
        service.pmtPid = static_cast<std::uint16_t>(number * 0x100);
        service.videoPid = static_cast<std::uint16_t>(number * 0x100 + 1);
        multiplex.services.push_back(service);
    }
    multiplex.services[0].present = EventOf(1, "News");
    multiplex.services[0].following = EventOf(2, "Film");
    multiplex.services[1].present = EventOf(11, "Garden");
    multiplex.services[1].following = EventOf(12, "Kitchen");
    StreamMaker maker(multiplex);
    maker.At(seconds(1), [](Multiplex& changed) {
        changed.ServiceOf(FIRST).present = EventOf(2, "Film");
        changed.ServiceOf(FIRST).following = EventOf(3, "Late");
    });
    return maker;
}

class Tv : public ServiceTest {
protected:
    Tv() {
        daemon.AddServices({{"epg", {.library = std::string(EXAMPLES) + "libepg.so"}},
                            {"captions", {.library = std::string(EXAMPLES) + "libcaptions.so"}}});
        daemon.SetEnvironment("TVSERVICE_SETTINGS", (folder.Path() / "settings").string());
    }

    // Has the daemon, which may be running, play two seconds of the stream.
    void Play(const StreamMaker& maker, const std::string& how) {
        const std::filesystem::path file =
            folder.Path() / ("stream" + std::to_string(++m_streams) + ".ts");
        std::ofstream stream(file, std::ios::binary);
        maker.Write(stream, seconds(2));
        stream.close();
        std::ofstream(folder.Path() / "new") << "[source]\naddress = " << file.string() << '\n'
                                             << how;
        std::filesystem::rename(folder.Path() / "new", folder.Path() / "settings");
    }

    // The services' names and events as "name: present, following", in one line.
    std::string Guide() {
        Json::Value answer;
        std::istringstream(Call("epg", R"({"get":"list"})")) >> answer;
        std::string text;
        for (const Json::Value& service : answer["services"]) {
            text += service["service"].asString() + ": " + service["present"]["name"].asString() +
                    ", " + service["following"]["name"].asString() + "; ";
        }
        return text;
    }
    void ExpectGuide(const std::string& expected) {
        EXPECT_TRUE(WaitUntil([&] { return Guide() == expected; })) << Guide();
    }

    TemporaryFolder folder;

private:
    int m_streams = 0;
};

TEST_F(Tv, GuideTellsThePresentEventOfEveryService) {
    Play(Television("Sea"), ONCE);
    StartAndWait();
    ExpectGuide("Sea One: Film, Late; Sea Two: Garden, Kitchen; ");
    EXPECT_EQ(Call("epg", R"({"get":"now","service":"Sea Two"})"),
              R"({"services":[{"present":{"duration":1800,"language":"eng","name":"Garden",)"
              R"("start":"2024-05-01T20:00:00Z","text":""},"service":"Sea Two","service_id":2}]})");
}

TEST_F(Tv, GuideNotifiesWhenAPresentEventChanges) {
    StartAndWait();
    Play(Television("Sea"), ONCE);
    std::vector<std::string> names;
    while (names.size() < 2) {
        const Json::Value payload = NextOf("epg");
        ASSERT_TRUE(payload.isObject());
        if (payload["service_id"].asInt() == FIRST) {
            names.push_back(payload["present"]["name"].asString());
        }
    }
    EXPECT_EQ(names, (std::vector<std::string>{"News", "Film"}));
}

TEST_F(Tv, GuideKnowsEverythingAgainAfterARestart) {
    Play(Television("Sea"), ONCE);
    StartAndWait();
    const std::string everything = "Sea One: Film, Late; Sea Two: Garden, Kitchen; ";
    ExpectGuide(everything);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(Shell("status-stop", "epg"), "State successfully changed to loaded\n");
        Shell("status-start", "epg");
        ExpectGuide(everything);
    }
}

TEST_F(Tv, GuideAnswersWithAnErrorWhateverElseItIsAsked) {
    StartAndWait();
    for (const char* payload : {"", "{}", R"({"get":{"get":"now"}})", R"({"get":["now"],"x":1})",
                                R"({"get":"now","service":["Sea One"]})"}) {
        EXPECT_EQ(Call("epg", payload).substr(0, 10), R"({"error":")") << payload;
    }
}

TEST_F(Tv, CaptionsAreNotifiedAndTheLatestIsKept) {
    StreamMaker maker = Television("Sea");
    maker.AddCaption(FIRST, milliseconds(100), "The tide\nis in. ♪");
    maker.EraseCaption(FIRST, milliseconds(1200));
    maker.AddCaption(FIRST, milliseconds(1200), "And out.", streammaker::CaptionStyle::PAINT_ON);
    maker.EraseCaption(FIRST, milliseconds(1800));
    StartAndWait();
    EXPECT_EQ(Call("captions", "{}"), R"({"text":[]})");
    Play(maker, ONCE);
    const Json::Value first = NextOf("captions");
    ASSERT_EQ(first["text"].size(), 2U) << first;
    EXPECT_EQ(first["text"][0], "The tide");
    EXPECT_EQ(first["text"][1], "is in. ♪");
    const Json::Value second = NextOf("captions");
    ASSERT_EQ(second["text"].size(), 1U) << second;
    EXPECT_EQ(second["text"][0], "And out.");
    EXPECT_EQ(Call("captions", "{}"), R"({"text":["And out."]})");
}

TEST_F(Tv, GoesOnWithAnotherStreamWhenTheSettingsChange) {
    Play(Television("Sea"), ONCE);
    StartAndWait();
    ExpectGuide("Sea One: Film, Late; Sea Two: Garden, Kitchen; ");
    StreamMaker hills = Television("Hill", 2);
    hills.AddCaption(FIRST, milliseconds(100), "Up here");
    Play(hills, ONCE);
    ExpectGuide("Hill One: Film, Late; Hill Two: Garden, Kitchen; ");
    EXPECT_EQ(NextOf("captions")["text"][0], "Up here");
    std::filesystem::remove(folder.Path() / "settings");
    ExpectGuide("");
}

TEST_F(Tv, WithoutAStreamHasNothingToTell) {
    StartAndWait();
    EXPECT_EQ(Call("epg", R"({"get":"now"})"), R"({"services":[]})");
    EXPECT_EQ(Call("captions", "{}"), R"({"text":[]})");
}

TEST_F(Tv, ServicesMayGoAndComeBackWhileTheStreamPlays) {
    StreamMaker maker = Television("Sea");
    maker.AddCaption(FIRST, milliseconds(100), "The tide");
    Play(maker, OVER_AND_OVER);
    StartAndWait();
    for (int round = 0; round < 10; ++round) {
        for (const char* service : {"epg", "captions"}) {
            NextOf(service); // they are at work
            EXPECT_EQ(Shell("status-unload", service), UNLOADED);
            EXPECT_EQ(Shell("status-start", service), STARTED);
        }
    }
}

// While a call keeps the worker busy, events queue up ahead of the stop and behind it. Those behind
// it are still there when the service is to go.
TEST_F(Tv, ServicesThatGoTakeTheEventsThatAreQueuedStill) {
    daemon.AddServices({{"on_epg", {.library = "libprobe_on_epg.so"}},
                        {"on_captions", {.library = "libprobe_on_captions.so"}}});
    StreamMaker maker = Television("Sea");
    maker.AddCaption(FIRST, milliseconds(100), "The tide");
    Play(maker, OVER_AND_OVER);
    StartAndWait();
    for (const std::string service : {"epg", "captions"}) {
        NextOf(service);
        RawClient busy;
        busy.Send(ROUTER, "on_" + service, R"({"do":"sleep","ms":700})");
        ASSERT_TRUE(daemon.WaitForLog("> Calling [on_" + service + "] API"));
        EXPECT_EQ(Shell("status-unload", service), UNLOADED);
        EXPECT_EQ(Call("on_" + service, R"({"a":1})"), R"({"a":1})") << "behind them";
        EXPECT_EQ(Shell("status-start", service), STARTED);
    }
}

TEST_F(Tv, AListenerThatSleepsHoldsUpNeitherTheOthersNorTheStream) {
    daemon.AddService("sleepy_listener", {.library = "libsleepy_listener.so"});
    Play(Television("Sea"), ONCE);
    StartAndWait();
    ASSERT_TRUE(daemon.WaitForOutput("the listener sleeps"));
    ExpectGuide("Sea One: Film, Late; Sea Two: Garden, Kitchen; ");
    StreamMaker hills = Television("Hill", 2);
    hills.AddCaption(FIRST, milliseconds(100), "Up here");
    Play(hills, ONCE);
    ExpectGuide("Hill One: Film, Late; Hill Two: Garden, Kitchen; ");
    EXPECT_EQ(NextOf("captions")["text"][0], "Up here");
    EXPECT_EQ(CountOf(daemon.Output(), "the listener is awake"), 0);
    EXPECT_EQ(CountOf(daemon.Output(), "the listener sleeps"), 1) << "the others wait behind it";
}

} // namespace
