// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

/// What the process does to files. Linking FileCalls.cpp puts calls of its own in the place of
/// pwrite, pwrite64, fsync and fdatasync. Any thread.
namespace filecalls {

enum class Call { Write, Sync };

/// Forgets what has been done so far, and does everything as told from here on.
void Clear();
/// What has been done to files whose name ends so.
std::vector<Call> On(const std::string& ending);
/// From now on a call on such files fails with this error; 0: not any more.
void Fail(Call call, const std::string& ending, int error);
/// The next write to such a file ends the process, as a kill would.
void DieAtWrite(const std::string& ending);

} // namespace filecalls
