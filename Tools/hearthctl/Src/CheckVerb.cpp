// SPDX-License-Identifier: Apache-2.0
#include "CheckVerb.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <set>
#include <tuple>

#include "Finding.h"
#include "LibraryCheck.h"
#include "ManifestCheck.h"
#include "ManifestKeys.h"
#include "Output.h"
#include "TextFile.h"
#include "TogetherCheck.h"

namespace hearthctl {

namespace fs = std::filesystem;

namespace {

using Severity = Finding::Severity;

bool IsManifestName(const fs::path& path) {
    return path.filename().string().find(marrow::mgr::MANIFEST_POSTFIX) != std::string::npos;
}

// The manifests, each once. What is named by hand must be there; in a folder it is the daemon's
// choice, with names in order.
std::vector<std::string> Manifests(const std::vector<std::string>& paths) {
    std::vector<std::string> manifests;
    for (const std::string& path : paths) {
        if (!fs::is_directory(path)) {
            manifests.push_back(path);
            continue;
        }
        std::set<std::string> inside;
        for (const auto& entry : fs::directory_iterator(path)) {
            if (IsManifestName(entry.path())) {
                inside.insert(entry.path());
            }
        }
        manifests.insert(manifests.end(), inside.begin(), inside.end());
    }
    std::set<fs::path> seen;
    std::erase_if(manifests, [&seen](const std::string& path) {
        return !seen.insert(fs::absolute(path).lexically_normal()).second;
    });
    return manifests;
}

// One run of the verb.
class Checker {
public:
    explicit Checker(const std::string& root) : m_libraries(root) {}

    void CheckManifest(const std::string& path) {
        CheckName(path);
        const std::optional<std::string> text = ReadTextFile(path);
        if (!text) {
            Add({{path}, Severity::ERROR, std::string("cannot read it: ") + strerror(errno)});
            return;
        }
        const ManifestCheck manifest(path, *text);
        Add(manifest.Found());
        for (const Declaration& service : manifest.Declared()) {
            CheckLibrary(service.library);
            m_declarations.push_back(service);
        }
    }

    // What has been found in all of them, in the order of the texts.
    Findings Finish() {
        Add(TogetherCheck(m_declarations).Found());
        const auto place = [](const Finding& finding) {
            return std::tie(finding.place.path, finding.place.line, finding.place.column);
        };
        std::stable_sort(
            m_findings.begin(), m_findings.end(),
            [&place](const Finding& a, const Finding& b) { return place(a) < place(b); });
        return m_findings;
    }

    void ExplainWhatIsLeftOut() const {
        if (!m_declarations.empty() && !m_libraries.Obstacle().empty()) {
            std::cerr << "hearthctl: unresolved names aren't looked for: "
                      << Printable(m_libraries.Obstacle()) << '\n';
        }
    }

private:
    void CheckName(const std::string& path) {
        if (!IsManifestName(path)) {
            Add({{path},
                 Severity::WARNING,
                 std::string("the daemon reads no file without \"") +
                     marrow::mgr::MANIFEST_POSTFIX + "\" in its name"});
        } else if (!path.ends_with(marrow::mgr::MANIFEST_POSTFIX)) {
            Add({{path},
                 Severity::WARNING,
                 std::string("the daemon reads this too: \"") + marrow::mgr::MANIFEST_POSTFIX +
                     "\" counts anywhere in a name"});
        }
    }

    void CheckLibrary(const Declaration::Text& library) {
        if (library.text.starts_with('/')) {
            for (const LibraryCheck::Fault& fault : m_libraries.Check(library.text)) {
                Add({library.place, fault.isFatal ? Severity::ERROR : Severity::WARNING,
                     fault.text});
            }
        }
    }

    void Add(const Finding& finding) { m_findings.push_back(finding); }
    void Add(const Findings& findings) {
        m_findings.insert(m_findings.end(), findings.begin(), findings.end());
    }

    const LibraryCheck m_libraries;
    std::vector<Declaration> m_declarations;
    Findings m_findings;
};

const char* NameOf(Severity severity) {
    return severity == Severity::ERROR ? "error" : "warning";
}

long CountOf(const Findings& findings, Severity severity) {
    return std::count_if(findings.begin(), findings.end(), [severity](const Finding& finding) {
        return finding.severity == severity;
    });
}

std::string Counted(long count, const std::string& what) {
    return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

void Print(const Findings& findings) {
    for (const Finding& finding : findings) {
        const std::string text = finding.place.path + ':' + std::to_string(finding.place.line) +
                                 ':' + std::to_string(finding.place.column) + ": " +
                                 NameOf(finding.severity) + ": " + finding.text;
        std::cout << Printable(text) << '\n';
    }
    if (!findings.empty()) {
        std::cout << Counted(CountOf(findings, Severity::ERROR), "error") << ", "
                  << Counted(CountOf(findings, Severity::WARNING), "warning") << '\n';
    }
}

void PrintJson(const Findings& findings) {
    Json::Value all(Json::arrayValue);
    for (const Finding& finding : findings) {
        Json::Value entry;
        entry["file"] = finding.place.path;
        entry["line"] = finding.place.line;
        entry["column"] = finding.place.column;
        entry["severity"] = NameOf(finding.severity);
        entry["text"] = finding.text;
        all.append(entry);
    }
    std::cout << CompactJson(all) << '\n';
}

// What is named by hand and isn't there is a wrong use, and no finding.
void RequireReadable(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) {
        std::error_code error;
        if (fs::is_directory(path, error)) {
            static_cast<void>(fs::directory_iterator(path, error));
        } else if (!std::ifstream(path).is_open()) {
            error = std::error_code(errno, std::generic_category());
        }
        if (error) {
            throw Failure(ExitStatus::USAGE, "cannot read " + path + ": " + error.message());
        }
    }
}

} // namespace

ExitStatus Check(const CheckOptions& options) {
    RequireReadable(options.paths);
    Checker checker(options.root);
    for (const std::string& path : Manifests(options.paths)) {
        checker.CheckManifest(path);
    }
    const Findings findings = checker.Finish();
    if (options.json) {
        PrintJson(findings);
    } else {
        Print(findings);
    }
    checker.ExplainWhatIsLeftOut();
    const bool isGood = options.strict ? findings.empty() : CountOf(findings, Severity::ERROR) == 0;
    return isGood ? ExitStatus::OK : ExitStatus::FAILED;
}

} // namespace hearthctl
