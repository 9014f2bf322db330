// SPDX-License-Identifier: Apache-2.0
#include "LayoutDump.h"

#include <array>
#include <cstdio>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <sys/wait.h>

namespace {

std::string Output(const std::string& command) {
    std::FILE* const pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        throw std::runtime_error("cannot run " + command);
    }
    std::string text;
    std::array<char, 65536> piece{};
    for (std::size_t length = 0; (length = fread(piece.data(), 1, piece.size(), pipe)) != 0;) {
        text.append(piece.data(), length);
    }
    const int status = pclose(pipe);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error(command + ": " + text);
    }
    return text;
}

void ReplaceAll(std::string& text, std::string_view from, std::string_view to) {
    for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at)) {
        text.replace(at, from.size(), to);
    }
}

// Versions of clang differ in these.
std::string Normalised(std::string_view printed) {
    std::string type = " " + std::string(printed);
    for (const char* keyword : {"class ", "struct ", "union ", "enum "}) {
        for (const char* before : {" ", "<", "("}) {
            ReplaceAll(type, before + std::string(keyword), before);
        }
    }
    ReplaceAll(type, "_Bool", "bool");
    ReplaceAll(type, "(void)", "()");
    ReplaceAll(type, " >", ">");
    ReplaceAll(type, " *", "*");
    return type.substr(1);
}

// What stands behind the bar in "  12 | text", with its blanks.
std::optional<std::string> BehindBar(const std::string& line) {
    const auto bar = line.find(" | ");
    const auto number = line.find_first_not_of(' ');
    if (bar == std::string::npos || number >= bar ||
        line.find_first_not_of("0123456789:-", number) != bar) {
        return {};
    }
    return line.substr(bar + 3);
}

// "bool Class::Operation(int) [pure]" becomes "Class::Operation [pure]". What stands between < and
// > belongs to the name, its blanks too.
std::string OperationName(const std::string& entry) {
    const auto before = entry.substr(0, entry.find('('));
    auto start = before.size();
    for (int depth = 0; start != 0 && (before[start - 1] != ' ' || depth != 0); --start) {
        depth += before[start - 1] == '>' ? 1 : 0;
        depth -= before[start - 1] == '<' ? 1 : 0;
    }
    std::string name = before.substr(start);
    name.erase(0, name.find_first_not_of("*&"));
    for (const char* remark : {" [pure]", " [complete]", " [deleting]"}) {
        if (entry.ends_with(remark)) {
            name += remark;
        }
    }
    return name;
}

} // namespace

LayoutDump::LayoutDump(const std::string& clang, const std::string& flags,
                       const std::string& source) {
    const std::string command =
        "'" + clang + "' '@" + flags + "' -c -o /dev/null '" + source + "' -Xclang ";
    ReadTables(Output(command + "-fdump-vtable-layouts 2>&1"));
    ReadRecords(Output(command + "-fdump-record-layouts 2>&1"));
}

LayoutDump::Tables LayoutDump::VirtualTables(const std::string& className) const {
    const auto found = m_tables.find(className);
    return found == m_tables.end() ? Tables() : found->second;
}

std::vector<std::string> LayoutDump::Fields(const std::string& className) const {
    const auto found = m_fields.find(className);
    return found == m_fields.end() ? std::vector<std::string>() : found->second;
}

std::vector<std::string> LayoutDump::Bases(const std::string& className) const {
    const auto found = m_bases.find(className);
    return found == m_bases.end() ? std::vector<std::string>() : found->second;
}

void LayoutDump::ReadTables(const std::string& text) {
    constexpr std::string_view HEAD = "Vtable for '";
    std::istringstream lines(text);
    Tables* tables = nullptr;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(HEAD)) {
            tables = &m_tables[line.substr(HEAD.size(), line.rfind('\'') - HEAD.size())];
            tables->clear();
        } else if (line.empty()) {
            tables = nullptr;
        } else if (const auto entry = BehindBar(line); tables != nullptr && entry) {
            if (entry->starts_with("offset_to_top")) {
                tables->emplace_back();
            } else if (!entry->starts_with("vbase_offset") && !entry->starts_with("vcall_offset") &&
                       !entry->ends_with(" RTTI")) {
                tables->back().push_back(OperationName(*entry));
            }
        }
    }
}

// The first line behind "*** Dumping" names the class. Its bases and fields stand one step to the
// right of it, and what is inside of them further.
void LayoutDump::ReadRecords(const std::string& text) {
    std::istringstream lines(text);
    std::string current;
    bool isHead = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("*** Dumping")) {
            isHead = true;
            continue;
        }
        const auto entry = BehindBar(line);
        if (!entry) {
            continue;
        }
        if (isHead) {
            isHead = false;
            current = Normalised(*entry);
            m_fields[current].clear();
            m_bases[current].clear();
        } else if (entry->starts_with("  ") && !entry->starts_with("   ")) {
            AddMember(current, entry->substr(2));
        }
    }
}

void LayoutDump::AddMember(const std::string& className, std::string member) {
    constexpr std::string_view EMPTY = " (empty)";
    if (member.ends_with(" vtable pointer)")) {
        return;
    }
    if (member.ends_with(EMPTY)) {
        member.resize(member.size() - EMPTY.size());
    }
    if (member.ends_with(" base)") || member.ends_with(" (base)")) {
        m_bases[className].push_back(Normalised(member.substr(0, member.rfind(" ("))));
    } else {
        m_fields[className].push_back(Normalised(member));
    }
}
