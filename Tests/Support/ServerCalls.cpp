// SPDX-License-Identifier: Apache-2.0
#include "ServerCalls.h"

#include <dlfcn.h>
#include <mutex>
#include <utility>

namespace {

std::mutex s_mutex; // guards what follows; nothing of the test's runs under it
std::vector<std::string> s_calls;
std::function<void()> s_insideNextCreate;

void Note(const std::string& call) {
    const std::scoped_lock lock(s_mutex);
    s_calls.push_back(call);
}

std::string Shown(const char* text) {
    return text == nullptr ? " null" : std::string(" ") + text;
}

// Quill's own function of this name.
template <typename Function>
Function* Real(Function* /*ofThisType*/, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

std::vector<std::string> ServerCalls::All() {
    const std::scoped_lock lock(s_mutex);
    return s_calls;
}

void ServerCalls::Clear() {
    const std::scoped_lock lock(s_mutex);
    s_calls.clear();
    s_insideNextCreate = nullptr;
}

void ServerCalls::InsideNextCreate(std::function<void()> work) {
    const std::scoped_lock lock(s_mutex);
    s_insideNextCreate = std::move(work);
}

// The names of TCServer's members. Its header isn't read here, so that the compiler knows of no
// other function of these names.
#define CONSTRUCTOR(kind)                                                                          \
    "_ZN5Quill8TCServer" kind                                                                      \
    "ENSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEENS0_12TCServerTypeE"
#define COMPLETE CONSTRUCTOR("C1")
#define BASE CONSTRUCTOR("C2")
#define CREATE "_ZN5Quill8TCServer16CreateDBusServerEv"
#define CLOSE "_ZN5Quill8TCServer15CloseDBusServerEv"
#define SUBSCRIBE "_ZN5Quill8TCServer15SubscribeSignalEPKcS2_PFvS2_S2_PNS_9TCMessageEPvES5_"
#define UNSUBSCRIBE "_ZN5Quill8TCServer17UnSubscribeSignalEPKcS2_"

extern "C" {

void MakeComplete(void* made, std::string name, int type) __asm__(COMPLETE);
void MakeBase(void* made, std::string name, int type) __asm__(BASE);
bool Create(void* server) __asm__(CREATE);
void Close(void* server) __asm__(CLOSE);
bool Subscribe(void* server, const char* sender, const char* signal, void (*callback)(),
               void* userData) __asm__(SUBSCRIBE);
void Unsubscribe(void* server, const char* sender, const char* signal) __asm__(UNSUBSCRIBE);

void MakeComplete(void* made, std::string name, int type) {
    Note("TCServer " + name + " " + std::to_string(type));
    Real(&MakeComplete, COMPLETE)(made, std::move(name), type);
}

void MakeBase(void* made, std::string name, int type) {
    MakeComplete(made, std::move(name), type);
}

bool Create(void* server) {
    Note("CreateDBusServer");
    std::function<void()> inside;
    {
        const std::scoped_lock lock(s_mutex);
        inside = std::exchange(s_insideNextCreate, nullptr);
    }
    if (inside) {
        inside();
    }
    return Real(&Create, CREATE)(server);
}

void Close(void* server) {
    Note("CloseDBusServer");
    Real(&Close, CLOSE)(server);
}

bool Subscribe(void* server, const char* sender, const char* signal, void (*callback)(),
               void* userData) {
    Note("SubscribeSignal" + Shown(sender) + Shown(signal) +
         (callback == nullptr ? " null" : " callback") +
         (userData == nullptr ? " null" : " user data"));
    return Real(&Subscribe, SUBSCRIBE)(server, sender, signal, callback, userData);
}

void Unsubscribe(void* server, const char* sender, const char* signal) {
    Note("UnSubscribeSignal" + Shown(sender) + Shown(signal));
    Real(&Unsubscribe, UNSUBSCRIBE)(server, sender, signal);
}

} // extern "C"
