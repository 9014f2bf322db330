// SPDX-License-Identifier: Apache-2.0

#include "ProjectTemplate.h"

#include <cerrno>
#include <optional>
#include <string_view>
#include <vector>

#include "Failure.h"
#include "Output.h"
#include "ServiceName.h"
#include "TextFile.h"

namespace hearthctl {

namespace fs = std::filesystem;

namespace {

constexpr const char* LISTENERS = "listeners";
constexpr std::string_view LISTENER_END = "Listener.h";

[[noreturn]] void FailToRead(const fs::path& path, const std::error_code& error) {
    throw Failure(ExitStatus::FAILED,
                  "cannot read the template " + path.string() + ": " + error.message());
}

std::vector<fs::path> FilesOf(const fs::path& folder) {
    std::error_code error;
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        files.push_back(entry.path());
    }
    if (error) {
        FailToRead(folder, error);
    }
    return files;
}

std::string Read(const fs::path& path) {
    const std::optional<std::string> text = ReadTextFile(path);
    if (!text) {
        FailToRead(path, std::error_code(errno, std::generic_category()));
    }
    return *text;
}

std::string ListenerFile(const std::string& source) {
    return ClassName(source).append(LISTENER_END);
}

void Replace(std::string& text, const std::string& what, const std::string& by) {
    for (std::size_t at = text.find(what); at != std::string::npos;
         at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
}

// `word`, which is the name of a service or of a source, in the place of `placeholder`, and of both
// as the beginnings of classes.
std::string Fill(std::string text, const std::string& placeholder, const std::string& word) {
    Replace(text, placeholder, word);
    Replace(text, ClassName(placeholder), ClassName(word));
    return text;
}

std::string RepeatForSources(const std::string& text, const std::set<std::string>& sources) {
    std::string result;
    for (const std::string& line : Lines(text)) {
        if (Fill(line, "anything", "") == line) {
            result += line + '\n';
            continue;
        }
        for (const std::string& source : sources) {
            result += Fill(line, "anything", source) + '\n';
        }
    }
    return result;
}

} // namespace

std::set<std::string> ProjectTemplate::Sources() const {
    std::set<std::string> sources;
    for (const fs::path& path : FilesOf(m_folder / LISTENERS)) {
        std::string name = path.filename().string();
        if (name.ends_with(LISTENER_END)) {
            name.resize(name.size() - LISTENER_END.size());
            name.front() = static_cast<char>(name.front() - 'A' + 'a');
            sources.insert(name);
        }
    }
    return sources;
}

ProjectTemplate::Files ProjectTemplate::Project(const std::string& service,
                                                const std::set<std::string>& sources) const {
    std::vector<fs::path> paths = FilesOf(m_folder / "common");
    for (const fs::path& path : FilesOf(m_folder / (sources.empty() ? "plain" : "listening"))) {
        paths.push_back(path);
    }
    for (const std::string& source : sources) {
        paths.push_back(m_folder / LISTENERS / ListenerFile(source));
    }
    Files files;
    for (const fs::path& path : paths) {
        files[Fill(path.filename().string(), "sample", service)] =
            Fill(RepeatForSources(Read(path), sources), "sample", service);
    }
    return files;
}

} // namespace hearthctl
