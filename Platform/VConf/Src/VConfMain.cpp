// SPDX-License-Identifier: Apache-2.0

// vconf: the configuration store for people and scripts.
//
//     vconf list db/audio
//     vconf set db/audio/volume 30
//     vconf watch

#include <csignal>
#include <ctime>
#include <exception>
#include <iostream>
#include <set>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "LazyStore.h"
#include "StoreDefaults.h"
#include "StoreError.h"
#include "ValueText.h"
#include "WatchVerb.h"

namespace {

using namespace vconf;

enum ExitStatus : int { DONE = 0, FAILED = 1, USAGE = 2, NO_STORE = 3 };

constexpr const char* FOOTER =
    "A value's type is string, int, double or bool. Keys below memory/ end when the machine\n"
    "restarts. VCONF_DATABASE names another store than /var/lib/vconf/vconf.db.\n"
    "Exit status: 0 done, 1 no such key or refused, 2 usage, 3 the store can't be opened.";

struct Arguments {
    std::string key;
    std::string value;
    std::string type;
    std::vector<std::string> prefixes;
    bool onlyNames = false;
    int count = 0;
};

CLI::App* AddVerb(CLI::App& app, const char* name, const char* description, Arguments& arguments) {
    CLI::App* const verb = app.add_subcommand(name, description);
    verb->add_option("KEY", arguments.key, "The key's name")->required();
    return verb;
}

void AddVerbs(CLI::App& app, Arguments& arguments) {
    AddVerb(app, "get", "Prints a key's value", arguments);
    CLI::App* const set =
        AddVerb(app, "set", "Sets a key, and returns when that is on the disk", arguments);
    set->add_option("VALUE", arguments.value, "The value; put -- ahead of a negative one")
        ->required();
    set->add_option("-t,--type", arguments.type,
                    "The value's type; without it the one that the key has, or that of a new "
                    "key's value by its looks")
        ->check(CLI::IsMember({"string", "int", "double", "bool"}));
    AddVerb(app, "unset", "Removes a key, and returns when that is on the disk", arguments);
    CLI::App* const list = app.add_subcommand("list", "Lists the keys with types and values");
    list->add_option("PREFIX", arguments.prefixes, "Only keys whose names begin so");
    list->add_flag("--names", arguments.onlyNames, "Prints the names alone");
    CLI::App* const watch = app.add_subcommand("watch", "Shows changes as they are made");
    watch->add_option("PREFIX", arguments.prefixes, "Only of keys whose names begin so");
    watch->add_option("--count", arguments.count, "Ends after that many")
        ->check(CLI::Range(1, 1000000000));
}

VConfType WantedType(Store& store, const Arguments& arguments) {
    if (const auto type = TypeOfName(arguments.type)) {
        return *type;
    }
    try {
        return store.Get(arguments.key).type;
    } catch (const KeyError&) {
        return LikelyType(arguments.value);
    }
}

void Set(Store& store, const Arguments& arguments) {
    const StoredValue value = TextToValue(arguments.value, WantedType(store, arguments));
    switch (value.type) {
    case VCONF_INT:
        store.SetInt(arguments.key, value.integer);
        break;
    case VCONF_BOOL:
        store.SetBool(arguments.key, value.integer);
        break;
    case VCONF_DOUBLE:
        store.SetDouble(arguments.key, value.real);
        break;
    default:
        store.SetString(arguments.key, value.text);
        break;
    }
}

std::string LineOf(const StoredKey& key) {
    if (key.value.type == VCONF_NONE) {
        return key.name + "  unset";
    }
    return key.name + "  " + TypeName(key.value.type) + "  " + ValueToLine(key.value);
}

void List(Store& store, const Arguments& arguments) {
    const std::vector<std::string> everything(1);
    std::set<std::string> shown; // prefixes may have keys in common
    for (const std::string& prefix : arguments.prefixes.empty() ? everything : arguments.prefixes) {
        for (const StoredKey& key : store.List(prefix)) {
            if (shown.insert(key.name).second) {
                std::cout << (arguments.onlyNames ? key.name : LineOf(key)) << '\n';
            }
        }
    }
}

void Watch(LazyStore& store, const Arguments& arguments) {
    int left = arguments.count;
    WatchChanges(store, arguments.prefixes, [&](const StoredKey& key) {
        std::cout << LineOf(key) << std::endl;
        return std::cout && (arguments.count == 0 || --left > 0);
    });
}

void Run(const std::string& verb, const Arguments& arguments) {
    StorePlace place(DatabasePath(), BootId());
    LazyStore lazy(place);
    if (verb == "watch") {
        Watch(lazy, arguments);
        return;
    }
    lazy.Use([&](Store& store) {
        if (verb == "get") {
            std::cout << ValueToText(store.Get(arguments.key)) << '\n';
        } else if (verb == "list") {
            List(store, arguments);
        } else {
            if (verb == "set") {
                Set(store, arguments);
            } else {
                store.Unset(arguments.key);
            }
            store.Sync();
        }
    });
}

int RunProgram(int count, char** words) {
    Arguments arguments;
    CLI::App app("Reads, sets and watches the keys of the configuration store.", "vconf");
    app.require_subcommand(1);
    app.footer(FOOTER);
    AddVerbs(app, arguments);
    try {
        app.parse(count, words);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? DONE : USAGE;
    }
    setenv("DLOG_LEVEL", "off", 0); // what the store has to say is in the errors
    Run(app.get_subcommands().front()->get_name(), arguments);
    std::cout << std::flush;
    if (!std::cout) {
        throw std::runtime_error("cannot write to standard output");
    }
    return DONE;
}

} // namespace

int main(int count, char** words) {
    int status = FAILED;
    try {
        return RunProgram(count, words);
    } catch (const OpenError& error) {
        std::cerr << "vconf: " << error.what() << '\n';
        status = NO_STORE;
    } catch (const std::exception& error) {
        std::cerr << "vconf: " << error.what() << '\n';
    }
    return status;
}
