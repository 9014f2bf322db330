// SPDX-License-Identifier: Apache-2.0
#include "DumpStore.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <utility>

#include "BeaconLog.h"
#include "Printable.h"

namespace hang_beacon {

namespace fs = std::filesystem;
using marrow::base::Printable;

namespace {

constexpr std::string_view PREFIX = "dump-";

// UTC with milliseconds (ISO 8601).
std::string TimeText(std::chrono::system_clock::time_point time) {
    const auto since = time.time_since_epoch();
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(since).count();
    const std::time_t seconds = static_cast<std::time_t>(milliseconds / 1000);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    std::array<char, 32> date{};
    std::array<char, 40> text{};
    std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &utc);
    std::snprintf(text.data(), text.size(), "%s.%03dZ", date.data(),
                  static_cast<int>(milliseconds % 1000));
    return text.data();
}

// Each text is one line, whatever a process calls itself or writes.
void Write(std::ostream& file, const Dump& dump) {
    file << "process " << dump.process << ' ' << Printable(dump.name) << '\n'
         << "time " << TimeText(dump.time) << '\n';
    for (const ThreadLines& thread : dump.threads) {
        file << "thread " << thread.thread << ' ' << Printable(thread.name) << '\n';
        for (const std::string& line : thread.lines) {
            file << Printable(line) << '\n';
        }
    }
    if (dump.dropped > 0) {
        file << "dropped " << dump.dropped << '\n';
    }
}

} // namespace

DumpStore::DumpStore(fs::path folder, std::size_t most)
    : m_folder(std::move(folder)), m_most(most) {
    fs::create_directories(m_folder);
}

fs::path DumpStore::Add(const Dump& dump) {
    std::array<char, 16> number{};
    std::snprintf(number.data(), number.size(), "%06u", m_count++ % 1000000U);
    std::string time = TimeText(dump.time);
    std::erase_if(time, [](char c) { return c == '-' || c == ':'; });
    fs::path path = m_folder / (std::string(PREFIX) + time + '-' + number.data() + '-' +
                                std::to_string(dump.process) + ".txt");
    // Who looks into the folder sees whole files only.
    const fs::path unfinished = m_folder / ("." + path.filename().string());
    std::ofstream file(unfinished, std::ios::trunc);
    Write(file, dump);
    file.close();
    std::error_code error;
    if (file) {
        fs::rename(unfinished, path, error);
    }
    if (!file || error) {
        BEACON_LOGE("cannot write %s: %s", path.c_str(),
                    error ? error.message().c_str() : strerror(errno));
        fs::remove(unfinished, error);
        return {};
    }
    RemoveOldest(path);
    return path;
}

// The newest isn't the last by its name where the clock has been set back, or isn't set yet.
void DumpStore::RemoveOldest(const fs::path& newest) const {
    std::vector<fs::path> dumps;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(m_folder, error)) {
        if (entry.path().filename().string().starts_with(PREFIX) && entry.path() != newest) {
            dumps.push_back(entry.path());
        }
    }
    std::sort(dumps.begin(), dumps.end());
    for (std::size_t i = 0; i + m_most < dumps.size() + 1; ++i) {
        fs::remove(dumps[i], error);
    }
}

} // namespace hang_beacon
