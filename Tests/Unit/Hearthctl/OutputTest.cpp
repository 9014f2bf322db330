// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "Output.h"

namespace {

using hearthctl::CompactJson;
using hearthctl::IndentedJson;

TEST(Output, WritesUtf8WhateverIsInAText) {
    Json::Value value;
    value["pri\xF6rity"] = "cut in a Ж\xD0";
    EXPECT_EQ(CompactJson(value), "{\"pri\xEF\xBF\xBDrity\":\"cut in a Ж\xEF\xBF\xBD\"}");
    EXPECT_EQ(IndentedJson("\xFF"), "\"\xEF\xBF\xBD\"");
}

TEST(Output, EscapesWhatATerminalTakesForCommands) {
    Json::Value value;
    value["\xC2\x9B"] = "\x1B[2J\xC2\x80\xC2\xA0\xC2\x9F";
    EXPECT_EQ(CompactJson(value), "{\"\\u009b\":\"\\u001b[2J\\u0080\xC2\xA0\\u009f\"}");
    EXPECT_EQ(IndentedJson("\xC2\x90"), "\"\\u0090\"");
}

} // namespace
