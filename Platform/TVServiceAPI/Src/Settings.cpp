// SPDX-License-Identifier: Apache-2.0
#include "Settings.h"

#include <charconv>
#include <cstdio>
#include <glib.h>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "TsPacket.h"

namespace tvservice {

namespace {

constexpr const char* SOURCE_GROUP = "source";

struct KeyFileDeleter {
    void operator()(GKeyFile* file) const { g_key_file_free(file); }
};
struct TextsDeleter {
    void operator()(char** texts) const { g_strfreev(texts); }
};
using Texts = std::unique_ptr<char*, TextsDeleter>;

[[noreturn]] void Refuse(const std::string& group, const std::string& key, const std::string& value,
                         const std::string& expected) {
    std::string place = "[" + group + "] ";
    if (!key.empty()) {
        place += key + " ";
    }
    throw std::runtime_error(place + "is '" + value + "', and is to be " + expected);
}

/// A number in decimal, or in hexadecimal behind "0x".
std::optional<unsigned> NumberOf(std::string_view text) {
    const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
    if (isHexadecimal) {
        text.remove_prefix(2);
    }
    unsigned number = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), number, isHexadecimal ? 16 : 10);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return number;
}

/// The file, group by group; every key is taken once, so that what is left over can be told.
class Group {
public:
    Group(GKeyFile* file, std::string name) : m_file(file), m_name(std::move(name)) {}

    std::optional<std::string> Take(const char* key) {
        g_autofree char* value = g_key_file_get_string(m_file, m_name.c_str(), key, nullptr);
        if (value == nullptr) {
            if (g_key_file_has_key(m_file, m_name.c_str(), key, nullptr) != 0) {
                throw std::runtime_error("[" + m_name + "] " + key + " isn't UTF-8");
            }
            return std::nullopt;
        }
        std::string text = value;
        g_key_file_remove_key(m_file, m_name.c_str(), key, nullptr);
        return text;
    }

    void RefuseTheRest() const {
        const Texts keys(g_key_file_get_keys(m_file, m_name.c_str(), nullptr, nullptr));
        if (keys && keys.get()[0] != nullptr) {
            throw std::runtime_error("[" + m_name + "] has an unknown key: " + keys.get()[0]);
        }
    }

    [[noreturn]] void Refuse(const char* key, const std::string& value,
                             const char* expected) const {
        tvservice::Refuse(m_name, key, value, expected);
    }

private:
    GKeyFile* m_file;
    const std::string m_name;
};

SourceSettings ReadSource(Group group) {
    SourceSettings source;
    source.address = group.Take("address").value_or("");
    if (const std::optional<std::string> pace = group.Take("pace")) {
        if (*pace == "clock") {
            source.pace = SourceSettings::Pace::Clock;
        } else if (*pace == "fast") {
            source.pace = SourceSettings::Pace::Fast;
        } else {
            group.Refuse("pace", *pace, "clock or fast");
        }
    }
    if (const std::optional<std::string> loop = group.Take("loop")) {
        if (*loop != "yes" && *loop != "no") {
            group.Refuse("loop", *loop, "yes or no");
        }
        source.loop = *loop == "yes";
    }
    group.RefuseTheRest();
    return source;
}

ScreenSettings ReadScreen(Group group) {
    ScreenSettings screen;
    if (const std::optional<std::string> program = group.Take("program")) {
        const std::optional<unsigned> number = NumberOf(*program);
        if (!number || *number > 0xFFFF) {
            group.Refuse("program", *program, "a number from 0 to 65535");
        }
        screen.program = static_cast<std::uint16_t>(*number);
    }
    if (const std::optional<std::string> pids = group.Take("pes")) {
        const Texts list(g_strsplit_set(pids->c_str(), "; ,", -1));
        for (char** text = list.get(); *text != nullptr; ++text) {
            if (**text == '\0') {
                continue;
            }
            const std::optional<unsigned> pid = NumberOf(*text);
            if (!pid || *pid >= PID_COUNT) {
                group.Refuse("pes", *text, "a list of PIDs from 0 to 0x1FFF");
            }
            screen.pes.push_back(static_cast<std::uint16_t>(*pid));
        }
    }
    group.RefuseTheRest();
    return screen;
}

// "screen PROFILE NUMBER"
ScreenKey ReadScreenKey(const std::string& group) {
    unsigned profile = 0;
    unsigned screen = 0;
    int end = 0;
    if (std::sscanf(group.c_str(), "screen %5u %5u%n", &profile, &screen, &end) != 2 ||
        static_cast<std::size_t>(end) != group.size() || profile > PROFILE_RECORD ||
        screen > 0xFFFF) {
        throw std::runtime_error("[" + group +
                                 "] is no group of this file: they are [source] and "
                                 "[screen PROFILE NUMBER], with a profile from 0 to 3");
    }
    return {static_cast<EProfile>(profile), static_cast<int>(screen)};
}

} // namespace

Settings Settings::Parse(const std::string& text) {
    const std::unique_ptr<GKeyFile, KeyFileDeleter> file(g_key_file_new());
    GError* error = nullptr;
    if (!text.empty() && g_key_file_load_from_data(file.get(), text.data(), text.size(),
                                                   G_KEY_FILE_NONE, &error) == 0) {
        const std::string words = error->message;
        g_error_free(error);
        throw std::runtime_error(words);
    }
    Settings settings;
    const Texts groups(g_key_file_get_groups(file.get(), nullptr));
    for (char** name = groups.get(); *name != nullptr; ++name) {
        const std::string group = *name;
        if (group == SOURCE_GROUP) {
            settings.source = ReadSource(Group(file.get(), group));
        } else {
            const ScreenKey key = ReadScreenKey(group);
            settings.screens[key] = ReadScreen(Group(file.get(), group));
        }
    }
    return settings;
}

} // namespace tvservice
