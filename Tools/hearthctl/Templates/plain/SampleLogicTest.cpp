#include "SampleLogic.h"

#include <gtest/gtest.h>

TEST(SampleLogic, GreetsByName) {
    Json::Value request;
    request["name"] = "Ann";
    EXPECT_EQ(SampleLogic().Answer(request)["greeting"], "Hello, Ann");
}

TEST(SampleLogic, RefusesANameThatIsNoString) {
    Json::Value request;
    EXPECT_TRUE(SampleLogic().Answer(request).isMember("error"));
    request["name"]["first"] = "Ann";
    EXPECT_TRUE(SampleLogic().Answer(request).isMember("error"));
}
