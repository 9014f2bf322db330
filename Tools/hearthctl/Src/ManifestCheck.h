// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

#include "Declaration.h"
#include "Finding.h"
#include "ManifestText.h"

namespace hearthctl {

/// One manifest, read as the daemon reads it, and told what the daemon doesn't tell: what ends it,
/// what it passes over and what it takes for something else. Whether the libraries are any good
/// isn't looked at.
class ManifestCheck {
public:
    ManifestCheck(const std::string& path, std::string text);

    const Findings& Found() const { return m_findings; }
    /// What the daemon would take, as far as it gets.
    const std::vector<Declaration>& Declared() const { return m_declarations; }

private:
    using Severity = Finding::Severity;

    void CheckRoot();
    void CheckRepetitions(const Json::Value& object, Severity severity);
    void CheckService(const std::string& name, const Place& place, const Json::Value& service);
    void CheckKeys(const Json::Value& service);
    void CheckLibrary(const Json::Value& service, Declaration& declaration);
    void CheckLoadType(const Json::Value& service);
    void CheckLaunchType(const Json::Value& service, Declaration& declaration);
    void CheckPriority(const Json::Value& service, Declaration& declaration);
    void CheckDependencies(const Json::Value& service, Declaration& declaration);

    // A member as the daemon takes it. Nothing where it is absent, or ends the daemon.
    std::optional<int> Number(const Json::Value& service, const char* key);
    std::optional<std::string> Text(const std::string& what, const Json::Value& value);

    void Add(Severity severity, const Place& place, const std::string& text);

    const ManifestText m_text;
    Findings m_findings;
    std::vector<Declaration> m_declarations;
};

} // namespace hearthctl
