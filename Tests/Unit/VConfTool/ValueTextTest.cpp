// SPDX-License-Identifier: Apache-2.0
#include "ValueText.h"

#include <gtest/gtest.h>
#include <limits>

#include "StoreError.h"

namespace {

using namespace vconf;

StoredValue Integer(VConfType type, int integer) {
    StoredValue value;
    value.type = type;
    value.integer = integer;
    return value;
}

StoredValue Double(double real) {
    StoredValue value;
    value.type = VCONF_DOUBLE;
    value.real = real;
    return value;
}

StoredValue String(const std::string& text) {
    StoredValue value;
    value.type = VCONF_STRING;
    value.text = text;
    return value;
}

TEST(ValueText, IsReadAsTheValueThatItWasWrittenFor) {
    const double infinity = std::numeric_limits<double>::infinity();
    for (const StoredValue& value :
         {Integer(VCONF_INT, 0), Integer(VCONF_INT, -2147483647 - 1),
          Integer(VCONF_INT, 2147483647), Integer(VCONF_BOOL, 0), Integer(VCONF_BOOL, 1),
          Integer(VCONF_BOOL, -7), Double(0.1), Double(-2.5e-300), Double(5), Double(infinity),
          Double(-infinity), Double(std::numeric_limits<double>::max()), String(""),
          String("words and\nlines"), String("5")}) {
        EXPECT_EQ(TextToValue(ValueToText(value), value.type), value) << ValueToText(value);
    }
}

TEST(ValueText, HasWordsForBooleans) {
    EXPECT_EQ(ValueToText(Integer(VCONF_BOOL, 1)), "true");
    EXPECT_EQ(ValueToText(Integer(VCONF_BOOL, 0)), "false");
    EXPECT_EQ(ValueToText(Integer(VCONF_BOOL, 2)), "2");
}

TEST(ValueText, OfAnotherTypeIsRefusedWithBothInTheWords) {
    const std::pair<const char*, VConfType> wrong[] = {
        {"", VCONF_INT},       {"x", VCONF_INT},        {"5x", VCONF_INT},
        {" 5", VCONF_INT},     {"5.0", VCONF_INT},      {"2147483648", VCONF_INT},
        {"+5", VCONF_INT},     {"yes", VCONF_BOOL},     {"True", VCONF_BOOL},
        {"1.0", VCONF_BOOL},   {"", VCONF_DOUBLE},      {"x", VCONF_DOUBLE},
        {"nan", VCONF_DOUBLE}, {"1e400", VCONF_DOUBLE}, {"true", VCONF_INT},
        {"true", VCONF_DOUBLE}};
    for (const auto& [text, type] : wrong) {
        try {
            TextToValue(text, type);
            ADD_FAILURE() << text;
        } catch (const KeyError& error) {
            EXPECT_EQ(error.what(),
                      "\"" + std::string(text) + "\" is no value of the type " + TypeName(type));
        }
    }
}

TEST(ValueText, LooksLikeTheNarrowestType) {
    EXPECT_EQ(LikelyType("5"), VCONF_INT);
    EXPECT_EQ(LikelyType("-5"), VCONF_INT);
    EXPECT_EQ(LikelyType("2147483648"), VCONF_DOUBLE);
    EXPECT_EQ(LikelyType("5.5"), VCONF_DOUBLE);
    EXPECT_EQ(LikelyType("1e3"), VCONF_DOUBLE);
    EXPECT_EQ(LikelyType("true"), VCONF_BOOL);
    EXPECT_EQ(LikelyType("false"), VCONF_BOOL);
    EXPECT_EQ(LikelyType("nan"), VCONF_STRING);
    EXPECT_EQ(LikelyType("5 apples"), VCONF_STRING);
    EXPECT_EQ(LikelyType(""), VCONF_STRING);
}

TEST(ValueText, OnALineEscapesWhatWouldLeaveIt) {
    EXPECT_EQ(ValueToLine(String("plain äö")), "\"plain äö\"");
    EXPECT_EQ(ValueToLine(String("a\nb\tc\x1B[2J\x7F\"\\")), R"("a\nb\u0009c\u001b[2J\u007f\"\\")");
    EXPECT_EQ(ValueToLine(String("\u0080\u009b2J\u009f\u00a0\u00c2")),
              "\"\\u0080\\u009b2J\\u009f\u00a0\u00c2\"");
    EXPECT_EQ(ValueToLine(String("\x1f ~")), "\"\\u001f ~\"");
    EXPECT_EQ(ValueToLine(Integer(VCONF_INT, 5)), "5");
}

TEST(ValueText, KnowsTypesByNames) {
    for (const VConfType type : {VCONF_STRING, VCONF_INT, VCONF_DOUBLE, VCONF_BOOL}) {
        EXPECT_EQ(TypeOfName(TypeName(type)), type);
    }
    EXPECT_FALSE(TypeOfName("none"));
    EXPECT_FALSE(TypeOfName("String"));
    EXPECT_FALSE(TypeOfName(""));
}

} // namespace
