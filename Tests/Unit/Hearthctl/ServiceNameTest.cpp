// SPDX-License-Identifier: Apache-2.0

#include "ServiceName.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using hearthctl::ClassName;
using hearthctl::WrongInServiceName;
using testing::HasSubstr;

TEST(ServiceName, MayHaveSmallLettersDigitsAndUnderscores) {
    for (const std::string name : {"a", "hello", "my_clock", "x2", "a_", "class", "tests"}) {
        EXPECT_EQ(WrongInServiceName(name), "") << name;
    }
}

TEST(ServiceName, IsRefusedWhereAFileOrAnIdentifierCannotHaveIt) {
    for (const std::string name :
         {"", "Hello", "heLlo", "2x", "_a", "my-clock", "my clock", "a/b", "../a", ".", "a.b", "-a",
          "a\n", "gr\xC3\xBCn", "a\"b", "a$b", "a;b"}) {
        EXPECT_THAT(WrongInServiceName(name), HasSubstr("begins with a letter")) << name;
    }
    EXPECT_NE(WrongInServiceName(std::string("a\0b", 3)), "");
}

TEST(ServiceName, HasAtMost64Characters) {
    EXPECT_EQ(WrongInServiceName(std::string(64, 'a')), "");
    EXPECT_THAT(WrongInServiceName(std::string(65, 'a')), HasSubstr("at most 64"));
}

TEST(ServiceName, IsNoTargetOfCMakesOwn) {
    for (const std::string name : {"all", "install", "package_source", "test"}) {
        EXPECT_EQ(WrongInServiceName(name), "CMake has a target of that name") << name;
    }
}

TEST(ServiceName, HasAClassNameOfItsWords) {
    EXPECT_EQ(ClassName("hello"), "Hello");
    EXPECT_EQ(ClassName("my_clock"), "MyClock");
    EXPECT_EQ(ClassName("my__2nd_clock_"), "My2ndClock");
}

} // namespace
