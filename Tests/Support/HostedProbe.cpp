// SPDX-License-Identifier: Apache-2.0
#include "HostedProbe.h"

#include <algorithm>

// Never destroyed: libraries that are open at exit still have something to tell.
HostedProbe& HostedProbe::Get() {
    static auto* const probe = new HostedProbe;
    return *probe;
}

void HostedProbe::Add(std::string_view text) {
    const std::scoped_lock lock(m_mutex);
    m_notes.push_back({std::string(text), std::this_thread::get_id()});
}

void HostedProbe::Keep(const void* object) {
    const std::scoped_lock lock(m_mutex);
    m_kept.push_back(object);
}

std::vector<std::string> HostedProbe::Texts() {
    const std::scoped_lock lock(m_mutex);
    std::vector<std::string> texts;
    for (const Note& note : m_notes) {
        texts.push_back(note.text);
    }
    return texts;
}

std::thread::id HostedProbe::ThreadOf(std::string_view text) {
    const std::scoped_lock lock(m_mutex);
    const auto found = std::find_if(m_notes.begin(), m_notes.end(),
                                    [&](const Note& note) { return note.text == text; });
    return found == m_notes.end() ? std::thread::id() : found->thread;
}

void HostedProbe::Reset() {
    const std::scoped_lock lock(m_mutex);
    m_notes.clear();
    startResult = true;
    stopResult = true;
    atOpen = nullptr;
    atStop = nullptr;
}
