// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>

namespace vconf {

/// Something is wrong with the store: its text, for people, names the file and the reason.
class StoreError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The store can't be opened.
class OpenError : public StoreError {
public:
    using StoreError::StoreError;
};

/// The store is well, but what was asked of it isn't there or isn't allowed.
class KeyError : public StoreError {
public:
    using StoreError::StoreError;
};

} // namespace vconf
