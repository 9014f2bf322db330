// SPDX-License-Identifier: Apache-2.0

// What the fuzzers have found stays found, and what they begin with is taken.

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <vector>

#include "Fuzz.h"

namespace {

struct Corpus {
    const char* folder;
    int (*fuzzed)(std::span<const std::uint8_t>);
};
class FuzzCorpus : public testing::TestWithParam<Corpus> {};

INSTANTIATE_TEST_SUITE_P(, FuzzCorpus,
                         testing::Values(Corpus{"ts", FuzzTransportStream},
                                         Corpus{"tables", FuzzTables}, Corpus{"json", FuzzJson},
                                         Corpus{"wire", FuzzWire}, Corpus{"manifest", FuzzManifest},
                                         Corpus{"vconf", FuzzConfiguration},
                                         Corpus{"crashfile", FuzzCrashFile},
                                         Corpus{"pipe", FuzzPipe}),
                         [](const auto& parameter) { return parameter.param.folder; });

TEST_P(FuzzCorpus, IsTaken) {
    std::size_t files = 0;
    const std::filesystem::path folder = std::filesystem::path(HEARTHD_CORPUS) / GetParam().folder;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        SCOPED_TRACE(entry.path());
        std::ifstream file(entry.path(), std::ios::binary);
        const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(file),
                                              std::istreambuf_iterator<char>()};
        EXPECT_FALSE(bytes.empty());
        EXPECT_EQ(GetParam().fuzzed(bytes), 0);
        ++files;
    }
    EXPECT_GT(files, 0U);
}

} // namespace
