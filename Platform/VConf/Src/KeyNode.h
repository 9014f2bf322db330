// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "StoredKey.h"

/// What a callback gets: a name of the interface's, around a key that its caller owns.
struct _keynode_t {
    const vconf::StoredKey& key;
};
