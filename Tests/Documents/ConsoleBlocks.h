// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// A command of a document, and what the document says that it writes.
struct ConsoleCommand {
    int line = 0;     ///< in the file, from 1 on
    std::string text; ///< for a shell; more than one line where the document goes on with "> "
    std::vector<std::string> output;
};

/// The commands of all blocks in a Markdown file that begin with "```console": what stands behind
/// "$ ", and the lines below it up to the next command.
std::vector<ConsoleCommand> ReadConsoleBlocks(const std::filesystem::path& file);

/// Whether a command has written what is said. A line "..." stands for any lines or none, "..." in
/// a line for any text; how many blanks part two words doesn't matter. Where nothing is said, any
/// output is right.
bool IsAsSaid(const std::vector<std::string>& said, const std::vector<std::string>& written);
