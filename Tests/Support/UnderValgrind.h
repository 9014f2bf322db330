// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

/// What starts a program under the tool of TestTool(), ahead of the program's own words; nothing
/// where there is none. The report goes into `folder`.
std::vector<std::string> ValgrindCommand(const std::string& folder);

/// Whether a report lacks something as long as the program runs, and for good where SIGKILL ends
/// it: memcheck looks for leaks at last.
bool ReportsAtItsEnd();

/// Fails the test that runs with each report of `folder` that tells of an error, or isn't whole.
void ExpectCleanReports(const std::string& folder);
