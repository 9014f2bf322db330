// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

struct _XDisplay; // Xlib's macros and GoogleTest don't go together

/// What the code under test asks of the key grabs and of Xlib, in order. Linking KeyRecord.cpp puts
/// its utilx_grab_key and utilx_ungrab_key in the place of the library's, for the whole test
/// process: they record, and grab nothing. Xlib's functions and nanosleep are recorded and do what
/// they do. Any thread.
class KeyRecord {
public:
    /// Never destroyed: the proxy ends with the process.
    static KeyRecord& Get();

    /// "grab Up 65536", "ungrab Up", "XOpenDisplay", "XCreateWindow -1 -1 1 1 0 0 2 0 0 3".
    std::vector<std::string> Calls();
    /// Those that begin so.
    std::vector<std::string> CallsBeginning(const std::string& beginning);
    void Clear();

    /// What grabs and their ends answer from now on; without a word it is 0.
    void Answer(int result);
    /// Runs `work` inside of the next grab or end of one, once, on the caller's thread.
    void InsideNextCall(std::function<void()> work);

    /// Runs `work` when Xlib is next asked for a keysym's name, once, on the caller's thread.
    void InsideNextName(std::function<void()> work);

    /// Runs `work` when a keysym's name is next given back, once, ahead of that and on the caller's
    /// thread.
    void InsideNextFree(std::function<void()> work);

    /// What the thread that looks for events does: "XPending 0", "nanosleep 0 100000000".
    std::vector<std::string> Polls();
    /// Runs `work` inside of each of these calls until the next Clear, on that thread.
    void InsidePolls(std::function<void()> work);

    /// For whom the last grab was.
    _XDisplay* GrabDisplay();
    unsigned long GrabWindow();

    // For the functions.
    void Note(const std::string& call);
    void NoteName();
    void NoteFree();
    void NotePoll(const std::string& call);
    int NoteGrab(const std::string& call, _XDisplay* display, unsigned long window);

private:
    KeyRecord() = default;
    void RunOnce(std::function<void()>& work);

    std::mutex m_mutex; // guards what follows; nothing of the test's runs under it
    std::vector<std::string> m_calls;
    int m_answer = 0;
    std::function<void()> m_insideNextCall;
    std::function<void()> m_insideNextName;
    std::function<void()> m_insideNextFree;
    std::vector<std::string> m_polls;
    std::function<void()> m_insidePolls;
    _XDisplay* m_display = nullptr;
    unsigned long m_window = 0;
};
