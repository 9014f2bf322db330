// SPDX-License-Identifier: Apache-2.0
#include "Beacon.h"

#include <algorithm>
#include <csignal>

#include "ReadFile.h"
#include "WaitUntil.h"

namespace fs = std::filesystem;

Beacon::Beacon(const std::string& device, std::string folder, int keep)
    : m_folder(std::move(folder)),
      m_program({HEARTHD_STAGE "/usr/apps/org.norvane.hearthd/bin/hang-beacon", "--device", device,
                 "--folder", m_folder, "--keep", std::to_string(keep)}) {}

std::string Beacon::Trouble() {
    WaitUntil([this] {
        return Log().find(" is there; dumps go to ") != std::string::npos || m_program.HasEnded();
    });
    return Log().find(" is there; dumps go to ") != std::string::npos ? "" : Log();
}

std::vector<fs::path> Beacon::DumpsIn(const std::string& folder) {
    std::vector<fs::path> dumps;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        if (entry.path().extension() == ".txt" && entry.path().filename().string()[0] != '.') {
            dumps.push_back(entry.path());
        }
    }
    std::sort(dumps.begin(), dumps.end());
    return dumps;
}

std::string Beacon::WaitForDumpIn(const std::string& folder, std::size_t count) {
    return WaitUntil([&] { return DumpsIn(folder).size() >= count; })
               ? ReadFile(DumpsIn(folder).back())
               : std::string();
}

int Beacon::End() {
    m_program.Signal(SIGTERM);
    return m_program.Wait();
}
