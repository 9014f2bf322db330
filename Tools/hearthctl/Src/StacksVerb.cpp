// SPDX-License-Identifier: Apache-2.0

// A dump is a text file: a line "process <id> <name>", a line "time <time>", and for each thread a
// line "thread <id> <name>" and its frames, "<id>)<address>: (<procedure>+<offset>)" or
// "<id>)<unknown>". Procedures stand there as the linker knows them.

#include "StacksVerb.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string_view>
#include <vector>

#include "Demangled.h"
#include "Output.h"

namespace hearthctl {

namespace fs = std::filesystem;

namespace {

// "(poll+0x4f)" as "poll+0x4f", with the address ahead; a line of another form as it stands.
std::string Frame(const std::string& line) {
    const std::size_t thread = line.find(')');
    std::string text = thread == std::string::npos ? line : line.substr(thread + 1);
    const std::size_t open = text.find(": (");
    const std::size_t plus = text.rfind("+0x");
    if (open == std::string::npos || plus == std::string::npos || plus < open ||
        text.back() != ')') {
        return text;
    }
    const std::string name = text.substr(open + 3, plus - open - 3);
    return text.substr(0, open) + " " + Demangled(name) + text.substr(plus, text.size() - plus - 1);
}

// Takes the word ahead of the first blank off the line.
std::string TakeWord(std::string& line) {
    const std::size_t blank = std::min(line.find(' '), line.size());
    std::string word = line.substr(0, blank);
    line.erase(0, std::min(blank + 1, line.size()));
    return word;
}

// Null where it has gone meanwhile.
Json::Value ReadDump(const fs::path& path) {
    std::ifstream file(path);
    if (!file) {
        if (!fs::exists(path)) {
            return {};
        }
        throw Failure(ExitStatus::FAILED, "cannot read " + path.string());
    }
    Json::Value dump;
    dump["file"] = path.string();
    dump["threads"] = Json::arrayValue;
    std::string line;
    while (std::getline(file, line)) {
        std::string rest = line;
        const std::string key = TakeWord(rest);
        if (key == "process") {
            dump["process"] = TakeWord(rest);
            dump["name"] = rest;
        } else if (key == "time" || key == "dropped") {
            dump[key] = rest;
        } else if (key == "thread") {
            Json::Value thread;
            thread["thread"] = TakeWord(rest);
            thread["name"] = rest;
            thread["frames"] = Json::arrayValue;
            dump["threads"].append(thread);
        } else if (!dump["threads"].empty()) {
            dump["threads"][dump["threads"].size() - 1]["frames"].append(Frame(line));
        }
    }
    return dump;
}

void Print(const Json::Value& dump) {
    std::cout << Printable(dump["name"].asString()) << " (process " << dump["process"].asString()
              << ") at " << dump["time"].asString() << '\n';
    for (const Json::Value& thread : dump["threads"]) {
        std::cout << "  " << Printable(thread["name"].asString()) << " (thread "
                  << thread["thread"].asString() << ")\n";
        int number = 0;
        for (const Json::Value& frame : thread["frames"]) {
            std::cout << "    #" << number++ << ' ' << Printable(frame.asString()) << '\n';
        }
    }
    if (dump.isMember("dropped")) {
        std::cout << "  " << dump["dropped"].asString() << " lines had no room\n";
    }
}

// The newest first: names begin with the time.
std::vector<fs::path> Dumps(const std::string& folder) {
    std::vector<fs::path> dumps;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        if (entry.path().filename().string().starts_with("dump-")) {
            dumps.push_back(entry.path());
        }
    }
    if (error) {
        throw Failure(ExitStatus::FAILED, "cannot read the dumps in " + folder + ": " +
                                              error.message() +
                                              "; hang-beacon writes them, for root to read");
    }
    std::sort(dumps.rbegin(), dumps.rend());
    return dumps;
}

} // namespace

ExitStatus Stacks(const std::string& folder, int last, bool json) {
    std::vector<fs::path> dumps = Dumps(folder);
    dumps.resize(std::min(dumps.size(), static_cast<std::size_t>(last)));
    Json::Value all(Json::arrayValue);
    for (const fs::path& path : dumps) {
        Json::Value dump = ReadDump(path);
        if (dump.isNull()) {
            continue;
        }
        if (json) {
            all.append(std::move(dump));
        } else {
            Print(dump);
        }
    }
    if (json) {
        std::cout << CompactJson(all) << '\n';
    } else if (dumps.empty()) {
        std::cerr << "hearthctl: there are no dumps in " << folder << '\n';
    }
    return ExitStatus::OK;
}

} // namespace hearthctl
