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
    /// `device` is an empty file. The dumps go to `folder`.
    Beacon(const std::string& device, std::string folder, int keep = 50);

    /// Why it doesn't run; empty where it does. Waits until one of the two is known.
    std::string Trouble();

    /// The finished dumps, the oldest first.
    std::vector<std::filesystem::path> Dumps() const;
    /// Waits until there are that many, and returns the text of the newest.
    std::string WaitForDump(std::size_t count = 1) const;
    /// What its log says.
    std::string Log() const { return m_program.Errors(); }

    void Kill() { m_program.Signal(9); }
    int End();

private:
    const std::string m_folder;
    Program m_program;
};
