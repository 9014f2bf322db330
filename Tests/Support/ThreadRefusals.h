// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fstream>
#include <string>

#include "TemporaryFolder.h"

/// The file by which the library of ThreadRefusals.cpp is told what to refuse; its path belongs
/// into the environment as HEARTHD_THREAD_REFUSALS.
class ThreadRefusals {
public:
    std::string Path() const { return m_folder.Path() / "refusals"; }

    /// From here on so many threads are granted, and the next ones refused.
    void Refuse(int granted, int refused = 1) const {
        std::ofstream(Path()) << granted << ' ' << refused;
    }

private:
    TemporaryFolder m_folder;
};
