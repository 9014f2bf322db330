// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "VConf.h"

/// A changed key of any type at all, with a value of every type, so that it shows which is read.
struct _keynode_t {
    std::string name;
    int type;
    std::string text;
    int number;
    int truth;
    double real;
};

/// The configuration store as a test wants it: it keeps a record of what it was asked, fails on
/// demand, and calls back on whatever thread the test calls it. Linking FakeVConf.cpp puts its
/// functions in the place of the library's, for the whole test process. Any thread.
class FakeVConf {
public:
    /// Never destroyed: proxies end with the process.
    static FakeVConf& Get();

    /// Every call in order, with its arguments: "vconf_set_int a/b 7".
    std::vector<std::string> Calls();
    /// Forgets the calls, the answers and what was to happen inside of a call.
    void Reset();

    /// What every function answers from now on; without a word it is 0. The results of a call that
    /// fails are left alone; a text is null then.
    void Answer(int result);
    /// What is read from now on.
    void SetValues(int number, double real, const std::string& text);
    /// Runs `work` inside of the next call, once, on the caller's thread.
    void InsideNextCall(std::function<void()> work);

    /// Who was named last with this key, and the callback; null where nobody was.
    void* User(const std::string& key);
    vconf_callback_t Callback(const std::string& key);
    /// Calls the callback that was named last with this key, ignored or not.
    void Change(_keynode_t node);

    // For the library's functions.

    /// Notes the call, and returns what it is to answer.
    int Note(const std::string& call);
    void Keep(const std::string& key, vconf_callback_t callback, void* user);
    struct Values {
        int number = 0;
        double real = 0;
        std::string text;
    };
    Values Known();

private:
    FakeVConf() = default;
    struct Watch {
        vconf_callback_t callback = nullptr;
        void* user = nullptr;
    };
    Watch WatchOf(const std::string& key);

    std::mutex m_mutex; // guards what follows; nothing of the test's runs under it
    std::vector<std::string> m_calls;
    int m_answer = 0;
    std::function<void()> m_insideNextCall;
    Values m_values;
    std::map<std::string, Watch> m_watches;
};
