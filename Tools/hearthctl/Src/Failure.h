// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>
#include <string>

namespace hearthctl {

enum class ExitStatus : int {
    OK = 0,
    FAILED = 1, ///< refused, or it didn't work
    USAGE = 2,
    NO_DAEMON = 3, ///< or no bus
};

/// Ends the program: what stands on standard error, and the exit status.
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus status, const std::string& text)
        : std::runtime_error(text), m_status(status) {}

    ExitStatus Status() const { return m_status; }

private:
    ExitStatus m_status;
};

} // namespace hearthctl
