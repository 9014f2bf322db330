// SPDX-License-Identifier: Apache-2.0
#include "TogetherCheck.h"

#include <algorithm>
#include <deque>

namespace hearthctl {

namespace {

std::string Where(const Place& place) {
    return place.path + ':' + std::to_string(place.line);
}

} // namespace

TogetherCheck::TogetherCheck(const std::vector<Declaration>& declarations)
    : m_declarations(declarations) {
    for (const Declaration& service : m_declarations) {
        const auto [first, isFirst] = m_services.try_emplace(service.name.text, &service);
        if (!isFirst) {
            Add(Severity::ERROR, service.name.place,
                "the service \"" + service.name.text + "\" is declared in " +
                    Where(first->second->name.place) +
                    " too: only one of the two libraries is loaded");
        }
    }
    CheckLibraries();
    for (const Declaration& service : m_declarations) {
        for (const Declaration::Text& dependency : service.dependencies) {
            CheckDependency(service, dependency);
        }
    }
}

// A library that is open already brings no objects of its own.
void TogetherCheck::CheckLibraries() {
    std::map<std::string, const Declaration*> users;
    for (const Declaration& service : m_declarations) {
        const auto [first, isFirst] = users.try_emplace(service.library.text, &service);
        if (!isFirst && !service.library.text.empty() &&
            first->second->name.text != service.name.text) {
            Add(Severity::WARNING, service.library.place,
                "the library is that of \"" + first->second->name.text + "\" in " +
                    Where(first->second->library.place) +
                    " too: both services get the same objects");
        }
    }
}

void TogetherCheck::CheckDependency(const Declaration& service,
                                    const Declaration::Text& dependency) {
    const auto needed = m_services.find(dependency.text);
    if (needed == m_services.end()) {
        Add(Severity::WARNING, dependency.place,
            "none of these manifests declares \"" + dependency.text + "\", which \"" +
                service.name.text + "\" depends on");
        return;
    }
    const Names others = Way(dependency.text, service.name.text);
    if (others.empty()) {
        CheckOrder(service, *needed->second, dependency.place);
    } else {
        AddCycle(service.name.text, others, dependency.place);
    }
}

// What is started by hand is started when somebody thinks that it can be.
void TogetherCheck::CheckOrder(const Declaration& service, const Declaration& needed,
                               const Place& place) {
    if (!service.startsByItself) {
        return;
    }
    const std::string both =
        '"' + needed.name.text + "\", which \"" + service.name.text + "\" depends on, ";
    const std::string priorities = " (priority " + std::to_string(needed.priority) + ", and " +
                                   std::to_string(service.priority) + " here)";
    if (!needed.startsByItself) {
        Add(Severity::WARNING, place, both + "isn't started by itself");
    } else if (needed.priority < service.priority) {
        Add(Severity::WARNING, place, both + "is started later" + priorities);
    } else if (needed.priority == service.priority) {
        Add(Severity::WARNING, place, both + "may be started later" + priorities);
    }
}

void TogetherCheck::AddCycle(const std::string& first, const Names& others, const Place& place) {
    if (!m_cycles.emplace(others.begin(), others.end()).second) {
        return;
    }
    std::string chain = first;
    for (const std::string& name : others) {
        chain += " -> " + name;
    }
    Add(Severity::WARNING, place, "services depend on each other: " + chain);
}

// The shortest one: breadth first, with each name's predecessor.
TogetherCheck::Names TogetherCheck::Way(const std::string& from, const std::string& to) const {
    std::map<std::string, std::string> previous{{from, from}};
    std::deque<std::string> next{from};
    while (!next.empty() && !previous.contains(to)) {
        const auto service = m_services.find(next.front());
        for (std::size_t i = 0;
             service != m_services.end() && i < service->second->dependencies.size(); ++i) {
            const std::string& name = service->second->dependencies[i].text;
            if (previous.try_emplace(name, next.front()).second) {
                next.push_back(name);
            }
        }
        next.pop_front();
    }
    if (!previous.contains(to)) {
        return {};
    }
    Names way{to};
    while (way.back() != from) {
        way.push_back(previous[way.back()]);
    }
    std::reverse(way.begin(), way.end());
    return way;
}

void TogetherCheck::Add(Severity severity, const Place& place, const std::string& text) {
    m_findings.push_back({place, severity, text});
}

} // namespace hearthctl
