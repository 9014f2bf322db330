// SPDX-License-Identifier: Apache-2.0
#include "ManifestCheck.h"

#include <algorithm>
#include <map>

#include "ManifestKeys.h"
#include "Spelling.h"

namespace hearthctl {

using namespace marrow::mgr;

namespace {

const std::vector<std::string> KEYS{LIB_PATH_KEY, LOAD_TYPE_KEY, LAUNCH_TYPE_KEY, PRIORITY_KEY,
                                    DEPENDENCIES_KEY};
constexpr const char* DAEMON_ENDS = ": the daemon ends";

std::string TypeOf(const Json::Value& value) {
    switch (value.type()) {
    case Json::nullValue:
        return "null";
    case Json::stringValue:
        return "a string";
    case Json::booleanValue:
        return "a boolean";
    case Json::arrayValue:
        return "an array";
    case Json::objectValue:
        return "an object";
    default:
        return "a number";
    }
}

std::string Quoted(const std::string& text) {
    return '"' + text + '"';
}

} // namespace

ManifestCheck::ManifestCheck(const std::string& path, std::string text)
    : m_text(path, std::move(text)) {
    if (m_text.Error()) {
        Add(Severity::ERROR, m_text.At(m_text.Error()->offset),
            "the manifest is passed over: " + m_text.Error()->text);
        return;
    }
    CheckRoot();
    if (const auto leftover = m_text.Leftover()) {
        Add(Severity::WARNING, m_text.At(*leftover), "what follows the manifest is passed over");
    }
}

// The daemon takes an array too, the services of which have no names.
void ManifestCheck::CheckRoot() {
    const Json::Value& root = m_text.Root();
    if (!root.isObject()) {
        Add(Severity::WARNING, m_text.At(root),
            "the manifest is " + TypeOf(root) + " and no object: it gives no service a name");
    }
    std::map<std::string, Place> places;
    if (root.isObject()) {
        CheckRepetitions(root, Severity::ERROR);
        for (const ManifestText::Key& key : m_text.KeysOf(root)) {
            places[key.name] = m_text.At(key.offset);
        }
    }
    for (auto service = root.begin(); service != root.end(); ++service) {
        const std::string name = service.name();
        CheckService(name, root.isObject() ? places[name] : m_text.At(*service), *service);
    }
}

void ManifestCheck::CheckRepetitions(const Json::Value& object, Severity severity) {
    std::map<std::string, Place> last;
    std::vector<ManifestText::Key> keys = m_text.KeysOf(object);
    std::reverse(keys.begin(), keys.end());
    for (const ManifestText::Key& key : keys) {
        const auto [later, isLast] = last.try_emplace(key.name, m_text.At(key.offset));
        if (!isLast) {
            Add(severity, m_text.At(key.offset),
                Quoted(key.name) + " stands in line " + std::to_string(later->second.line) +
                    " again: only the last one counts");
        }
    }
}

void ManifestCheck::CheckService(const std::string& name, const Place& place,
                                 const Json::Value& service) {
    if (!service.isObject() && !service.isNull()) {
        Add(Severity::ERROR, m_text.At(service),
            "the service " + Quoted(name) + " is " + TypeOf(service) + " and no object" +
                DAEMON_ENDS);
        return;
    }
    if (name.empty() && m_text.Root().isObject()) {
        Add(Severity::WARNING, place, "the service has an empty name");
    }
    Declaration declaration;
    declaration.name = {name, place};
    CheckKeys(service);
    CheckLibrary(service, declaration);
    CheckLoadType(service);
    CheckLaunchType(service, declaration);
    CheckPriority(service, declaration);
    CheckDependencies(service, declaration);
    m_declarations.push_back(declaration);
}

void ManifestCheck::CheckKeys(const Json::Value& service) {
    if (service.isNull()) {
        return;
    }
    CheckRepetitions(service, Severity::WARNING);
    for (const ManifestText::Key& key : m_text.KeysOf(service)) {
        if (std::find(KEYS.begin(), KEYS.end(), key.name) == KEYS.end()) {
            const std::string meant = NearestName(key.name, KEYS);
            Add(Severity::WARNING, m_text.At(key.offset),
                "the daemon knows no key " + Quoted(key.name) +
                    (meant.empty() ? "" : "; is " + Quoted(meant) + " meant?"));
        }
    }
}

void ManifestCheck::CheckLibrary(const Json::Value& service, Declaration& declaration) {
    const Json::Value& value = service[LIB_PATH_KEY];
    const bool isThere = service.isMember(LIB_PATH_KEY);
    const std::optional<std::string> path =
        isThere ? Text(Quoted(LIB_PATH_KEY), value) : std::string();
    if (!path) {
        return;
    }
    declaration.library = {*path, isThere ? m_text.At(value) : declaration.name.place};
    if (path->empty()) {
        Add(Severity::ERROR, declaration.library.place,
            "the service " + Quoted(declaration.name.text) + " has no " + Quoted(LIB_PATH_KEY) +
                ": it is never loaded");
    } else if (path->front() != '/') {
        Add(Severity::WARNING, declaration.library.place,
            Quoted(*path) + " is no absolute path: where the daemon looks for it depends on how "
                            "it was started");
    }
}

void ManifestCheck::CheckLoadType(const Json::Value& service) {
    const int type = Number(service, LOAD_TYPE_KEY).value_or(0);
    if (type != 0) {
        Add(Severity::ERROR, m_text.At(service[LOAD_TYPE_KEY]),
            Quoted(LOAD_TYPE_KEY) + " is " + std::to_string(type) +
                ", and only 0 can be loaded: the service never is");
    }
}

void ManifestCheck::CheckLaunchType(const Json::Value& service, Declaration& declaration) {
    const int type = Number(service, LAUNCH_TYPE_KEY).value_or(0);
    declaration.startsByItself = type == 0;
    if (type != 0 && type != 1) {
        Add(Severity::WARNING, m_text.At(service[LAUNCH_TYPE_KEY]),
            Quoted(LAUNCH_TYPE_KEY) + " is " + std::to_string(type) +
                ", and neither 0 nor 1: the service isn't started by itself");
    }
}

void ManifestCheck::CheckPriority(const Json::Value& service, Declaration& declaration) {
    const int priority = Number(service, PRIORITY_KEY).value_or(0);
    declaration.priority = static_cast<std::uint8_t>(priority);
    if (declaration.priority != priority) {
        Add(Severity::WARNING, m_text.At(service[PRIORITY_KEY]),
            Quoted(PRIORITY_KEY) + " is " + std::to_string(priority) +
                ", and goes from 0 to 255: it counts as " + std::to_string(declaration.priority));
    }
}

// What is neither an array nor an object has no elements. Those of an object are its values.
void ManifestCheck::CheckDependencies(const Json::Value& service, Declaration& declaration) {
    if (!service.isMember(DEPENDENCIES_KEY)) {
        return;
    }
    const Json::Value& dependencies = service[DEPENDENCIES_KEY];
    if (!dependencies.isArray()) {
        Add(Severity::WARNING, m_text.At(dependencies),
            Quoted(DEPENDENCIES_KEY) + " is " + TypeOf(dependencies) + " and no array: " +
                (dependencies.isObject() ? "its values count" : "there are none"));
    }
    for (const Json::Value& dependency : dependencies) {
        if (const auto name = Text("a dependency", dependency)) {
            declaration.dependencies.push_back({*name, m_text.At(dependency)});
        }
    }
}

// The library's own conversion tells what it takes, so that it is the daemon's.
std::optional<int> ManifestCheck::Number(const Json::Value& service, const char* key) {
    if (!service.isMember(key)) {
        return std::nullopt;
    }
    const Json::Value& value = service[key];
    try {
        const int number = value.asInt();
        if (!value.isInt()) {
            const bool isNumber = value.isNumeric();
            Add(Severity::WARNING, m_text.At(value),
                Quoted(key) + " is " + (isNumber ? value.asString() : TypeOf(value)) +
                    " and no whole number: it counts as " + std::to_string(number));
        }
        return number;
    } catch (const Json::Exception&) {
        Add(Severity::ERROR, m_text.At(value),
            Quoted(key) + " is " +
                (value.isNumeric() ? value.asString() + ", beyond what an int holds"
                                   : TypeOf(value) + " and no number") +
                DAEMON_ENDS);
        return std::nullopt;
    }
}

std::optional<std::string> ManifestCheck::Text(const std::string& what, const Json::Value& value) {
    try {
        std::string text = value.asString();
        if (!value.isString()) {
            Add(Severity::WARNING, m_text.At(value),
                what + " is " + TypeOf(value) + " and no string: it counts as " + Quoted(text));
        }
        return text;
    } catch (const Json::Exception&) {
        Add(Severity::ERROR, m_text.At(value),
            what + " is " + TypeOf(value) + " and no string" + DAEMON_ENDS);
        return std::nullopt;
    }
}

void ManifestCheck::Add(Severity severity, const Place& place, const std::string& text) {
    m_findings.push_back({place, severity, text});
}

} // namespace hearthctl
