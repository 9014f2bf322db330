// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fstream>
#include <gtest/gtest.h>
#include <string>

#include "HostedProbe.h"
#include "LogCapture.h"
#include "ServiceInfo.h"

/// Tests with the service libraries of Tests/Support/Services.
class HostedLibrary : public testing::Test {
protected:
    HostedLibrary() {
        HostedProbe::Get().Reset();
        LogCapture::Clear();
    }
    ~HostedLibrary() override { HostedProbe::Get().Reset(); }

    static std::string PathOf(const std::string& library) {
        return std::string(UNIT_TEST_SERVICES) + "/libunit_" + library + ".so";
    }

    static marrow::ser::service_info_t InfoOf(const std::string& library,
                                              const std::string& service) {
        marrow::ser::service_info_t info;
        info.service_name = service;
        info.lib_path = PathOf(library);
        return info;
    }

    /// Whether any part of the file stands in this process's memory.
    static bool IsMapped(const std::string& library) {
        std::ifstream maps("/proc/self/maps");
        const std::string path = PathOf(library);
        for (std::string line; std::getline(maps, line);) {
            if (line.ends_with(path)) {
                return true;
            }
        }
        return false;
    }
};
