// SPDX-License-Identifier: Apache-2.0

#include "NewVerb.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <system_error>
#include <unistd.h>

#include "ProjectTemplate.h"
#include "ServiceName.h"

namespace hearthctl {

namespace fs = std::filesystem;

namespace {

// Beside this program, wherever the tree that it is installed in lies.
fs::path TemplateFolder() {
    return fs::read_symlink("/proc/self/exe").parent_path() / HEARTHCTL_TEMPLATES;
}

void CheckName(const std::string& name) {
    const std::string wrong = WrongInServiceName(name);
    if (!wrong.empty()) {
        throw Failure(ExitStatus::USAGE, "'" + name + "' can't be a service's name: " + wrong);
    }
    std::error_code error;
    if (fs::exists(fs::symlink_status(name, error))) {
        throw Failure(ExitStatus::FAILED, name + " exists");
    }
}

std::string Enumeration(const std::set<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : ", ") + word;
    }
    return text;
}

std::set<std::string> CheckedSources(const std::vector<std::string>& asked,
                                     const std::set<std::string>& known) {
    for (const std::string& source : asked) {
        if (!known.contains(source)) {
            throw Failure(ExitStatus::USAGE, "there is nothing called '" + source +
                                                 "' to listen to; there are " + Enumeration(known));
        }
    }
    return {asked.begin(), asked.end()};
}

void Write(const fs::path& path, const std::string& text) {
    std::ofstream file(path);
    file << text << std::flush;
    if (!file) {
        throw fs::filesystem_error("", path, std::error_code(errno, std::generic_category()));
    }
}

// Under another name until it is whole.
void WriteProject(const std::string& name, const ProjectTemplate::Files& files) {
    const fs::path unfinished = "." + name + "." + std::to_string(getpid());
    try {
        fs::create_directory(unfinished);
        for (const auto& [file, text] : files) {
            Write(unfinished / file, text);
        }
        fs::rename(unfinished, name);
    } catch (const fs::filesystem_error& error) {
        std::error_code ignored;
        fs::remove_all(unfinished, ignored);
        throw Failure(ExitStatus::FAILED, "cannot make " + name + ": " + error.code().message());
    }
}

} // namespace

ExitStatus New(const NewOptions& options) {
    CheckName(options.name);
    const ProjectTemplate project(TemplateFolder());
    const std::set<std::string> sources = CheckedSources(options.sources, project.Sources());
    WriteProject(options.name, project.Project(options.name, sources));
    std::cout << options.name << " is made. To build and test it, and to install it:\n\n"
              << "    cd " << options.name << '\n'
              << "    cmake --workflow --preset default\n"
              << "    DESTDIR=$PWD/root cmake --install build\n";
    return ExitStatus::OK;
}

} // namespace hearthctl
