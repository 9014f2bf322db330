// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <vector>

/// What clang says of the classes in a source: the order of their virtual operations and of their
/// fields. Private ones are told too.
class LayoutDump {
public:
    /// The tables of a class, its own first and then one for each further base that has one. An
    /// entry is an operation's full name, without result and arguments, and what clang remarks:
    /// "Class::Operation [pure]".
    using Tables = std::vector<std::vector<std::string>>;

    /// Runs `clang` on `source`; `flags` names a file of further arguments. Throws
    /// std::runtime_error, with what clang says, where that fails.
    LayoutDump(const std::string& clang, const std::string& flags, const std::string& source);

    /// Empty for a class of which clang has said nothing.
    Tables VirtualTables(const std::string& className) const;
    /// "type name" of each field of the class itself, in order; bases aren't among them.
    std::vector<std::string> Fields(const std::string& className) const;
    std::vector<std::string> Bases(const std::string& className) const;

private:
    void ReadTables(const std::string& text);
    void ReadRecords(const std::string& text);
    void AddMember(const std::string& className, std::string member);

    std::map<std::string, Tables> m_tables;
    std::map<std::string, std::vector<std::string>> m_fields;
    std::map<std::string, std::vector<std::string>> m_bases;
};
