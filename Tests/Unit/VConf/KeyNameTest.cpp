// SPDX-License-Identifier: Apache-2.0
#include "KeyName.h"

#include <gtest/gtest.h>
#include <string>

namespace {

using vconf::IsKeyName;
using vconf::IsUtf8;

TEST(KeyName, IsAPathOfWords) {
    EXPECT_TRUE(IsKeyName("memory/audio/mute"));
    EXPECT_TRUE(IsKeyName("a"));
    EXPECT_TRUE(IsKeyName("db/a b/c.d-e_f"));
    EXPECT_FALSE(IsKeyName(""));
    EXPECT_FALSE(IsKeyName("/"));
    EXPECT_FALSE(IsKeyName("/db"));
    EXPECT_FALSE(IsKeyName("db/"));
    EXPECT_FALSE(IsKeyName("db//audio"));
}

TEST(KeyName, HasAtMost255Bytes) {
    EXPECT_TRUE(IsKeyName(std::string(255, 'x')));
    EXPECT_FALSE(IsKeyName(std::string(256, 'x')));
    std::string wide; // of 128 characters
    for (int count = 0; count < 128; ++count) {
        wide += "\u00e9";
    }
    EXPECT_FALSE(IsKeyName(wide));
    EXPECT_TRUE(IsKeyName(wide.substr(2)));
}

TEST(KeyName, HasNoControlCharacters) {
    for (int code = 0; code < 0x20; ++code) {
        EXPECT_FALSE(IsKeyName("db/a" + std::string(1, static_cast<char>(code)) + "b")) << code;
    }
    EXPECT_FALSE(IsKeyName("db/\x7f"));
    EXPECT_FALSE(IsKeyName("db/\u0080"));
    EXPECT_FALSE(IsKeyName("db/\u009f"));
    EXPECT_TRUE(IsKeyName("db/\u00a0"));
    EXPECT_TRUE(IsKeyName("db/~ "));
}

TEST(KeyName, IsUtf8) {
    EXPECT_TRUE(IsKeyName("db/\u00fc/\u20ac/\U0001F600"));
    EXPECT_FALSE(IsKeyName("db/\xfc"));
    EXPECT_FALSE(IsKeyName("db/\xe2\x82"));
}

TEST(Utf8, IsWhatHasOneFormOnly) {
    for (const char* text : {"", "a\nb", "\u0080", "\u07ff", "\u0800", "\ud7ff", "\ue000", "\uffff",
                             "\U00010000", "\U0010FFFF"}) {
        EXPECT_TRUE(IsUtf8(text)) << text;
    }
    for (const char* text : {
             "\x80",             // a continuation alone
             "\xc3",             // cut
             "\xe2\x82",         // cut
             "\xf0\x9f\x98",     // cut
             "\xc3(",            // no continuation
             "\xe2\x82(",        //
             "\xf0\x9f\x98(",    //
             "\xc0\xaf",         // '/' in two bytes
             "\xc1\xbf",         //
             "\xe0\x9f\xbf",     // in three
             "\xf0\x8f\xbf\xbf", // in four
             "\xed\xa0\x80",     // a surrogate
             "\xf4\x90\x80\x80", // beyond U+10FFFF
             "\xf5\x80\x80\x80",
             "\xff",
         }) {
        EXPECT_FALSE(IsUtf8(text)) << text;
    }
}

TEST(KeyName, OfAMemoryKeyBeginsWithTheWord) {
    EXPECT_TRUE(vconf::IsMemoryKey("memory/a"));
    EXPECT_FALSE(vconf::IsMemoryKey("memory"));
    EXPECT_FALSE(vconf::IsMemoryKey("memory2/a"));
    EXPECT_FALSE(vconf::IsMemoryKey("db/memory/a"));
}

} // namespace
