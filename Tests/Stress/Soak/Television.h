// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>

/// Writes a stream of two services with a guide and captions to `folder`, and settings that have it
/// played over and over at its own pace. Returns the settings' path.
std::filesystem::path PrepareTelevision(const std::filesystem::path& folder);
