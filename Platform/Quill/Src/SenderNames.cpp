// SPDX-License-Identifier: Apache-2.0
#include "SenderNames.h"

namespace Quill {

void SenderNames::OwnerChanged(const std::string& name, const std::string& newOwner) {
    if (const auto owner = m_owners.find(name); owner != m_owners.end()) {
        if (owner->second == newOwner) {
            return;
        }
        const auto names = m_names.find(owner->second);
        std::erase(names->second, name);
        if (names->second.empty()) {
            m_names.erase(names);
        }
        m_owners.erase(owner);
    }
    if (!newOwner.empty()) {
        m_owners.emplace(name, newOwner);
        m_names[newOwner].push_back(name);
    }
}

std::string_view SenderNames::NameOf(std::string_view uniqueName) const {
    const auto names = m_names.find(uniqueName);
    return names == m_names.end() ? uniqueName : std::string_view(names->second.front());
}

bool SenderNames::IsOwner(std::string_view uniqueName, std::string_view name) const {
    const auto owner = m_owners.find(name);
    return owner != m_owners.end() && owner->second == uniqueName;
}

} // namespace Quill
