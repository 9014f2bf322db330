// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "LazyStore.h"

namespace vconf {

/// Tells of each change of the keys whose names begin with one of the prefixes, all keys where
/// there are none, until `tell` says false. Goes on where the store's files are replaced; a store
/// that cannot be read any more is tried again each second. One that can't be opened at first is
/// an OpenError.
void WatchChanges(LazyStore& store, const std::vector<std::string>& prefixes,
                  const std::function<bool(const StoredKey&)>& tell);

} // namespace vconf
