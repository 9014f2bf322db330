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

} // namespace
