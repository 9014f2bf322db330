// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "Declaration.h"
#include "Finding.h"

namespace hearthctl {

/// What only all manifests together show: names and libraries that are declared twice, and
/// dependencies that the order of the start doesn't honour. The daemon goes by the priorities
/// alone.
class TogetherCheck {
public:
    /// The declarations stay where they are as long as this object is there.
    explicit TogetherCheck(const std::vector<Declaration>& declarations);

    const Findings& Found() const { return m_findings; }

private:
    using Severity = Finding::Severity;
    using Names = std::vector<std::string>;

    void CheckLibraries();
    void CheckDependency(const Declaration& service, const Declaration::Text& dependency);
    void CheckOrder(const Declaration& service, const Declaration& needed, const Place& place);
    void AddCycle(const std::string& first, const Names& others, const Place& place);
    // From `from` to `to` along dependencies, with both ends; empty where no way leads there.
    Names Way(const std::string& from, const std::string& to) const;

    void Add(Severity severity, const Place& place, const std::string& text);

    const std::vector<Declaration>& m_declarations;
    std::map<std::string, const Declaration*> m_services; // the first of each name
    std::set<std::set<std::string>> m_cycles;             // that have been told
    Findings m_findings;
};

} // namespace hearthctl
