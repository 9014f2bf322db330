#include "SampleLogic.h"

#include <gtest/gtest.h>

namespace {

Json::Value Object(const char* key, const char* value) {
    Json::Value object;
    object[key] = value;
    return object;
}

TEST(SampleLogic, CountsTheEventsOfEachSourceAndKeepsTheLast) {
    for (const char* source : {
             "anything",
         }) {
        SampleLogic logic;
        logic.Take(source, Object("which", "first"));
        logic.Take(source, Object("which", "second"));
        const Json::Value events = logic.Answer(Object("get", "events"))["events"];
        EXPECT_EQ(events.size(), 1U);
        EXPECT_EQ(events[source]["count"].asUInt64(), 2U);
        EXPECT_EQ(events[source]["last"]["which"], "second");
    }
}

TEST(SampleLogic, RefusesWhatItDoesNotKnow) {
    EXPECT_TRUE(SampleLogic().Answer(Json::Value()).isMember("error"));
    EXPECT_TRUE(SampleLogic().Answer(Object("get", "lost")).isMember("error"));
}

} // namespace
