// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "SenderNames.h"

namespace {

using Quill::SenderNames;

TEST(SenderNames, ReportsTheUniqueNameOfWhoHasNoOther) {
    EXPECT_EQ(SenderNames().NameOf(":1.5"), ":1.5");
}

TEST(SenderNames, FollowsANameFromOwnerToOwner) {
    SenderNames names;
    names.OwnerChanged("marrow.a", ":1.5");
    EXPECT_EQ(names.NameOf(":1.5"), "marrow.a");
    names.OwnerChanged("marrow.a", ":1.6");
    EXPECT_EQ(names.NameOf(":1.5"), ":1.5");
    EXPECT_EQ(names.NameOf(":1.6"), "marrow.a");
    names.OwnerChanged("marrow.a", "");
    EXPECT_EQ(names.NameOf(":1.6"), ":1.6");
    names.OwnerChanged("marrow.a", "");
}

TEST(SenderNames, KnowsTheOwnerOfEachOfItsNames) {
    SenderNames names;
    names.OwnerChanged("marrow.a", ":1.5");
    names.OwnerChanged("marrow.b", ":1.5");
    EXPECT_TRUE(names.IsOwner(":1.5", "marrow.b"));
    EXPECT_FALSE(names.IsOwner(":1.6", "marrow.b"));
    EXPECT_FALSE(names.IsOwner(":1.5", "marrow.c"));
    names.OwnerChanged("marrow.b", ":1.6");
    EXPECT_FALSE(names.IsOwner(":1.5", "marrow.b"));
}

TEST(SenderNames, KeepsToTheNameThatAConnectionHasHadLongest) {
    SenderNames names;
    names.OwnerChanged("marrow.b", ":1.5");
    names.OwnerChanged("marrow.a", ":1.5");
    names.OwnerChanged("marrow.b", ":1.5");
    EXPECT_EQ(names.NameOf(":1.5"), "marrow.b");
    names.OwnerChanged("marrow.b", "");
    EXPECT_EQ(names.NameOf(":1.5"), "marrow.a");
}

} // namespace
