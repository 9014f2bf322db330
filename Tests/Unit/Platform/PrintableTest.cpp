// SPDX-License-Identifier: Apache-2.0
#include "Printable.h"

#include <gtest/gtest.h>

namespace {

using marrow::base::Printable;

TEST(Printable, HasNoControlCharacters) {
    EXPECT_EQ(Printable("a\nb\tc\x1B[2Jd\x7F"), "a?b?c?[2Jd?");
    EXPECT_EQ(Printable(std::string(1, '\0')), "?");
    EXPECT_EQ(Printable("\xC2\x9B"
                        "2J, \xC2\x80\xC2\x9F"),
              "?2J, ??")
        << "one for each";
}

TEST(Printable, KeepsEverythingElse) {
    for (const char* text : {"", " ~", "\xC2\xA0\xC3\x9B Ж €", "\xC2", "\x9B", "\xC2\xC2",
                             "\xE2\x82\x9B", "cut \xD0"}) {
        EXPECT_EQ(Printable(text), text);
    }
}

} // namespace
