// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <map>
#include <set>
#include <string>

namespace hearthctl {

/// The files of which a service's project is made: those of a service called "sample".
///
/// - `common` is in every project, `plain` in one without listeners, `listening` in the others.
/// - `listeners` has a file for each source of events, of which a project gets what it listens to:
///   "KeysListener.h" for the source "keys".
/// - "sample" and "Sample" stand for the service's name and its classes' in texts and file names.
/// - A line that has "anything" or "Anything" stands there once for each source listened to.
///
/// One thread. What cannot be read is a Failure.
class ProjectTemplate {
public:
    explicit ProjectTemplate(std::filesystem::path folder) : m_folder(std::move(folder)) {}

    /// Everything that can be listened to.
    std::set<std::string> Sources() const;

    /// Texts by file name.
    using Files = std::map<std::string, std::string>;

    /// The project of a service, which listens to these of the sources.
    Files Project(const std::string& service, const std::set<std::string>& sources) const;

private:
    std::filesystem::path m_folder;
};

} // namespace hearthctl
