// SPDX-License-Identifier: Apache-2.0
#include "UnderValgrind.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string_view>

#include "Patience.h"
#include "ReadFile.h"

namespace fs = std::filesystem;

std::vector<std::string> ValgrindCommand(const std::string& folder) {
    if (TestTool() == nullptr) {
        return {};
    }
    fs::create_directories(folder);
    return {HEARTHD_RUN_VALGRIND, TestTool(), folder};
}

bool ReportsAtItsEnd() {
    return TestTool() != nullptr && TestTool() == std::string_view("memcheck");
}

void ExpectCleanReports(const std::string& folder) {
    if (!fs::exists(folder)) {
        return;
    }
    for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string report = ReadFile(entry.path().string());
        const bool tellsOfAnError = report.find("@error") != std::string::npos;
        const bool isWhole =
            !ReportsAtItsEnd() || report.find("ERROR SUMMARY") != std::string::npos;
        if (tellsOfAnError || !isWhole) {
            ADD_FAILURE() << TestTool() << " on a daemon:\n" << report;
        }
    }
}
