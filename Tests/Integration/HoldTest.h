// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ServiceTest.h"

#include <filesystem>
#include <fstream>

#include "TemporaryFolder.h"

/// The service "held", which stands still where a test wants it to, and "probe", which is started
/// ahead of it.
class HoldTest : public ServiceTest {
protected:
    HoldTest() {
        daemon.SetEnvironment("HEARTHD_TEST_HOLDS", m_folder.Path().string());
        daemon.AddService("probe", {.library = "libprobe.so", .priority = 9});
    }
    ~HoldTest() override { std::filesystem::remove_all(m_folder.Path()); } // lets go of everything

    void Hold(const std::string& place) const { std::ofstream{m_folder.Path() / place}; }
    bool IsHeldIn(const std::string& place, int count = 1) const {
        return daemon.WaitForOutput("held in " + place, count);
    }
    void LetGoOf(const std::string& place) const {
        std::filesystem::remove(m_folder.Path() / place);
        EXPECT_TRUE(daemon.WaitForOutput("loose from " + place));
    }

    // A client of its own: what others have sent may be waiting.
    static void ExpectProbeAnswers() {
        RawClient other;
        EXPECT_EQ(other.Call(ROUTER, "probe", R"({"a":1})").payload, R"({"a":1})");
    }

private:
    TemporaryFolder m_folder;
};
