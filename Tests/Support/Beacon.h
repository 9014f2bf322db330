// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Program.h"

/// The deadlock watchdog's device, served on a file of the test's own. It ends with this object.
class Beacon {
public:
    /// What keeps `folder`'s dumps instead of this, for a command of its own: see
    /// BeaconLauncher.cpp.
    static std::vector<std::string> Launcher(const std::string& device, const std::string& folder) {
        return {HEARTHD_BEACON_LAUNCHER, device, folder};
    }
    /// The finished dumps in a folder, the oldest first.
    static std::vector<std::filesystem::path> DumpsIn(const std::string& folder);
    /// Waits until there are that many, and returns the text of the newest.
    static std::string WaitForDumpIn(const std::string& folder, std::size_t count = 1);

    /// `device` is an empty file. The dumps go to `folder`.
    Beacon(const std::string& device, std::string folder, int keep = 50);

    /// Why it doesn't run; empty where it does. Waits until one of the two is known.
    std::string Trouble();

    std::vector<std::filesystem::path> Dumps() const { return DumpsIn(m_folder); }
    std::string WaitForDump(std::size_t count = 1) const { return WaitForDumpIn(m_folder, count); }
    /// What its log says.
    std::string Log() const { return m_program.Errors(); }

    void Kill() { m_program.Signal(9); }
    int End();
    /// Its exit status, once it has ended by itself.
    int WaitForEnd() { return m_program.Wait(); }

private:
    const std::string m_folder;
    Program m_program;
};
