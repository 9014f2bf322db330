// SPDX-License-Identifier: Apache-2.0
#include "Guide.h"

#include <gtest/gtest.h>
#include <json/json.h>
#include <limits>
#include <sstream>
#include <string>

namespace {

constexpr std::int64_t MAY_DAY_EVENING = 1714593600; // 2024-05-01T20:00:00Z

Json::Value Parse(const std::string& text) {
    Json::Value value;
    std::istringstream(text) >> value;
    return value;
}

TSProgramEvent EventOf(std::uint16_t id, const char* name) {
    TSProgramEvent event;
    event.known = true;
    event.event_id = id;
    event.start = MAY_DAY_EVENING;
    event.duration = 1800;
    event.name = name;
    event.text = "About it.";
    event.language = "eng";
    return event;
}

TCProgramData Program(std::uint16_t id, const char* name, const TSProgramEvent& event = {}) {
    TCProgramData program;
    program.transport_stream_id = 7;
    program.service_id = id;
    program.service_name = name;
    program.event = event;
    return program;
}

class EpgGuide : public testing::Test {
protected:
    // "name: present, following" of each service, by name alone.
    std::string List() const {
        const Json::Value answer = guide.Answer(Parse(R"({"get":"list"})"));
        std::string text;
        for (const Json::Value& service : answer["services"]) {
            text += service["service"].asString() + ": " + NameOf(service["present"]) + ", " +
                    NameOf(service["following"]) + "\n";
        }
        return text;
    }
    static std::string NameOf(const Json::Value& event) {
        return event.isNull() ? "-" : event["name"].asString();
    }
    std::string ErrorOf(const Json::Value& request) const {
        const Json::Value answer = guide.Answer(request);
        EXPECT_EQ(answer.getMemberNames(), std::vector<std::string>{"error"});
        return answer["error"].asString();
    }

    const TSProgramEvent news = EventOf(1, "News");
    const TSProgramEvent film = EventOf(2, "Film");
    const TSProgramEvent late = EventOf(3, "Late");
    Guide guide;
};

// --- what it takes ---

TEST_F(EpgGuide, TellsThePresentEventInFull) {
    guide.Take(PROGRAM_APPEARED, Program(101, "One", news));
    const Json::Value expected =
        Parse(R"({"services":[{"service":"One","service_id":101,"present":{"name":"News",
                  "text":"About it.","language":"eng","start":"2024-05-01T20:00:00Z",
                  "duration":1800}}]})");
    EXPECT_EQ(guide.Answer(Parse(R"({"get":"now"})")).toStyledString(), expected.toStyledString());
}

TEST_F(EpgGuide, GoesOnToTheFollowingEvent) {
    guide.Take(PROGRAM_APPEARED, Program(101, "One", news));
    EXPECT_EQ(List(), "One: News, -\n");
    EXPECT_FALSE(guide.Take(PROGRAM_FOLLOWING_CHANGED, Program(101, "One", film)));
    EXPECT_EQ(List(), "One: News, Film\n");
    EXPECT_TRUE(guide.Take(PROGRAM_PRESENT_CHANGED, Program(101, "One", film)));
    EXPECT_FALSE(guide.Take(PROGRAM_FOLLOWING_CHANGED, Program(101, "One", late)));
    EXPECT_EQ(List(), "One: Film, Late\n");
}

TEST_F(EpgGuide, TellsAChangeOnceAndAlsoOneOfWordsAlone) {
    guide.Take(PROGRAM_APPEARED, Program(101, "One"));
    EXPECT_TRUE(guide.Take(PROGRAM_PRESENT_CHANGED, Program(101, "One", news)));
    EXPECT_FALSE(guide.Take(PROGRAM_PRESENT_CHANGED, Program(101, "One", news)));
    TSProgramEvent other = news;
    other.text = "Other words.";
    EXPECT_TRUE(guide.Take(PROGRAM_PRESENT_CHANGED, Program(101, "One", other)));
    EXPECT_TRUE(guide.Take(PROGRAM_PRESENT_CHANGED, Program(101, "One")))
        << "and one that ends without another";
    EXPECT_EQ(List(), "One: -, -\n");
}

TEST_F(EpgGuide, TakesTheFollowingEventFromAList) {
    guide.Take(PROGRAM_APPEARED, Program(101, "One", news));
    guide.Take(PROGRAM_APPEARED, Program(102, "Two"));
    guide.Take(PROGRAM_APPEARED, Program(103, "Three", film));
    EXPECT_FALSE(guide.Take(PROGRAM_LISTED, Program(101, "One", news)));
    EXPECT_FALSE(guide.Take(PROGRAM_LISTED, Program(101, "One", film)));
    EXPECT_FALSE(guide.Take(PROGRAM_LISTED, Program(102, "Two", late)));
    EXPECT_FALSE(guide.Take(PROGRAM_LISTED, Program(103, "Three", film)));
    EXPECT_FALSE(guide.Take(PROGRAM_LIST_END, TCProgramData()));
    EXPECT_EQ(List(), "One: News, Film\nTwo: -, Late\nThree: Film, -\n")
        << "Two has no present event, and Three no other one";
}

TEST_F(EpgGuide, KeepsTheEventsWhenAProgramChanges) {
    guide.Take(PROGRAM_APPEARED, Program(101, "", news));
    guide.Take(PROGRAM_FOLLOWING_CHANGED, Program(101, "", film));
    TCProgramData named = Program(101, "One");
    named.original_network_id = 9; // comes with the name
    EXPECT_FALSE(guide.Take(PROGRAM_CHANGED, named));
    EXPECT_EQ(List(), "One: News, Film\n");
}

TEST_F(EpgGuide, RemovesAProgramThatGoes) {
    guide.Take(PROGRAM_APPEARED, Program(101, "One", news));
    guide.Take(PROGRAM_APPEARED, Program(102, "Two", film));
    EXPECT_FALSE(guide.Take(PROGRAM_GONE, Program(101, "One", news)));
    EXPECT_EQ(List(), "Two: Film, -\n");
    guide.Take(PROGRAM_APPEARED, Program(101, "One"));
    EXPECT_EQ(List(), "One: -, -\nTwo: Film, -\n") << "what it had is forgotten";
}

TEST_F(EpgGuide, TellsStreamsApart) {
    guide.Take(PROGRAM_APPEARED, Program(101, "One", news));
    TCProgramData other = Program(101, "Other", film);
    other.transport_stream_id = 8;
    guide.Take(PROGRAM_APPEARED, other);
    EXPECT_EQ(List(), "One: News, -\nOther: Film, -\n");
}

TEST_F(EpgGuide, HasNothingToDoWithTheSchedule) {
    EXPECT_FALSE(guide.Take(PROGRAM_SCHEDULE_CHANGED, Program(101, "One", film)));
    EXPECT_EQ(List(), "");
}

TEST_F(EpgGuide, ForgetsEverythingWhenItIsCleared) {
    guide.Take(PROGRAM_APPEARED, Program(101, "One", news));
    guide.Clear();
    EXPECT_EQ(List(), "");
}

TEST_F(EpgGuide, TellsANotificationAboutOneProgram) {
    guide.Take(PROGRAM_APPEARED, Program(101, "One", news));
    guide.Take(PROGRAM_APPEARED, Program(102, "Two", film));
    EXPECT_EQ(guide.Now(Program(102, "")),
              guide.Answer(Parse(R"({"get":"now","service":"Two"})"))["services"][0]);
    EXPECT_TRUE(guide.Now(Program(103, "")).isNull());
}

TEST_F(EpgGuide, HasNullForATimeThatIsNone) {
    for (const std::int64_t start : {std::int64_t{-1}, std::numeric_limits<std::int64_t>::max()}) {
        TSProgramEvent event = news;
        event.start = start;
        guide.Take(PROGRAM_APPEARED, Program(101, "One", event));
        EXPECT_TRUE(guide.Now(Program(101, ""))["present"]["start"].isNull()) << start;
    }
}

// --- what it answers ---

TEST_F(EpgGuide, RestrictsAnAnswerToAService) {
    guide.Take(PROGRAM_APPEARED, Program(101, "One", news));
    guide.Take(PROGRAM_APPEARED, Program(102, "Two", film));
    const Json::Value services =
        guide.Answer(Parse(R"({"get":"now","service":"Two"})"))["services"];
    ASSERT_EQ(services.size(), 1U);
    EXPECT_EQ(services[0]["service_id"].asInt(), 102);
    EXPECT_EQ(ErrorOf(Parse(R"({"get":"now","service":"Tw"})")), "there is no service \"Tw\"");
}

TEST_F(EpgGuide, HasAnEmptyListWhereNothingIsKnown) {
    EXPECT_EQ(guide.Answer(Parse(R"({"get":"now"})")), Parse(R"({"services":[]})"));
    EXPECT_EQ(guide.Answer(Parse(R"({"get":"list"})")), Parse(R"({"services":[]})"));
}

TEST_F(EpgGuide, AnswersAnythingElseWithAnError) {
    guide.Take(PROGRAM_APPEARED, Program(101, "One", news));
    const std::string get = "\"get\" is missing, or neither \"now\" nor \"list\"";
    for (const char* request : {"{}", R"({"get":null})", R"({"get":1})", R"({"get":{"get":"now"}})",
                                R"({"get":["now"]})", R"({"get":"NOW"})"}) {
        EXPECT_EQ(ErrorOf(Parse(request)), get) << request;
    }
    for (const char* request :
         {R"({"get":"now","service":null})", R"({"get":"now","service":101})",
          R"({"get":"now","service":["One"]})", R"({"get":"now","service":{}})"}) {
        EXPECT_EQ(ErrorOf(Parse(request)), "\"service\" is no string") << request;
    }
    EXPECT_EQ(ErrorOf(Parse(R"({"get":"now","servce":"One"})")),
              "\"servce\" is neither \"get\" nor \"service\"");
    for (const char* request : {"null", "[]", "1", "\"now\"", "true"}) {
        EXPECT_EQ(ErrorOf(Parse("[" + std::string(request) + "]")[0]), "the request is no object")
            << request;
    }
}

} // namespace
