// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ElfFile.h"
#include "LoadTrial.h"

namespace hearthctl {

/// Looks whether the daemon can load services' libraries, and close them again. None of them runs:
/// what they do when they run, and whether their two variables are null then, isn't seen.
class LibraryCheck {
public:
    struct Fault {
        bool isFatal = true; ///< for the service
        std::string text;
    };

    /// Paths of libraries and of the daemon begin in `root`: empty for this machine's own.
    explicit LibraryCheck(std::string root);

    std::vector<Fault> Check(const std::string& path) const;
    /// Why unresolved names aren't looked for; empty where they are.
    const std::string& Obstacle() const { return m_obstacle; }

private:
    void CheckMachine(const ElfFile& library) const;
    std::vector<Fault> Tried(const std::string& path) const;

    const std::string m_root;
    std::optional<ElfFile> m_reference; // the daemon, or this program where that isn't there
    std::optional<LoadTrial> m_trial;
    std::string m_obstacle;
};

} // namespace hearthctl
