// SPDX-License-Identifier: Apache-2.0

// hearthctl: what a person does with a running daemon, and with manifests ahead of one, from a
// terminal or a script, and what its log tells.

#include <cmath>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <hearthd/HearthClient.h>

#include "CallVerbs.h"
#include "CheckVerb.h"
#include "Failure.h"
#include "MonitorVerb.h"
#include "NewVerb.h"
#include "ShellVerbs.h"
#include "StacksVerb.h"
#include "StartVerbs.h"
#include "TopVerb.h"

namespace {

using hearthctl::ExitStatus;

constexpr const char* FOOTER =
    "Exit status: 0 done, 1 refused or failed, 2 usage, 3 no daemon or no bus.\n"
    "DBUS_SYSTEM_BUS_ADDRESS names another bus than the system's.";
constexpr const char* LOG_HELP =
    "A file with the daemon's log, or - for standard input; without it, the journal of the unit "
    "hearthd";
constexpr const char* TOP_FOOTER =
    "A latency is that of the service alone, in whole milliseconds from the first one on. Refused "
    "is\n"
    "a call for a service that isn't started, or that doesn't exist. The log tells neither of "
    "calls\n"
    "that have timed out nor of replies with an error: both count as answered.";
constexpr const char* ARGUMENTS_HELP =
    "A JSON object, @FILE to read it from a file, or - from standard input";

// What the verbs are asked for.
struct Arguments {
    bool json = false;
    std::string service;
    hearthctl::CallOptions call;
    double timeout = std::chrono::duration<double>(hearthd::Client::LONGEST_WAIT).count();
    std::vector<std::string> subjects;
    int count = 0;
    std::string folder = hearthctl::DUMP_FOLDER;
    int last = 1;
    hearthctl::CheckOptions check;
    hearthctl::NewOptions newService;
    hearthctl::StartOptions start;
    hearthctl::TopOptions top;
    double interval = 1;
};

// CLI11's Range takes "nan", which lies nowhere.
std::string CheckIsNumber(const std::string& text) {
    return std::isnan(std::strtod(text.c_str(), nullptr)) ? "not a number: " + text : "";
}

CLI::App* AddVerb(CLI::App& app, const std::string& name, const std::string& description) {
    CLI::App* const verb = app.add_subcommand(name, description);
    verb->fallthrough(); // --json may stand behind the verb
    return verb;
}

void AddShellVerbs(CLI::App& app, Arguments& arguments) {
    AddVerb(app, "list", "Lists the declared services");
    AddVerb(app, "status", "Shows the states of all services, or of one")
        ->add_option("SERVICE", arguments.service, "The one service");
    const std::vector<std::pair<const char*, const char*>> changes{
        {"load", "Opens a service's library"},
        {"start", "Starts a service, and loads it first"},
        {"stop", "Stops a service"},
        {"unload", "Closes a service's library, and stops the service first"},
    };
    for (const auto& [name, description] : changes) {
        AddVerb(app, name, description)
            ->add_option("SERVICE", arguments.service, "The service's name")
            ->required();
    }
}

void AddClientVerbs(CLI::App& app, Arguments& arguments) {
    CLI::App* const call = AddVerb(app, "call", "Calls a service and prints its reply");
    call->add_option("SERVICE", arguments.call.service, "The service's name")->required();
    call->add_option("JSON", arguments.call.arguments, ARGUMENTS_HELP);
    call->add_option("--timeout", arguments.timeout, "Seconds to wait for a reply")
        ->capture_default_str()
        ->check(CLI::Range(0.001, arguments.timeout))
        ->check(CheckIsNumber);
    call->add_option("--repeat", arguments.call.repeat,
                     "Calls that often, and shows how long it took instead of the replies")
        ->check(CLI::Range(1, 1000000000));

    CLI::App* const signal = AddVerb(app, "signal", "Sends to a service and expects no reply");
    signal->add_option("SERVICE", arguments.call.service, "The service's name")->required();
    signal->add_option("JSON", arguments.call.arguments, ARGUMENTS_HELP);

    CLI::App* const monitor = AddVerb(app, "monitor", "Shows notifications as they come");
    monitor->add_option("SUBJECT", arguments.subjects, "Only those of these subjects");
    monitor->add_option("--count", arguments.count, "Ends after that many")
        ->check(CLI::Range(1, 1000000000));
}

void AddStacksVerb(CLI::App& app, Arguments& arguments) {
    CLI::App* const stacks =
        AddVerb(app, "stacks", "Shows the stacks that a process's threads have dumped");
    stacks->add_option("--last", arguments.last, "The newest N dumps")
        ->capture_default_str()
        ->check(CLI::Range(1, 1000000000));
    stacks->add_option("--folder", arguments.folder, "Where the dumps are")->capture_default_str();
}

void AddCheckVerb(CLI::App& app, Arguments& arguments) {
    CLI::App* const check =
        AddVerb(app, "check", "Tells what is wrong with manifests; no daemon is needed");
    check->add_option("PATH", arguments.check.paths, "Manifests, and folders of manifests")
        ->required();
    check->add_option("--root", arguments.check.root,
                      "Where the paths of libraries, and the daemon's, begin");
    check->add_flag("--strict", arguments.check.strict, "Fails on warnings too");
}

void AddNewVerb(CLI::App& app, Arguments& arguments) {
    CLI::App* const verb =
        AddVerb(app, "new", "Makes the project of a new service, in a folder of its name");
    verb->add_option("NAME", arguments.newService.name, "The service's name")->required();
    verb->add_option("--listen", arguments.newService.sources,
                     "Events that it listens to: captions, config, keys, pes, programs, sections "
                     "or signals; several with commas")
        ->allow_extra_args(false)
        ->delimiter(',');
}

void AddLogVerbs(CLI::App& app, Arguments& arguments) {
    CLI::App* const plot =
        AddVerb(app, "plot", "Draws the daemon's last start, service by service, as an SVG");
    plot->add_option("FILE", arguments.start.log, LOG_HELP);
    plot->add_option("-o,--output", arguments.start.output, "Where the picture goes");

    AddVerb(app, "blame", "Lists what the services took at the daemon's last start")
        ->add_option("FILE", arguments.start.log, LOG_HELP);

    CLI::App* const top = AddVerb(app, "top", "Shows how often and how fast services answer");
    top->add_option("FILE", arguments.top.log, LOG_HELP);
    top->add_option("--interval", arguments.interval, "Seconds from one table to the next")
        ->capture_default_str()
        ->check(CLI::Range(0.1, 3600.0))
        ->check(CheckIsNumber);
    top->add_flag("--once", arguments.top.once, "Ends after one interval");
    top->footer(TOP_FOOTER);
}

ExitStatus Run(const std::string& verb, Arguments& arguments) {
    if (verb == "list") {
        return hearthctl::List(arguments.json);
    }
    if (verb == "status") {
        return hearthctl::Status(arguments.service, arguments.json);
    }
    if (verb == "call") {
        arguments.call.json = arguments.json;
        arguments.call.timeout = std::chrono::duration<double>(arguments.timeout);
        return hearthctl::Call(arguments.call);
    }
    if (verb == "signal") {
        return hearthctl::Signal(arguments.call.service, arguments.call.arguments);
    }
    if (verb == "stacks") {
        return hearthctl::Stacks(arguments.folder, arguments.last, arguments.json);
    }
    if (verb == "check") {
        arguments.check.json = arguments.json;
        return hearthctl::Check(arguments.check);
    }
    if (verb == "new") {
        return hearthctl::New(arguments.newService);
    }
    if (verb == "plot") {
        return hearthctl::Plot(arguments.start);
    }
    if (verb == "blame") {
        arguments.start.json = arguments.json;
        return hearthctl::Blame(arguments.start);
    }
    if (verb == "top") {
        arguments.top.json = arguments.json;
        arguments.top.interval = std::chrono::duration<double>(arguments.interval);
        return hearthctl::Top(arguments.top);
    }
    if (verb == "monitor") {
        return hearthctl::Monitor(arguments.subjects, arguments.count, arguments.json);
    }
    return hearthctl::ChangeState(verb, arguments.service, arguments.json);
}

ExitStatus StatusOf(hearthd::Reason reason) {
    return reason == hearthd::Reason::NO_BUS || reason == hearthd::Reason::NO_DAEMON
               ? ExitStatus::NO_DAEMON
               : ExitStatus::FAILED;
}

// Throws a Failure, or what a library throws.
int RunProgram(int count, char** words) {
    Arguments arguments;
    CLI::App app("Lists, starts, stops and calls the services of a running hearthd.", "hearthctl");
    app.set_version_flag("--version", std::string("hearthctl ") + HEARTHD_VERSION);
    app.add_flag("--json", arguments.json, "Prints JSON");
    app.require_subcommand(1);
    app.footer(FOOTER);
    AddShellVerbs(app, arguments);
    AddClientVerbs(app, arguments);
    AddStacksVerb(app, arguments);
    AddCheckVerb(app, arguments);
    AddNewVerb(app, arguments);
    AddLogVerbs(app, arguments);
    try {
        app.parse(count, words);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : static_cast<int>(ExitStatus::USAGE);
    }
    const std::string verb = app.get_subcommands().front()->get_name();
    // What the bus library has to say is for who asks for it; a monitor that loses the bus tells.
    setenv("DLOG_LEVEL", verb == "monitor" ? "warn" : "off", 0);
    const ExitStatus status = Run(verb, arguments);
    std::cout << std::flush;
    if (!std::cout) {
        throw hearthctl::Failure(ExitStatus::FAILED, "cannot write to standard output");
    }
    return static_cast<int>(status);
}

} // namespace

int main(int count, char** words) {
    try {
        return RunProgram(count, words);
    } catch (const hearthctl::Failure& failure) {
        std::cerr << "hearthctl: " << failure.what() << '\n';
        return static_cast<int>(failure.Status());
    } catch (const hearthd::Failure& failure) {
        std::cerr << "hearthctl: " << failure.what() << '\n';
        return static_cast<int>(StatusOf(failure.Why()));
    } catch (const std::exception& exception) {
        std::cerr << "hearthctl: " << exception.what() << '\n';
        return static_cast<int>(ExitStatus::FAILED);
    }
}
