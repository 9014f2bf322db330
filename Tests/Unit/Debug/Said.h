// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "Dlog.h"
#include "LogCapture.h"

/// What the daemon's own code has logged, in order: "I text", with the priority's first letter.
/// What workers say of themselves is left out, because it names addresses.
inline std::vector<std::string> Said() {
    std::vector<std::string> said;
    for (const LogCapture::Line& line : LogCapture::Lines()) {
        const bool isWorkers =
            line.text.starts_with("Executing job[") || line.text.starts_with("Worker[") ||
            line.text.starts_with("~Worker[") || line.text.starts_with("SetLocalWorker");
        if (line.tag == "HEARTHD" && !isWorkers) {
            const char letter = line.priority == DLOG_DEBUG  ? 'D'
                                : line.priority == DLOG_INFO ? 'I'
                                : line.priority == DLOG_WARN ? 'W'
                                                             : 'E';
            said.push_back(std::string(1, letter) + " " + line.text);
        }
    }
    return said;
}

/// The same, and forgets it.
inline std::vector<std::string> TakeSaid() {
    std::vector<std::string> said = Said();
    LogCapture::Clear();
    return said;
}
