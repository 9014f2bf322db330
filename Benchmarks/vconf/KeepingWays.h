// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>

/// A way to keep one value so that other processes see it.
class KeepingWay {
public:
    virtual ~KeepingWay() = default;

    virtual void Set(const std::string& value) = 0;
    /// The same, and returns when it is on the disk.
    virtual void SetAndSync(const std::string& value) = 0;
    /// Has `told` called with each value that any process sets, on whatever thread.
    virtual void Watch(std::function<void(const std::string&)> told) = 0;
};

/// The library.
std::unique_ptr<KeepingWay> MakeStoreWay(const std::string& folder);
/// A file for each key, written beside and renamed, and watched.
std::unique_ptr<KeepingWay> MakeFileWay(const std::string& folder);
/// SQLite's own calls with the library's settings; can't be watched.
std::unique_ptr<KeepingWay> MakeSqliteWay(const std::string& folder);
