// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <sys/types.h>

#include "FileDescriptor.h"

namespace hearthctl {

/// The daemon's log, line by line: what the journal has of the unit hearthd in this boot, a file,
/// or standard input for "-". One thread.
///
/// Throws a Failure where it can't be read.
class LogInput {
public:
    enum class Mode {
        TO_THE_END, ///< all of it
        FOLLOWING,  ///< what comes from now on. A file is found again where another one has taken
                    ///< its name, and read from its begin where it has become shorter
    };
    enum class Result { TIME_IS_OVER, INPUT_HAS_ENDED, SIGNAL };
    using OnLine = std::function<void(std::string_view)>;
    using Clock = std::chrono::steady_clock;

    /// `file` is empty for the journal.
    LogInput(const std::string& file, Mode mode);
    ~LogInput();
    LogInput(const LogInput&) = delete;
    LogInput& operator=(const LogInput&) = delete;

    /// Reads on to the end.
    void ReadAll(const OnLine& onLine);

    /// Reads on until then, until the end, or until `signals`, a descriptor, has something to read.
    /// A followed file has no end.
    Result ReadUntil(Clock::time_point deadline, int signals, const OnLine& onLine);

    /// For messages.
    std::string Name() const;

private:
    void RunJournalctl(Mode mode);
    bool ReadSome(const OnLine& onLine);
    void CutLines(const OnLine& onLine);
    bool FindAgain();
    void WaitForJournalctl();

    const std::string m_file;
    bool m_followsFile = false; // which gets longer while it is read
    marrow::base::FileDescriptor m_input;
    pid_t m_journalctl = -1;
    std::string m_rest; // a line whose end hasn't come
};

} // namespace hearthctl
