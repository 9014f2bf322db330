// SPDX-License-Identifier: Apache-2.0
#pragma once

/// The two pointer variables that a service's library exports.
namespace marrow::ser {

inline constexpr const char* SERVICE_VARIABLE = "g_service";
inline constexpr const char* PROXY_VARIABLE = "g_service_proxy";

} // namespace marrow::ser
