// SPDX-License-Identifier: Apache-2.0
#include "VConfData.h"

#include <cstdint>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <memory>

#include "Dlog.h"
#include "FakeVConf.h"
#include "LogCapture.h"
#include "PrivateMember.h"

namespace {

using marrow::evt::VConfData;

struct Value : PrivateMember<Value, boost::any VConfData::*> {};

} // namespace

template struct ExposeMember<Value, &VConfData::value>;

namespace {

// Every getter of the platform's has something else to say.
_keynode_t Node(int type) {
    return {"a/key", type, "text", 41000, 1, 0.25};
}

VConfData Data(int type) {
    _keynode_t node = Node(type);
    return {&node};
}

std::uint64_t BitsOf(double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof(bits));
    return bits;
}

class VConfDataTest : public testing::Test {
protected:
    VConfDataTest() { LogCapture::Clear(); }

    // What the failing conversions said since the last look.
    static int Complaints(int type) {
        const int count =
            LogCapture::Count(DLOG_WARN, "Invalid conversion from type " + std::to_string(type));
        const bool others = LogCapture::Lines().size() != static_cast<std::size_t>(count);
        LogCapture::Clear();
        return others ? -1 : count;
    }
};

TEST_F(VConfDataTest, HasTheNodesNameAndType) {
    for (const int type : {40, 41, 42, 43, 0, 44, -7}) {
        VConfData data = Data(type);
        EXPECT_EQ(data.GetName(), "a/key");
        EXPECT_EQ(data.GetType(), type);
    }
    EXPECT_EQ(Complaints(0), 0) << "an unknown type is no word worth";
}

TEST_F(VConfDataTest, KeepsNothingOfTheNode) {
    auto node = std::make_unique<_keynode_t>(Node(40));
    VConfData data(node.get());
    node.reset();
    EXPECT_EQ(data.GetName(), "a/key");
    EXPECT_EQ(static_cast<std::string>(data), "text");
}

// No conversion shows what a double key holds, nor that a boolean key holds an integer.
TEST_F(VConfDataTest, HoldsTheValueInThePlatformsType) {
    const auto valueOf = [](int type) { return Data(type).*MemberOf(Value()); };
    EXPECT_EQ(boost::any_cast<std::string>(valueOf(40)), "text");
    EXPECT_EQ(boost::any_cast<int>(valueOf(41)), 41000);
    EXPECT_EQ(boost::any_cast<double>(valueOf(42)), 0.25);
    _keynode_t node = Node(43);
    node.truth = -7;
    EXPECT_EQ(boost::any_cast<int>(VConfData(&node).*MemberOf(Value())), -7);
    EXPECT_TRUE(valueOf(0).empty());
    EXPECT_TRUE(valueOf(39).empty());
    EXPECT_TRUE(valueOf(44).empty());
}

TEST_F(VConfDataTest, OfAnIntegerConvertsToAnInteger) {
    EXPECT_EQ(static_cast<int>(Data(41)), 41000);
    EXPECT_EQ(Complaints(41), 0);
}

TEST_F(VConfDataTest, OfAnIntegerConvertsToNothingElse) {
    EXPECT_EQ(static_cast<std::string>(Data(41)), "");
    EXPECT_EQ(Complaints(41), 1);
    EXPECT_FALSE(static_cast<bool>(Data(41)));
    EXPECT_EQ(Complaints(41), 1);
    EXPECT_EQ(BitsOf(static_cast<double>(Data(41))), 0x7FEFFFFFFFFFFFFFU);
    EXPECT_EQ(Complaints(41), 1);
}

TEST_F(VConfDataTest, OfAStringConvertsToAString) {
    EXPECT_EQ(static_cast<std::string>(Data(40)), "text");
    EXPECT_EQ(Complaints(40), 0);
}

TEST_F(VConfDataTest, OfAStringConvertsToNothingElse) {
    EXPECT_EQ(static_cast<int>(Data(40)), 2147483647);
    EXPECT_EQ(Complaints(40), 1);
    EXPECT_FALSE(static_cast<bool>(Data(40)));
    EXPECT_EQ(Complaints(40), 1);
    EXPECT_EQ(BitsOf(static_cast<double>(Data(40))), 0x7FEFFFFFFFFFFFFFU);
    EXPECT_EQ(Complaints(40), 1);
}

TEST_F(VConfDataTest, OfADoubleConvertsToNothingNotEvenADouble) {
    EXPECT_EQ(BitsOf(static_cast<double>(Data(42))), 0x7FEFFFFFFFFFFFFFU);
    EXPECT_EQ(Complaints(42), 1);
    EXPECT_EQ(static_cast<int>(Data(42)), 2147483647);
    EXPECT_EQ(Complaints(42), 1);
    EXPECT_FALSE(static_cast<bool>(Data(42)));
    EXPECT_EQ(Complaints(42), 1);
    EXPECT_EQ(static_cast<std::string>(Data(42)), "");
    EXPECT_EQ(Complaints(42), 1);
}

TEST_F(VConfDataTest, OfABooleanThrowsWhereItIsToBeABooleanOrADouble) {
    const VConfData data = Data(43);
    EXPECT_THROW((void)static_cast<bool>(data), boost::bad_any_cast);
    EXPECT_THROW((void)static_cast<double>(data), boost::bad_any_cast);
    EXPECT_EQ(Complaints(43), 0);
    try {
        (void)static_cast<bool>(data);
    } catch (const boost::bad_any_cast& error) {
        EXPECT_STREQ(error.what(), "boost::bad_any_cast: failed conversion using boost::any_cast");
    }
}

TEST_F(VConfDataTest, OfABooleanConvertsToNothingElse) {
    EXPECT_EQ(static_cast<int>(Data(43)), 2147483647);
    EXPECT_EQ(Complaints(43), 1);
    EXPECT_EQ(static_cast<std::string>(Data(43)), "");
    EXPECT_EQ(Complaints(43), 1);
}

TEST_F(VConfDataTest, OfAnyOtherTypeConvertsToNothing) {
    for (const int type : {0, 39, 44, -1, std::numeric_limits<int>::max()}) {
        EXPECT_EQ(static_cast<int>(Data(type)), 2147483647);
        EXPECT_FALSE(static_cast<bool>(Data(type)));
        EXPECT_EQ(BitsOf(static_cast<double>(Data(type))), 0x7FEFFFFFFFFFFFFFU);
        EXPECT_EQ(static_cast<std::string>(Data(type)), "");
        EXPECT_EQ(Complaints(type), 4);
    }
}

TEST_F(VConfDataTest, IsAValue) {
    VConfData first = Data(40);
    VConfData second = first;
    _keynode_t node = Node(41);
    node.name = "other";
    first = VConfData(&node);
    EXPECT_EQ(second.GetName(), "a/key");
    EXPECT_EQ(static_cast<std::string>(second), "text");
    EXPECT_EQ(first.GetName(), "other");
    EXPECT_EQ(static_cast<int>(first), 41000);
}

} // namespace
