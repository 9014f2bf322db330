// SPDX-License-Identifier: Apache-2.0

// The debug shell answers in plain text. What a line says is told by its beginning or by its end,
// and a text that isn't understood is shown all the same. Services come in the order in which the
// daemon has found their manifests in the folder, which is any; people get them by their names.

#include "ShellVerbs.h"

#include <algorithm>
#include <array>
#include <iostream>
#include <optional>
#include <string_view>
#include <unistd.h>

#include <hearthd/HearthClient.h>

#include "Output.h"

namespace hearthctl {

namespace {

constexpr const char* DEBUG_SHELL = "debugshell_C";
constexpr const char* COMMAND_TAG = "org.norvane.services.debugshell.command.tag";
constexpr const char* SERVICE_COMMAND = "service-command";
constexpr std::string_view NO_SERVICES = "There is no services to list.\n";
constexpr std::string_view CHANGED = "State successfully changed to ";
constexpr std::string_view GAP = "   ";
constexpr std::array<std::string_view, 3> STATES{"not-load", "loaded", "started"};

std::string Ask(const std::string& function, const std::string& service) {
    hearthd::Client client;
    Json::Value command;
    command[COMMAND_TAG] = SERVICE_COMMAND;
    command["function"] = function;
    command["service"] = service;
    const Json::Value reply = client.CallEndpoint(DEBUG_SHELL, {}, command);
    if (!reply.isObject() || !reply["return"].isString()) {
        throw Failure(ExitStatus::FAILED, "the debug shell has no command " +
                                              std::string(SERVICE_COMMAND) + " yet: try again");
    }
    return reply["return"].asString();
}

// A line of the form "<name>   <state>", where the name is padded with blanks.
std::optional<Row> ParseState(std::string_view line) {
    for (const std::string_view state : STATES) {
        const std::string end = std::string(GAP).append(state);
        if (line.ends_with(end)) {
            line.remove_suffix(end.size());
            const std::size_t last = line.find_last_not_of(' ');
            return Row(line.substr(0, last == std::string_view::npos ? 0 : last + 1), state);
        }
    }
    return std::nullopt;
}

} // namespace

ExitStatus List(bool json) {
    const std::string answer = Ask("list-services", {});
    const std::vector<std::string> names =
        answer == NO_SERVICES ? std::vector<std::string>() : Lines(answer);
    if (json) {
        Json::Value array(Json::arrayValue);
        for (const std::string& name : names) {
            array.append(name);
        }
        std::cout << CompactJson(array) << '\n';
    } else if (names.empty() || !IsTerminal(STDOUT_FILENO)) {
        std::cout << answer;
    } else {
        std::vector<Row> rows;
        rows.reserve(names.size());
        for (const std::string& name : names) {
            rows.emplace_back(Printable(name), "");
        }
        std::sort(rows.begin(), rows.end());
        PrintTable({"SERVICE", ""}, rows);
    }
    return ExitStatus::OK;
}

ExitStatus Status(const std::string& service, bool json) {
    const std::string answer = Ask("list-services-status", service);
    std::vector<Row> rows;
    bool understood = true;
    for (const std::string& line :
         answer == NO_SERVICES ? std::vector<std::string>() : Lines(answer)) {
        const std::optional<Row> row = ParseState(line);
        understood = understood && row.has_value();
        rows.push_back(row.value_or(Row()));
    }
    if (!understood) { // there is no such service
        std::cerr << "hearthctl: " << answer;
        return ExitStatus::FAILED;
    }
    if (json) {
        Json::Value array(Json::arrayValue);
        for (const auto& [name, state] : rows) {
            Json::Value entry;
            entry["service"] = name;
            entry["state"] = state;
            array.append(entry);
        }
        std::cout << CompactJson(array) << '\n';
    } else if (rows.empty() || !IsTerminal(STDOUT_FILENO)) {
        std::cout << answer;
    } else {
        for (Row& row : rows) {
            row.first = Printable(row.first);
        }
        std::sort(rows.begin(), rows.end());
        PrintTable({"SERVICE", "STATE"}, rows);
    }
    return ExitStatus::OK;
}

// One step or two, each with a line of its own; how the last one went is how it has ended.
ExitStatus ChangeState(const std::string& verb, const std::string& service, bool json) {
    const std::string answer = Ask("status-" + verb, service);
    const std::vector<std::string> lines = Lines(answer);
    const bool changed = !lines.empty() && lines.back().starts_with(CHANGED);
    if (json) {
        Json::Value result;
        result["changed"] = changed;
        result["answer"] = Json::arrayValue;
        for (const std::string& line : lines) {
            result["answer"].append(line);
        }
        std::cout << CompactJson(result) << '\n';
    } else {
        std::cout << answer;
    }
    return changed ? ExitStatus::OK : ExitStatus::FAILED;
}

} // namespace hearthctl
