// SPDX-License-Identifier: Apache-2.0
#include "FakeVConf.h"

#include <cstring>
#include <utility>

namespace {

FakeVConf& Fake() {
    return FakeVConf::Get();
}

int Note(const char* function, const char* key) {
    return Fake().Note(std::string(function) + " " + key);
}

int Note(const char* function, const char* key, const std::string& value) {
    return Fake().Note(std::string(function) + " " + key + " " + value);
}

} // namespace

FakeVConf& FakeVConf::Get() {
    static FakeVConf* const fake = new FakeVConf;
    return *fake;
}

std::vector<std::string> FakeVConf::Calls() {
    const std::scoped_lock lock(m_mutex);
    return m_calls;
}

void FakeVConf::Reset() {
    const std::scoped_lock lock(m_mutex);
    m_calls.clear();
    m_answer = 0;
    m_insideNextCall = nullptr;
}

void FakeVConf::Answer(int result) {
    const std::scoped_lock lock(m_mutex);
    m_answer = result;
}

void FakeVConf::SetValues(int number, double real, const std::string& text) {
    const std::scoped_lock lock(m_mutex);
    m_values = {number, real, text};
}

void FakeVConf::InsideNextCall(std::function<void()> work) {
    const std::scoped_lock lock(m_mutex);
    m_insideNextCall = std::move(work);
}

void* FakeVConf::User(const std::string& key) {
    return WatchOf(key).user;
}

vconf_callback_t FakeVConf::Callback(const std::string& key) {
    return WatchOf(key).callback;
}

void FakeVConf::Change(_keynode_t node) {
    const Watch watch = WatchOf(node.name);
    watch.callback(&node, watch.user);
}

int FakeVConf::Note(const std::string& call) {
    std::function<void()> inside;
    int answer = 0;
    {
        const std::scoped_lock lock(m_mutex);
        m_calls.push_back(call);
        inside = std::exchange(m_insideNextCall, nullptr);
        answer = m_answer;
    }
    if (inside) {
        inside();
    }
    return answer;
}

void FakeVConf::Keep(const std::string& key, vconf_callback_t callback, void* user) {
    const std::scoped_lock lock(m_mutex);
    m_watches[key] = {callback, user};
}

FakeVConf::Values FakeVConf::Known() {
    const std::scoped_lock lock(m_mutex);
    return m_values;
}

FakeVConf::Watch FakeVConf::WatchOf(const std::string& key) {
    const std::scoped_lock lock(m_mutex);
    return m_watches[key];
}

int vconf_get_int(const char* key, int* value) {
    const int answer = Note("vconf_get_int", key);
    if (answer == 0) {
        *value = Fake().Known().number;
    }
    return answer;
}

int vconf_get_bool(const char* key, int* value) {
    const int answer = Note("vconf_get_bool", key);
    if (answer == 0) {
        *value = Fake().Known().number;
    }
    return answer;
}

int vconf_get_dbl(const char* key, double* value) {
    const int answer = Note("vconf_get_dbl", key);
    if (answer == 0) {
        *value = Fake().Known().real;
    }
    return answer;
}

char* vconf_get_str(const char* key) {
    return Note("vconf_get_str", key) == 0 ? strdup(Fake().Known().text.c_str()) : nullptr;
}

int vconf_set_int(const char* key, int value) {
    return Note("vconf_set_int", key, std::to_string(value));
}

int vconf_set_bool(const char* key, int value) {
    return Note("vconf_set_bool", key, std::to_string(value));
}

int vconf_set_dbl(const char* key, double value) {
    return Note("vconf_set_dbl", key, std::to_string(value));
}

int vconf_set_str(const char* key, const char* value) {
    return Note("vconf_set_str", key, value);
}

int vconf_unset(const char* key) {
    return Note("vconf_unset", key);
}

int vconf_sync_key(const char* key) {
    return Note("vconf_sync_key", key);
}

int vconf_notify_key_changed(const char* key, vconf_callback_t callback, void* user) {
    Fake().Keep(key, callback, user);
    return Note("vconf_notify_key_changed", key);
}

int vconf_ignore_key_changed(const char* key, vconf_callback_t callback) {
    return Fake().Note(std::string("vconf_ignore_key_changed ") + key +
                       (callback == Fake().Callback(key) ? "" : " with another callback"));
}

const char* vconf_keynode_get_name(const _keynode_t* node) {
    return node->name.c_str();
}

int vconf_keynode_get_type(const _keynode_t* node) {
    return node->type;
}

int vconf_keynode_get_int(const _keynode_t* node) {
    return node->number;
}

int vconf_keynode_get_bool(const _keynode_t* node) {
    return node->truth;
}

double vconf_keynode_get_dbl(const _keynode_t* node) {
    return node->real;
}

const char* vconf_keynode_get_str(const _keynode_t* node) {
    return node->text.c_str();
}
