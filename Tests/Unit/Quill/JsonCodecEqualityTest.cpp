// SPDX-License-Identifier: Apache-2.0

// The codec has ways of its own beside the JSON library's. Nobody may see which way a text or a
// value has gone.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <thread>
#include <vector>

#include "FastReader.h"
#include "JsonCodecReference.h"
#include "JsonCodecSamples.h"

namespace {

using namespace std::string_literals;
using json_reference::DecodingDifference;
using json_reference::EncodingDifference;
using json_samples::Mutated;
using json_samples::RandomReal;
using json_samples::RandomText;
using json_samples::RandomValue;
using Quill::JsonCodec::Root;

std::string Repeated(std::string_view text, std::size_t count) {
    std::string repeated;
    for (std::size_t i = 0; i < count; ++i) {
        repeated += text;
    }
    return repeated;
}

TEST(JsonCodecEquality, HoldsForEveryOddText) {
    for (const std::string& text : json_samples::OddTexts()) {
        for (const Root root : {Root::OBJECT, Root::ANY}) {
            // Once more each time: what the first look has left behind must change nothing.
            for (int look = 0; look < 3; ++look) {
                ASSERT_EQ(DecodingDifference(text, root), "") << text.substr(0, 200);
            }
        }
    }
}

class JsonCodecRandomTexts : public testing::TestWithParam<unsigned> {};
INSTANTIATE_TEST_SUITE_P(, JsonCodecRandomTexts, testing::Range(0U, 4U));

TEST_P(JsonCodecRandomTexts, AreDecodedAndEncodedAsTheJsonLibraryDoes) {
    std::mt19937 random(GetParam());
    unsigned taken = 0;
    unsigned takenFast = 0;
    constexpr unsigned COUNT = 60000;
    for (unsigned i = 0; i < COUNT; ++i) {
        std::string text = RandomText(random, 3);
        if (random() % 3 == 0) {
            text = Mutated(random, std::move(text));
        }
        const Root root = random() % 4 == 0 ? Root::OBJECT : Root::ANY;
        ASSERT_EQ(DecodingDifference(text, root), "") << i << ": " << text;
        Json::Value value;
        taken += json_reference::Decode(text, root).isTaken ? 1U : 0U;
        takenFast += Quill::ReadFast(text, root, value) ? 1U : 0U;
    }
    // Neither verdict is rare, and neither way.
    EXPECT_GT(taken, COUNT / 4);
    EXPECT_LT(taken, COUNT * 9 / 10);
    EXPECT_GT(takenFast, COUNT / 4);
    EXPECT_GT(taken, takenFast) << "some that the fast way leaves alone are taken nevertheless";
}

class JsonCodecRandomValues : public testing::TestWithParam<unsigned> {};
INSTANTIATE_TEST_SUITE_P(, JsonCodecRandomValues, testing::Range(0U, 4U));

TEST_P(JsonCodecRandomValues, AreEncodedAsTheJsonLibraryDoes) {
    std::mt19937 random(GetParam());
    for (unsigned i = 0; i < 60000; ++i) {
        ASSERT_EQ(EncodingDifference(RandomValue(random, 3)), "") << i;
    }
}

TEST_P(JsonCodecRandomValues, OfRealsAreEncodedAsTheJsonLibraryDoes) {
    std::mt19937 random(GetParam() + 100);
    for (unsigned i = 0; i < 100000; ++i) {
        const double real = RandomReal(random);
        ASSERT_EQ(EncodingDifference(real), "") << i;
    }
}

TEST(JsonCodecEquality, HoldsForValuesThatCarryComments) {
    for (const Json::CommentPlacement placement :
         {Json::commentBefore, Json::commentAfterOnSameLine, Json::commentAfter}) {
        Json::Value value;
        value["a"]["b"].append(1);
        value.setComment(std::string("// root"), placement);
        EXPECT_EQ(EncodingDifference(value), "") << placement;
        value = Json::Value();
        value["a"]["b"].append(1).setComment(std::string("/* item */"), placement);
        EXPECT_EQ(EncodingDifference(value), "") << placement;
        EXPECT_NE(json_reference::Encode(value).find("item"), std::string::npos);
    }
}

// An item that is set behind the end leaves them.
TEST(JsonCodecEquality, HoldsForArraysWithHoles) {
    Json::Value value(Json::arrayValue);
    value[7] = 1;
    EXPECT_EQ(EncodingDifference(value), "");
    value[3] = "x";
    value[12] = Json::Value(Json::objectValue);
    EXPECT_EQ(EncodingDifference(value), "");
    EXPECT_LT(value.end() - value.begin(), value.size());
}

TEST(JsonCodecEquality, HoldsForRealsAtTheEdgesOfTheirShortForm) {
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double edge :
         {0.0, 1.0 / 1024, 1.0 / 2048, 1e-4, 1e-5, 0.1, 1.0, 1e6, 999999.0, 999999.9990234375, 1e7,
          9999999.9990234375, 12345678.0009765625, 1e15, 1e16, 1e17, 1e18, 9007199254740992.0}) {
        for (const double real :
             {edge, std::nextafter(edge, infinity), std::nextafter(edge, -infinity)}) {
            EXPECT_EQ(EncodingDifference(real), "");
            EXPECT_EQ(EncodingDifference(-real), "");
        }
    }
    for (const double real : {infinity, -infinity, std::nan(""), -std::nan("")}) {
        EXPECT_EQ(EncodingDifference(real), "");
    }
}

// Three times the same object: new, learnt, known.
TEST(JsonCodecEquality, HoldsForMoreKeysThanAreKept) {
    for (int i = 0; i < 6000; ++i) {
        const std::string object = "{\"one of many keys " + std::to_string(i) + "\":1,\"b\":2}";
        const std::string text = "[" + object + "," + object + "," + object + "]";
        ASSERT_EQ(DecodingDifference(text, Root::ANY), "") << text;
    }
}

// Values may outlive the thread that has made them, and what that thread has learnt.
TEST(JsonCodecEquality, HoldsForValuesOfThreadsThatHaveEnded) {
    std::vector<std::string> texts;
    for (int i = 0; i < 300; ++i) {
        const std::string number = std::to_string(i % 100);
        texts.push_back("[{\"shared" + number + "\":1,\"long enough to own memory " + number +
                        "\":[2]}]");
    }
    std::vector<std::vector<json_reference::Outcome>> outcomes(4);
    std::vector<std::thread> threads;
    for (auto& mine : outcomes) {
        threads.emplace_back([&texts, &mine] {
            for (const std::string& text : texts) {
                mine.push_back(json_reference::DecodeOurs(text, Root::ANY));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const auto& values : outcomes) {
        ASSERT_EQ(values.size(), texts.size());
        for (std::size_t i = 0; i < texts.size(); ++i) {
            const Json::Value wanted = json_reference::Decode(texts[i], Root::ANY).value;
            EXPECT_EQ(json_reference::Difference(values[i].value, wanted), "");
        }
    }
}

// Without this the fast way could leave everything to the library, and all would still be equal.
TEST(JsonCodecEquality, IsNoneOfTheLibrarysDoingForOrdinaryTexts) {
    for (const std::string& text :
         {R"({"command":"set","id":17,"live":true,"list":[{"name":"x","level":0.25}]})"s,
          R"([-9223372036854775808,9223372036854775807,18446744073709551615,1e-5,null,false])"s,
          R"({"text":"\u00e4\ud83d\udcfa\n","":{}})"s,
          "{\"a\":" + Repeated("[", Quill::JsonCodec::DEEPEST_NESTING - 1) + "1" +
              Repeated("]", Quill::JsonCodec::DEEPEST_NESTING - 1) + "}",
          "[\"" + Repeated("x", 300000) + "\"]"}) {
        Json::Value value;
        EXPECT_TRUE(Quill::ReadFast(text, Root::ANY, value)) << text.substr(0, 100);
        EXPECT_EQ(json_reference::Difference(value, json_reference::Decode(text, Root::ANY).value),
                  "");
    }
}

TEST(JsonCodecEquality, IsNotClaimedForWhatTheLibraryHasToDecide) {
    for (const std::string& text :
         {"{\"a\":1,\"a\":2}"s, "[01]"s, "[1e400]"s, "[\"\\ud800\"]"s, "[\"\xFF\"]"s, "[\"a\nb\"]"s,
          "[18446744073709551616]"s, "{}\0x"s, Repeated("[", 130) + Repeated("]", 130)}) {
        Json::Value value = "as it was";
        EXPECT_FALSE(Quill::ReadFast(text, Root::ANY, value)) << text;
        EXPECT_EQ(value, Json::Value("as it was"));
    }
}

} // namespace
