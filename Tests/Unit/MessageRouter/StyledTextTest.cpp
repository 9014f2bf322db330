// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <random>

#include "StyledText.h"

namespace {

using marrow::msg::StyledText;

// Any value, a few levels deep.
Json::Value Random(std::mt19937& random, int depth) {
    Json::Value value;
    switch (random() % (depth > 0 ? 9U : 7U)) {
    case 0:
        return {};
    case 1:
        return random() % 2 == 0;
    case 2:
        return static_cast<Json::Int64>(random()) - 2000000000;
    case 3:
        return static_cast<double>(random()) / 7.0;
    case 4:
        return std::string(random() % 90, static_cast<char>('a' + random() % 26));
    case 5:
        return "h\xC3\xA4llo \"q\" \\ \n\t\x01 \xF0\x9F\x93\xBA \xFF";
    case 6:
        return random() % 2 == 0 ? Json::arrayValue : Json::objectValue;
    case 7:
        for (unsigned i = random() % 30; i > 0; --i) {
            value.append(Random(random, depth - 1));
        }
        return value;
    default:
        for (unsigned i = random() % 6; i > 0; --i) {
            value["key" + std::to_string(random() % 100)] = Random(random, depth - 1);
        }
        return value;
    }
}

TEST(StyledText, IsWhatTheJsonLibraryRendersForAnyValue) {
    std::mt19937 random(20); // the same values in each run
    for (int i = 0; i < 3000; ++i) {
        const Json::Value value = Random(random, 3);
        ASSERT_EQ(StyledText(value), value.toStyledString());
    }
}

} // namespace
