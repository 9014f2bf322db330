// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <limits>

#include "JsonCodec.h"

namespace {

using Quill::JsonCodec::Decode;
using Quill::JsonCodec::Encode;
using Quill::JsonCodec::MOST_VALUES;
using Quill::JsonCodec::Root;

// A number inside this many objects and arrays.
std::string Nested(int depth) {
    std::string text = R"({"a":)";
    text.append(static_cast<std::size_t>(depth - 1), '[');
    text += '1';
    text.append(static_cast<std::size_t>(depth - 1), ']');
    return text + "}";
}

struct Refused : testing::TestWithParam<const char*> {};

TEST_P(Refused, LeavesTheValueAsItWasAndSaysWhatIsWrongInOneLine) {
    Json::Value value = "untouched";
    std::string error;
    EXPECT_FALSE(Decode(GetParam(), Root::OBJECT, value, error));
    EXPECT_EQ(value, Json::Value("untouched"));
    EXPECT_FALSE(error.empty());
    EXPECT_EQ(error.find('\n'), std::string::npos) << error;
}

INSTANTIATE_TEST_SUITE_P(BadText, Refused,
                         testing::Values("{", "}", "nonsense", "{\"a\":1}}", "{\"a\":1} trailing",
                                         "{\"a\":1,}", "{'a':1}", "{a:1}", "{\"a\":1,\"a\":2}",
                                         "{\"a\":1} {\"b\":2}", "// comment\n{}", "{\"a\":NaN}",
                                         "{\"a\":\"\\ud800\"}", "[1,2]", "1", "\"text\"", "null",
                                         "true", " ", "{\"a\":\"\\x\"}"));

TEST(JsonCodec, TakesAnEmptyTextForAnEmptyPayload) {
    Json::Value value = 1;
    std::string error;
    ASSERT_TRUE(Decode("", Root::OBJECT, value, error));
    EXPECT_TRUE(value.isNull());
    EXPECT_EQ(Encode(Json::Value()), "");
}

TEST(JsonCodec, TakesAnyValueInAReply) {
    for (const char* text : {"1", "[1,2]", "\"text\"", "true", "{}"}) {
        Json::Value value;
        std::string error;
        EXPECT_TRUE(Decode(text, Root::ANY, value, error)) << text << ": " << error;
        EXPECT_EQ(Encode(value), text);
    }
}

TEST(JsonCodec, LooksAtNothingBehindTheText) {
    const std::string_view more = "[1\r\n";
    Json::Value value;
    std::string error;
    EXPECT_FALSE(Decode(more.substr(0, 3), Root::ANY, value, error));
    EXPECT_NE(error.find("Line 2, Column 1"), std::string::npos) << error;
}

TEST(JsonCodec, ReadsDownToTheLimitAndNoDeeper) {
    Json::Value value;
    std::string error;
    EXPECT_TRUE(Decode(Nested(Quill::JsonCodec::DEEPEST_NESTING), Root::OBJECT, value, error))
        << error;
    EXPECT_FALSE(Decode(Nested(Quill::JsonCodec::DEEPEST_NESTING + 1), Root::OBJECT, value, error));
    EXPECT_FALSE(Decode(Nested(1000000), Root::OBJECT, value, error));
}

TEST(JsonCodec, ReadsAMillionValuesAndNoMore) {
    const auto array = [](std::size_t commas) {
        std::string text = "[0";
        for (std::size_t count = 0; count < commas; ++count) {
            text += ",0";
        }
        return text + "]";
    };
    Json::Value value;
    std::string error;
    EXPECT_TRUE(Decode(array(MOST_VALUES - 1), Root::ANY, value, error)) << error;
    EXPECT_EQ(value.size(), MOST_VALUES);
    EXPECT_FALSE(Decode(array(MOST_VALUES), Root::ANY, value, error));
    EXPECT_EQ(error, "more than 1000000 values");
    // What stands in a string is no value, whatever it escapes.
    const std::string text = R"(["\")" + std::string(MOST_VALUES + 1, ',') + R"(\\",0])";
    EXPECT_TRUE(Decode(text, Root::ANY, value, error)) << error;
    EXPECT_EQ(value.size(), 2U);
}

TEST(JsonCodec, GoesOnWorkingAfterAnErrorOnTheSameThread) {
    Json::Value value;
    std::string error;
    EXPECT_FALSE(Decode(Nested(5000), Root::OBJECT, value, error));
    EXPECT_FALSE(Decode("{\"a\"", Root::OBJECT, value, error));
    EXPECT_TRUE(Decode("{\"a\":1}", Root::OBJECT, value, error));
    EXPECT_EQ(value["a"], 1);
}

TEST(JsonCodec, KeepsNumbersAndStringsThroughARoundTrip) {
    Json::Value sent;
    sent["least"] = std::numeric_limits<Json::Int64>::min();
    sent["most"] = std::numeric_limits<Json::UInt64>::max();
    sent["real"] = 0.1;
    sent["text"] = "h\xC3\xA4llo \"quoted\" \\ \n\t";
    sent["zero"] = std::string("a\0b", 3);
    sent["beyond"] = "\xF0\x9F\x93\xBA";
    Json::Value received;
    std::string error;
    ASSERT_TRUE(Decode(Encode(sent), Root::OBJECT, received, error)) << error;
    EXPECT_EQ(received, sent);
}

TEST(JsonCodec, WritesNothingOfBytesThatAreNoUtf8ButAReplacement) {
    Json::Value value;
    value["a"] = "x\xFFy\xC3z";
    EXPECT_EQ(Encode(value), "{\"a\":\"x\xEF\xBF\xBDy\xEF\xBF\xBDz\"}");
}

TEST(JsonCodec, KeepsANoncharacterAsAnEscape) {
    Json::Value value;
    value["a"] = "\xEF\xBF\xBE \xF0\x9F\xBF\xBF";
    const std::string text = Encode(value);
    EXPECT_EQ(text, "{\"a\":\"\\ufffe \\ud83f\\udfff\"}");
    Json::Value back;
    std::string error;
    ASSERT_TRUE(Decode(text, Root::OBJECT, back, error)) << error;
    EXPECT_EQ(back, value);
}

TEST(JsonCodec, WritesJsonForNumbersThatJsonDoesntHave) {
    Json::Value value;
    value["nan"] = std::numeric_limits<double>::quiet_NaN();
    value["infinite"] = std::numeric_limits<double>::infinity();
    EXPECT_EQ(Encode(value), R"({"infinite":1e+9999,"nan":null})");
}

} // namespace
