// SPDX-License-Identifier: Apache-2.0
#include "KeyRecord.h"

#include <algorithm>
#include <ctime>
#include <dlfcn.h>
#include <iterator>
#include <utility>

#include "UtilX.h"

namespace {

// Whether this thread has looked for events: its sleeps count then.
thread_local bool t_polls = false;

// The name that this thread has got last.
thread_local const char* t_name = nullptr;

// The library's own function of this name.
template <typename Function>
Function* Real(Function* /*ofThisType*/, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

template <typename... Value>
std::string Words(const std::string& first, Value... values) {
    return (first + ... + (" " + std::to_string(values)));
}

} // namespace

KeyRecord& KeyRecord::Get() {
    static KeyRecord* const record = new KeyRecord;
    return *record;
}

std::vector<std::string> KeyRecord::Calls() {
    const std::scoped_lock lock(m_mutex);
    return m_calls;
}

std::vector<std::string> KeyRecord::CallsBeginning(const std::string& beginning) {
    const std::scoped_lock lock(m_mutex);
    std::vector<std::string> calls;
    std::copy_if(m_calls.begin(), m_calls.end(), std::back_inserter(calls),
                 [&](const std::string& call) { return call.starts_with(beginning); });
    return calls;
}

void KeyRecord::Clear() {
    const std::scoped_lock lock(m_mutex);
    m_calls.clear();
    m_answer = 0;
    m_insideNextCall = nullptr;
    m_insideNextName = nullptr;
    m_insideNextFree = nullptr;
    m_polls.clear();
    m_insidePolls = nullptr;
}

void KeyRecord::Answer(int result) {
    const std::scoped_lock lock(m_mutex);
    m_answer = result;
}

void KeyRecord::InsideNextCall(std::function<void()> work) {
    const std::scoped_lock lock(m_mutex);
    m_insideNextCall = std::move(work);
}

void KeyRecord::InsideNextName(std::function<void()> work) {
    const std::scoped_lock lock(m_mutex);
    m_insideNextName = std::move(work);
}

void KeyRecord::InsideNextFree(std::function<void()> work) {
    const std::scoped_lock lock(m_mutex);
    m_insideNextFree = std::move(work);
}

void KeyRecord::RunOnce(std::function<void()>& work) {
    std::function<void()> inside;
    {
        const std::scoped_lock lock(m_mutex);
        inside = std::exchange(work, nullptr);
    }
    if (inside) {
        inside();
    }
}

void KeyRecord::NoteName() {
    RunOnce(m_insideNextName);
}

void KeyRecord::NoteFree() {
    RunOnce(m_insideNextFree);
}

std::vector<std::string> KeyRecord::Polls() {
    const std::scoped_lock lock(m_mutex);
    return m_polls;
}

void KeyRecord::InsidePolls(std::function<void()> work) {
    const std::scoped_lock lock(m_mutex);
    m_insidePolls = std::move(work);
}

void KeyRecord::NotePoll(const std::string& call) {
    std::function<void()> inside;
    {
        const std::scoped_lock lock(m_mutex);
        m_polls.push_back(call);
        inside = m_insidePolls;
    }
    if (inside) {
        inside();
    }
}

Display* KeyRecord::GrabDisplay() {
    const std::scoped_lock lock(m_mutex);
    return m_display;
}

Window KeyRecord::GrabWindow() {
    const std::scoped_lock lock(m_mutex);
    return m_window;
}

void KeyRecord::Note(const std::string& call) {
    const std::scoped_lock lock(m_mutex);
    m_calls.push_back(call);
}

int KeyRecord::NoteGrab(const std::string& call, Display* display, Window window) {
    Note(call);
    std::function<void()> inside;
    int answer = 0;
    {
        const std::scoped_lock lock(m_mutex);
        m_display = display;
        m_window = window;
        inside = std::exchange(m_insideNextCall, nullptr);
        answer = m_answer;
    }
    if (inside) {
        inside();
    }
    return answer;
}

int utilx_grab_key(Display* display, Window window, const char* key_name, int mode) {
    return KeyRecord::Get().NoteGrab(Words(std::string("grab ") + key_name, mode), display, window);
}

int utilx_ungrab_key(Display* display, Window window, const char* key_name) {
    return KeyRecord::Get().NoteGrab(std::string("ungrab ") + key_name, display, window);
}

Status XInitThreads() {
    KeyRecord::Get().Note("XInitThreads");
    return Real(&XInitThreads, "XInitThreads")();
}

Display* XOpenDisplay(const char* name) {
    KeyRecord::Get().Note(std::string("XOpenDisplay") + (name == nullptr ? "" : " by name"));
    return Real(&XOpenDisplay, "XOpenDisplay")(name);
}

Window XCreateWindow(Display* display, Window parent, int x, int y, unsigned int width,
                     unsigned int height, unsigned int border, int depth, unsigned int kind,
                     Visual* visual, unsigned long mask, XSetWindowAttributes* attributes) {
    KeyRecord::Get().Note(Words("XCreateWindow", parent == XDefaultRootWindow(display) ? 1 : 0, x,
                                y, width, height, border, depth, kind, visual == nullptr ? 0 : 1,
                                mask, attributes->event_mask));
    return Real(&XCreateWindow, "XCreateWindow")(display, parent, x, y, width, height, border,
                                                 depth, kind, visual, mask, attributes);
}

int XSelectInput(Display* display, Window window, long mask) {
    KeyRecord::Get().Note(Words("XSelectInput", mask));
    return Real(&XSelectInput, "XSelectInput")(display, window, mask);
}

char* XKeysymToString(KeySym keysym) {
    KeyRecord::Get().NoteName();
    char* const name = Real(&XKeysymToString, "XKeysymToString")(keysym);
    t_name = name;
    return name;
}

int XFree(void* data) {
    if (data != nullptr && data == t_name) {
        t_name = nullptr;
        KeyRecord::Get().NoteFree();
    }
    return Real(&XFree, "XFree")(data);
}

int XPending(Display* display) {
    t_polls = true;
    const int pending = Real(&XPending, "XPending")(display);
    KeyRecord::Get().NotePoll(Words("XPending", pending));
    return pending;
}

int nanosleep(const timespec* time, timespec* rest) {
    if (t_polls) {
        KeyRecord::Get().NotePoll(Words("nanosleep", time->tv_sec, time->tv_nsec));
    }
    return Real(&nanosleep, "nanosleep")(time, rest);
}

int XDestroyWindow(Display* display, Window window) {
    KeyRecord::Get().Note("XDestroyWindow");
    return Real(&XDestroyWindow, "XDestroyWindow")(display, window);
}

int XCloseDisplay(Display* display) {
    KeyRecord::Get().Note("XCloseDisplay");
    return Real(&XCloseDisplay, "XCloseDisplay")(display);
}
