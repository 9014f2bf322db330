// SPDX-License-Identifier: Apache-2.0
#include "ProcedureName.h"

#include <array>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <link.h>
#include <memory>
#include <string>

namespace {

constexpr const char* PROCEDURE = "ProcedureOfTheLibrary";

struct CloseLibrary {
    void operator()(void* library) const { dlclose(library); }
};
using Library = std::unique_ptr<void, CloseLibrary>;

Library Open(const char* path) {
    Library library(dlopen(path, RTLD_NOW | RTLD_LOCAL));
    EXPECT_TRUE(library) << dlerror();
    return library;
}

struct Found {
    bool isThere = false;
    std::string name;
    std::uintptr_t offset = 0;
};
Found Find(const void* address, std::size_t room = 256) {
    std::array<char, 256> name{};
    Found found;
    found.isThere =
        ProcedureName(reinterpret_cast<std::uintptr_t>(address), name.data(), room, found.offset);
    found.name = name.data();
    return found;
}

class ProcedureNameOf : public testing::TestWithParam<const char*> {};

TEST_P(ProcedureNameOf, ALibrarysProcedureIsFoundByAnyOfItsAddresses) {
    const Library library = Open(GetParam());
    ASSERT_TRUE(library);
    const auto* const begin = static_cast<const char*>(dlsym(library.get(), PROCEDURE));
    ASSERT_NE(begin, nullptr);
    for (const std::uintptr_t offset : {0U, 1U, 3U}) {
        const Found found = Find(begin + offset);
        EXPECT_TRUE(found.isThere);
        EXPECT_EQ(found.name, PROCEDURE);
        EXPECT_EQ(found.offset, offset);
    }
}

INSTANTIATE_TEST_SUITE_P(, ProcedureNameOf,
                         testing::Values(PROCEDURES_WITH_GNU_TABLE, PROCEDURES_WITH_OLD_TABLE));

TEST(ProcedureName, IsNoneWhereALibraryExportsNothing) {
    const Library library = Open(PROCEDURES_WITHOUT_EXPORTS);
    ASSERT_TRUE(library);
    const link_map* map = nullptr;
    ASSERT_EQ(dlinfo(library.get(), RTLD_DI_LINKMAP, static_cast<void*>(&map)), 0);
    EXPECT_FALSE(Find(map->l_ld).isThere);
}

TEST(ProcedureName, IsNoneWhereThereIsNoCode) {
    const auto memory = std::make_unique<int>(0);
    EXPECT_FALSE(Find(memory.get()).isThere);
    EXPECT_FALSE(Find(nullptr).isThere);
}

TEST(ProcedureName, IsWholeOrNone) {
    const Library library = Open(PROCEDURES_WITH_GNU_TABLE);
    ASSERT_TRUE(library);
    const void* const procedure = dlsym(library.get(), PROCEDURE);
    const std::size_t length = std::string(PROCEDURE).size();
    EXPECT_FALSE(Find(procedure, length).isThere);
    EXPECT_EQ(Find(procedure, length).name, "");
    EXPECT_EQ(Find(procedure, length + 1).name, PROCEDURE);
}

} // namespace
