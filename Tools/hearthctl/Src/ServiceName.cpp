// SPDX-License-Identifier: Apache-2.0

#include "ServiceName.h"

#include <algorithm>
#include <array>

namespace hearthctl {

namespace {

constexpr std::size_t LONGEST = 64;
constexpr std::array CMAKE_TARGETS{
    "all",           "clean",          "edit_cache",
    "help",          "install",        "list_install_components",
    "package",       "package_source", "preinstall",
    "rebuild_cache", "test",
};

// Without the locale: "é" is no letter of an identifier.
bool IsSmallLetter(char character) {
    return character >= 'a' && character <= 'z';
}

bool IsDigit(char character) {
    return character >= '0' && character <= '9';
}

bool IsAllowed(char character) {
    return IsSmallLetter(character) || IsDigit(character) || character == '_';
}

char ToCapital(char letter) {
    return IsSmallLetter(letter) ? static_cast<char>(letter - 'a' + 'A') : letter;
}

} // namespace

std::string WrongInServiceName(const std::string& name) {
    if (name.empty() || !IsSmallLetter(name.front()) || !std::ranges::all_of(name, IsAllowed)) {
        return "a name has small letters, digits and _, and begins with a letter";
    }
    if (name.size() > LONGEST) {
        return "a name has at most " + std::to_string(LONGEST) + " characters";
    }
    if (std::ranges::find(CMAKE_TARGETS, name) != CMAKE_TARGETS.end()) {
        return "CMake has a target of that name";
    }
    return {};
}

std::string ClassName(const std::string& serviceName) {
    std::string name;
    bool beginsWord = true;
    for (const char character : serviceName) {
        if (character != '_') {
            name += beginsWord ? ToCapital(character) : character;
        }
        beginsWord = character == '_';
    }
    return name;
}

} // namespace hearthctl
