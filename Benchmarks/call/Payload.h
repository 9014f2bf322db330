// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

/// A JSON object of about `size` bytes such as services exchange: short members of several types,
/// and from some hundred bytes on a list of records.
std::string MakePayload(std::size_t size);
