// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "StartLog.h"

// Lines of a daemon's log, and what is read of them.

/// A timing line.
inline std::string Timing(const std::string& tag, const std::string& time) {
    return "PERFORMANCE MONITOR - tag: " + tag + " execution_time: " + time;
}

/// A line of the platform's log, of a second past midnight.
inline std::string Logged(const std::string& text, double second = 0) {
    char time[48];
    std::snprintf(time, sizeof(time), "2026-11-22 00:00:%09.6f", second);
    return time + (" I HEARTHD [2611] " + text);
}

/// What the manager says of a service that it can't start.
inline std::string Failed(const std::string& text, double second = 0) {
    return Logged("ServiceManager.cpp: StartService(86) > " + text, second);
}

/// The line as the journal's tool prints it.
inline std::string InJournal(int process, const std::string& line, double second = 0) {
    char ahead[64];
    std::snprintf(ahead, sizeof(ahead), "[%12.6f] box hearthd[%d]: ", second, process);
    return ahead + line;
}

/// The last start of a log of these lines.
inline std::optional<hearthctl::DaemonStart> LastStart(const std::vector<std::string>& lines) {
    hearthctl::StartLog log;
    for (const std::string& text : lines) {
        if (const std::optional<hearthctl::LogLine> line = hearthctl::ReadLogLine(text)) {
            log.Add(*line);
        }
    }
    return log.Last() == nullptr ? std::nullopt : std::optional(*log.Last());
}
