// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "LogCapture.h"
#include "TemporaryFolder.h"
#include "VConf.h"

/// A key as a callback has seen it.
struct SeenChange {
    std::string name;
    int type = -1;
    int integer = 0;
    int boolean = 0;
    double real = 0;
    std::string text;

    explicit SeenChange(const struct _keynode_t* node)
        : name(vconf_keynode_get_name(node)), type(vconf_keynode_get_type(node)),
          integer(vconf_keynode_get_int(node)), boolean(vconf_keynode_get_bool(node)),
          real(vconf_keynode_get_dbl(node)), text(vconf_keynode_get_str(node)) {}
};

/// What callbacks have seen, in order.
class ChangeList {
public:
    /// For vconf_notify_key_changed, with the list as `user`.
    static void Add(struct _keynode_t* node, void* user) {
        auto& list = *static_cast<ChangeList*>(user);
        const std::scoped_lock lock(list.m_mutex);
        list.m_changes.emplace_back(node);
        list.m_added.notify_all();
    }

    std::vector<SeenChange> Changes() {
        const std::scoped_lock lock(m_mutex);
        return m_changes;
    }
    /// "name=value" of each, a removed key with "-".
    std::vector<std::string> Texts() {
        std::vector<std::string> texts;
        for (const SeenChange& change : Changes()) {
            texts.push_back(change.name + "=" + ValueOf(change));
        }
        return texts;
    }
    /// Until so many have been seen.
    bool WaitFor(std::size_t count) {
        std::unique_lock lock(m_mutex);
        return m_added.wait_for(lock, std::chrono::seconds(20),
                                [&] { return m_changes.size() >= count; });
    }
    /// Until the last one reads so.
    bool WaitForLast(const std::string& text) {
        std::unique_lock lock(m_mutex);
        return m_added.wait_for(lock, std::chrono::seconds(20), [&] {
            return !m_changes.empty() &&
                   m_changes.back().name + "=" + ValueOf(m_changes.back()) == text;
        });
    }

private:
    static std::string ValueOf(const SeenChange& change) {
        switch (change.type) {
        case VCONF_INT:
            return std::to_string(change.integer);
        case VCONF_BOOL:
            return "b" + std::to_string(change.boolean);
        case VCONF_DOUBLE:
            return std::to_string(change.real);
        case VCONF_STRING:
            return change.text;
        default:
            return "-";
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_added;
    std::vector<SeenChange> m_changes;
};

/// A store of the test's own. The library opens one for each process, so all tests of a process
/// have it at the same place, and each begins without its files.
class VConfTest : public testing::Test {
protected:
    VConfTest() {
        setenv("VCONF_DATABASE", Database().c_str(), 1);
        RemoveFiles();
        int value = 0;
        vconf_get_int("test/none", &value); // opens it, and tells what the test before has left
        vconf_sync_key("test/none");
        vconf_set_int("test/none", 0);
        LogCapture::Clear();
    }
    ~VConfTest() override {
        for (const auto& [key, callback] : m_watched) {
            vconf_ignore_key_changed(key.c_str(), callback);
        }
        if (!m_watched.empty()) { // behind another callback none of them is under way
            static auto* const list = new ChangeList; // that one may be
            const std::size_t count = list->Changes().size();
            EXPECT_EQ(vconf_notify_key_changed("test/end", ChangeList::Add, list), 0);
            EXPECT_EQ(vconf_set_int("test/end", 1), 0);
            EXPECT_TRUE(list->WaitFor(count + 1));
            EXPECT_EQ(vconf_ignore_key_changed("test/end", ChangeList::Add), 0);
        }
    }

    /// An object for callbacks: it outlives them.
    template <typename Type, typename... Arguments>
    Type& Keep(Arguments... arguments) {
        auto object = std::make_shared<Type>(arguments...);
        m_kept.push_back(object);
        return *object;
    }

    static const std::filesystem::path& Folder() {
        static const TemporaryFolder folder;
        return folder.Path();
    }
    static std::string Database() { return (Folder() / "vconf.db").string(); }
    static void RemoveFiles() {
        for (const char* ending : {"", "-wal", "-shm", "-bell"}) {
            std::filesystem::remove(Database() + ending);
        }
    }

    /// Another look at the files may make a store between the two, so that it has to be tried
    /// again.
    static void SpoilFiles() {
        RemoveFiles();
        std::ofstream(Database()) << std::string(5000, 'x');
    }

    int Notify(const std::string& key, vconf_callback_t callback, void* user) {
        m_watched.emplace_back(key, callback);
        return vconf_notify_key_changed(key.c_str(), callback, user);
    }
    /// Adds the key's changes to the list until the test's end.
    int Watch(const std::string& key, ChangeList& list) {
        return Notify(key, ChangeList::Add, &list);
    }

private:
    std::vector<std::pair<std::string, vconf_callback_t>> m_watched;
    std::vector<std::shared_ptr<void>> m_kept;
};
