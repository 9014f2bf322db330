// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace hearthctl {

/// Has the daemon's own loader bind libraries beside the daemon, and hears what it says to them.
///
/// The loader does that in a process of its own which ends ahead of the first constructor: neither
/// the daemon nor the library runs. (What a library has for choosing between variants of a function
/// while it is bound, and nothing else of it, does.)
class LoadTrial {
public:
    struct Result {
        std::vector<std::string> missing;    ///< libraries that it needs
        std::vector<std::string> unresolved; ///< names, demangled
        std::vector<std::string> others;     ///< in the loader's own words
    };

    /// Throws ElfFile::Unusable where the daemon itself isn't there, or can't be bound.
    explicit LoadTrial(const std::string& daemon);

    /// Whether the loader can be told of such a path: blanks and colons are separators for it.
    static bool CanTry(const std::string& library);
    /// Throws std::system_error where no process can be started.
    Result Try(const std::string& library) const;

private:
    const std::string m_daemon;
    const std::string m_loader;
};

} // namespace hearthctl
