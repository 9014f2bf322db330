// SPDX-License-Identifier: Apache-2.0
#include "ConsoleBlocks.h"

#include <fstream>
#include <regex>
#include <sstream>
#include <string_view>

namespace {

constexpr std::string_view BEGIN = "```console";
constexpr std::string_view END = "```";
constexpr std::string_view COMMAND = "$ ";
constexpr std::string_view MORE = "> ";
constexpr std::string_view ANYTHING = "...";

void AddLine(std::string_view text, int number, std::vector<ConsoleCommand>& commands) {
    if (text.starts_with(COMMAND)) {
        commands.push_back({number, std::string(text.substr(COMMAND.size())), {}});
    } else if (!commands.empty() && commands.back().output.empty() && text.starts_with(MORE)) {
        commands.back().text.append("\n").append(text.substr(MORE.size()));
    } else if (!commands.empty()) {
        commands.back().output.emplace_back(text);
    }
}

std::string OneBlankBetweenWords(const std::string& line) {
    std::istringstream words(line);
    std::string result;
    for (std::string word; words >> word;) {
        result.append(result.empty() ? "" : " ").append(word);
    }
    return result;
}

bool Matches(const std::string& said, const std::string& written) {
    static const std::regex special(R"([\[\]{}()*+?^$|\\])");
    static const std::regex anything(R"(\.\.\.)");
    static const std::regex dot(R"(\.(?!\*))");
    std::string pattern = std::regex_replace(OneBlankBetweenWords(said), special, R"(\$&)");
    pattern = std::regex_replace(pattern, anything, "\x01");
    pattern = std::regex_replace(pattern, dot, R"(\.)");
    pattern = std::regex_replace(pattern, std::regex("\x01"), ".*");
    return std::regex_match(OneBlankBetweenWords(written), std::regex(pattern));
}

using Lines = std::vector<std::string>::const_iterator;

bool LinesMatch(Lines said, Lines saidEnd, Lines written, Lines writtenEnd) {
    if (said == saidEnd) {
        return written == writtenEnd;
    }
    if (*said == ANYTHING) {
        return LinesMatch(said + 1, saidEnd, written, writtenEnd) ||
               (written != writtenEnd && LinesMatch(said, saidEnd, written + 1, writtenEnd));
    }
    return written != writtenEnd && Matches(*said, *written) &&
           LinesMatch(said + 1, saidEnd, written + 1, writtenEnd);
}

} // namespace

std::vector<ConsoleCommand> ReadConsoleBlocks(const std::filesystem::path& file) {
    std::vector<ConsoleCommand> commands;
    std::ifstream stream(file);
    bool isInside = false;
    int number = 0;
    for (std::string line; std::getline(stream, line);) {
        ++number;
        if (!isInside) {
            isInside = line == BEGIN;
        } else if (line == END) {
            isInside = false;
        } else {
            AddLine(line, number, commands);
        }
    }
    return commands;
}

bool IsAsSaid(const std::vector<std::string>& said, const std::vector<std::string>& written) {
    return said.empty() || LinesMatch(said.begin(), said.end(), written.begin(), written.end());
}
