// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Bell.h"
#include "Database.h"
#include "Statement.h"
#include "StoreFiles.h"
#include "StoredKey.h"

namespace vconf {

/// The keys in one database file. One thread at a time; any number of stores, in as many processes,
/// may have the same file open, and each sees at once what another has changed.
///
/// What can't be done throws: KeyError where that is the caller's fault, else StoreError.
class Store {
public:
    /// `bootId` is another one after each restart of the machine; with an empty one no key ends.
    /// Throws OpenError.
    Store(const std::string& path, std::string bootId);

    StoredValue Get(std::string_view name);
    /// A value of another type is a KeyError too.
    StoredValue Get(std::string_view name, VConfType type);

    void SetInt(std::string_view name, int value);
    void SetBool(std::string_view name, int value);
    void SetDouble(std::string_view name, double value);
    void SetString(std::string_view name, std::string_view value);
    void Unset(std::string_view name);

    /// Returns when everything that has been changed so far, by whomever, is on the disk.
    void Sync();

    /// The keys whose names begin so, in the order of their names' bytes.
    std::vector<StoredKey> List(std::string_view prefix);

    /// Every change of a key has a number, higher than all before; 0 where there is none yet.
    std::int64_t LastNumber();
    /// The last change of each key behind `number`, in order, a removed key with VCONF_NONE.
    /// `number` becomes the last one that was seen. Keys that aren't wanted are left out.
    std::vector<StoredKey> ChangesSince(std::int64_t& number,
                                        const std::function<bool(std::string_view)>& isWanted);

    /// What tells this database from one that takes its place.
    const std::string& Id() const { return m_id; }
    const StorePaths& Paths() const { return m_paths; }
    /// False when its files have been removed or replaced: nobody else would see what is set here.
    bool IsInPlace() const {
        return (m_files.AreThere() || !m_hasLog) && m_files == StoreFiles(m_paths) &&
               StoreFiles::LeadsTo(m_paths) && !m_database.HasMoved();
    }

private:
    void Prepare();
    void MakeTables();
    void EndMemoryKeys();
    bool IsOfThisBoot();
    void Set(std::string_view name, VConfType type, const auto& value);
    void Changed();
    void ShortenLog();

    const std::string m_bootId;
    Database m_database;
    const StorePaths m_paths;
    std::optional<Bell> m_bell; // of a store that can be written
    std::string m_id;
    bool m_hidesMemoryKeys = false;
    bool m_hasLog = true; // or it is to be read only, and nobody who may write it has been there
    int m_nextCheckpoint = 0;
    std::optional<Statement> m_get;
    std::optional<Statement> m_set;
    std::optional<Statement> m_unset;
    std::optional<Statement> m_sync;
    std::optional<Statement> m_list;
    std::optional<Statement> m_lastNumber;
    std::optional<Statement> m_changes;
    StoreFiles m_files;
};

} // namespace vconf
