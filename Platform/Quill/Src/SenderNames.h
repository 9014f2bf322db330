// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Quill {

// Who owns which well-known name, as the bus told it. Not thread-safe: belongs to
// a BusConnection and is touched under its lock.
class SenderNames {
public:
    /// Ownership of `name` went over to `newOwner`, a unique name, or to nobody where it is empty.
    void OwnerChanged(const std::string& name, const std::string& newOwner);

    /// The well-known name of a connection, the one that it has had longest; its unique name where
    /// it has none.
    std::string_view NameOf(std::string_view uniqueName) const;

    /// Whether `name` is owned by that connection now.
    bool IsOwner(std::string_view uniqueName, std::string_view name) const;

private:
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const {
            return std::hash<std::string_view>{}(text);
        }
    };
    template <typename Value>
    using ByName = std::unordered_map<std::string, Value, Hash, std::equal_to<>>;

    ByName<std::string> m_owners;
    ByName<std::vector<std::string>> m_names;
};

} // namespace Quill
