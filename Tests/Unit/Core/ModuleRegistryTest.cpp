// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "ModuleAccessor.h"
#include "ModuleClass.h"

namespace {

class IThing : public IModule {};

TEST(ModuleAccessor, YieldsNullWithNothingRegisteredAndTriesAgain) {
    EXPECT_EQ(ModuleAccessor<IThing>::Get(), nullptr);
}

} // namespace
