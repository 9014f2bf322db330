// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

#include "StyledText.h"

namespace {

using namespace std::string_literals;
using marrow::msg::StyledText;

std::uint64_t RandomBits(std::mt19937& random) {
    return std::uint64_t{random()} << 32U | random();
}

double RandomReal(std::mt19937& random) {
    switch (random() % 5) {
    case 0:
        return std::bit_cast<double>(RandomBits(random)); // NaN and infinite ones too
    case 1:
        return static_cast<double>(random()) / 7.0;
    case 2:
        return static_cast<double>(random() % 1000) / -8;
    case 3:
        return static_cast<double>(RandomBits(random) >> random() % 64);
    default:
        return std::ldexp(static_cast<double>(random() % 5000000),
                          -static_cast<int>(random() % 14));
    }
}

std::string RandomString(std::mt19937& random) {
    static const std::string pieces[] = {"\"",
                                         "\\",
                                         "/",
                                         "\b\f\n\r\t",
                                         "\0"s,
                                         "\x01",
                                         "\x1F",
                                         "\x7F",
                                         "\xC2\x80",
                                         "\xC3\xA4",
                                         "\xDF\xBF",
                                         "\xE0\xA0\x80",
                                         "\xED\x9F\xBF",
                                         "\xEE\x80\x80",
                                         "\xEF\xBF\xBF",
                                         "\xF0\x90\x80\x80",
                                         "\xF0\x9F\x93\xBA",
                                         "\xF4\x8F\xBF\xBF"};
    // Much of it is no UTF-8.
    static const std::string wrong[] = {"\x80",         "\xC3",     "\xC3\"",
                                        "\xC0\x80",     "\xE2\x82", "\xE0\x80\x80",
                                        "\xED\xA0\x80", "\xFF",     "\xF4\x90\x80\x80"};
    std::string text;
    for (unsigned i = random() % 6; i > 0; --i) {
        text += std::string(random() % 20, static_cast<char>('a' + random() % 26));
        text += pieces[random() % std::size(pieces)];
        if (random() % 50 == 0) {
            text += wrong[random() % std::size(wrong)];
        }
    }
    return text;
}

// Any value, a few levels deep.
Json::Value Random(std::mt19937& random, int depth) {
    Json::Value value;
    switch (random() % (depth > 0 ? 11U : 8U)) {
    case 0:
        return {};
    case 1:
        return random() % 2 == 0;
    case 2:
        return static_cast<Json::Int64>(RandomBits(random)) >> random() % 64;
    case 3:
        return static_cast<Json::UInt64>(RandomBits(random));
    case 4:
        return RandomReal(random);
    case 5:
        return std::string(random() % 90, static_cast<char>('a' + random() % 26));
    case 6:
        return RandomString(random);
    case 7:
        return random() % 2 == 0 ? Json::arrayValue : Json::objectValue;
    case 8:
        for (unsigned i = random() % 30; i > 0; --i) {
            value.append(Random(random, depth - 1));
        }
        if (random() % 10 == 0) {
            value[value.size() + static_cast<Json::ArrayIndex>(random() % 3)] = "behind a gap";
        }
        return value;
    default:
        for (unsigned i = random() % 6; i > 0; --i) {
            const std::string key = random() % 8 == 0 ? RandomString(random) : "key";
            value[key + std::to_string(random() % 100)] = Random(random, depth - 1);
        }
        return value;
    }
}

class StyledRandomValues : public testing::TestWithParam<unsigned> {};
INSTANTIATE_TEST_SUITE_P(, StyledRandomValues, testing::Range(0U, 4U));

TEST_P(StyledRandomValues, AreWhatTheJsonLibraryRenders) {
    std::mt19937 random(20 + GetParam()); // the same values in each run
    for (int i = 0; i < 10000; ++i) {
        const Json::Value value = Random(random, 3);
        ASSERT_EQ(StyledText(value), value.toStyledString()) << i;
    }
}

TEST_P(StyledRandomValues, OfScalarsAreWhatTheJsonLibraryRenders) {
    std::mt19937 random(40 + GetParam());
    for (int i = 0; i < 60000; ++i) {
        const Json::Value value = Random(random, 0);
        ASSERT_EQ(StyledText(value), value.toStyledString()) << i;
    }
}

TEST_P(StyledRandomValues, BeginAsTheJsonLibraryRendersThemWhereAHeadIsEnough) {
    std::mt19937 random(60 + GetParam());
    for (int i = 0; i < 3000; ++i) {
        const Json::Value value = Random(random, 3);
        const std::string whole = value.toStyledString();
        const std::size_t enough = random() % (whole.size() + 2);
        const std::string head = StyledText(value, enough);
        ASSERT_EQ(head.substr(0, enough), whole.substr(0, enough)) << i;
    }
}

TEST(StyledText, EndsSoonBehindWhatIsEnough) {
    Json::Value value;
    for (int i = 0; i < 1000; ++i) {
        value["list"].append(i);
    }
    EXPECT_LT(StyledText(value, 100).size(), 150U);
    EXPECT_LT(StyledText(value, 0).size(), 10U);
}

TEST(StyledText, PutsEachItemAndMemberOnALineOfItsOwn) {
    Json::Value value;
    value["list"].append(1);
    value["list"].append(Json::arrayValue);
    value["list"].append(Json::objectValue)["x"] = "y";
    value["none"] = Json::objectValue;
    EXPECT_EQ(StyledText(value), "{\n"
                                 "\t\"list\" : \n"
                                 "\t[\n"
                                 "\t\t1,\n"
                                 "\t\t[],\n"
                                 "\t\t{\n"
                                 "\t\t\t\"x\" : \"y\"\n"
                                 "\t\t}\n"
                                 "\t],\n"
                                 "\t\"none\" : {}\n"
                                 "}\n");
}

TEST(StyledText, RendersTheEdgesOfRealNumbersAsTheJsonLibraryDoes) {
    for (const double real : {0.0, -0.0, 0.25, 1.0 / 1024, 1.0 / 2048, 1e-4, 1e-5, 0.1,
                              999999.9990234375, 12345678.0009765625, 1e6, 1e16, 1e17, 5e-324,
                              1.7976931348623157e308, std::numeric_limits<double>::infinity(),
                              -std::numeric_limits<double>::infinity(), std::nan("")}) {
        EXPECT_EQ(StyledText(real), Json::Value(real).toStyledString());
        EXPECT_EQ(StyledText(-real), Json::Value(-real).toStyledString());
    }
}

TEST(StyledText, RendersCommentsAsTheJsonLibraryDoes) {
    for (const Json::CommentPlacement placement :
         {Json::commentBefore, Json::commentAfterOnSameLine, Json::commentAfter}) {
        for (int which = 0; which < 5; ++which) {
            Json::Value value;
            value["a"]["b"].append(1);
            value["z"] = 2;
            Json::Value* const places[] = {&value, &value["a"], &value["a"]["b"],
                                           &value["a"]["b"][0], &value["z"]};
            places[which]->setComment(std::string("// said"), placement);
            EXPECT_EQ(StyledText(value), value.toStyledString()) << which << placement;
            EXPECT_NE(StyledText(value).find("said"), std::string::npos) << which << placement;
        }
    }
}

TEST(StyledText, RendersALongTextAndThenAShortOne) {
    Json::Value value;
    for (int i = 0; i < 20000; ++i) {
        value.append("\xC3\xA4" + std::to_string(i));
    }
    EXPECT_EQ(StyledText(value), value.toStyledString());
    EXPECT_EQ(StyledText(Json::Value(1)), "1\n");
}

} // namespace
