// SPDX-License-Identifier: Apache-2.0
#pragma once

/// What manifests are made of. The manager reads it, and tools that look at manifests know it too.
namespace marrow::mgr {

/// Files that have this anywhere in their names are manifests.
inline constexpr const char* MANIFEST_POSTFIX = ".json";

/// The keys of a service.
inline constexpr const char* LIB_PATH_KEY = "lib_path";
inline constexpr const char* LOAD_TYPE_KEY = "load_type";
inline constexpr const char* LAUNCH_TYPE_KEY = "launch_type";
inline constexpr const char* PRIORITY_KEY = "priority";
inline constexpr const char* DEPENDENCIES_KEY = "dependencies";

} // namespace marrow::mgr
