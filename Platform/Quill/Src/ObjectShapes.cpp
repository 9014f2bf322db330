// SPDX-License-Identifier: Apache-2.0
#include "ObjectShapes.h"

#include <algorithm>
#include <functional>
#include <set>

#include "Mutex.h"

namespace Quill {

namespace {

// Good enough to tell shapes apart: the keys themselves are compared afterwards.
std::uint64_t HashOf(std::span<const std::string_view> keys) {
    std::uint64_t hash = keys.size();
    for (const std::string_view key : keys) {
        std::uint64_t some = key.size();
        if (!key.empty()) {
            const auto byte = [&](std::size_t i) {
                return std::uint64_t{static_cast<unsigned char>(key[i])};
            };
            some = some << 24U | byte(0) << 16U | byte(key.size() / 2) << 8U | byte(key.size() - 1);
        }
        hash = (hash ^ some) * 0x9E3779B97F4A7C15U;
        hash ^= hash >> 32U;
    }
    return hash;
}

// The keys of shapes, of all threads. What is in it stays until the process ends: values that point
// to these keys rather than own them go anywhere, and outlive every thread and shape.
class EternalKeys {
public:
    static EternalKeys& Get() {
        static auto* const keys = new EternalKeys; // for the life of the process, as its keys
        return *keys;
    }

    /// Null where there is no more room, or no C string that could stand for it.
    const char* Find(std::string_view key) EXCLUDES(m_mutex) {
        if (key.find('\0') != std::string_view::npos) {
            return nullptr;
        }
        const marrow::base::MutexLock lock(m_mutex);
        const auto known = m_keys.find(key);
        if (known != m_keys.end()) {
            return known->c_str();
        }
        if (m_bytes + key.size() > MOST_BYTES || m_keys.size() == MOST_KEYS) {
            return nullptr;
        }
        m_bytes += key.size();
        return m_keys.emplace(key).first->c_str();
    }

private:
    static constexpr std::size_t MOST_KEYS = 4096;
    static constexpr std::size_t MOST_BYTES = 128UL * 1024;

    marrow::base::Mutex m_mutex;
    std::set<std::string, std::less<>> m_keys GUARDED_BY(m_mutex);
    std::size_t m_bytes GUARDED_BY(m_mutex) = 0;
};

void AddNull(Json::Value& object, std::string_view key) {
    if (const char* const eternal = EternalKeys::Get().Find(key)) {
        object[Json::StaticString(eternal)];
    } else {
        object.demand(key.data(), key.data() + key.size());
    }
}

bool Has(const ObjectShapes::Shape& shape, std::span<const std::string_view> keys) {
    return std::equal(shape.keys.begin(), shape.keys.end(), keys.begin(), keys.end());
}

} // namespace

const ObjectShapes::Shape* ObjectShapes::Find(std::span<const std::string_view> keys) {
    if (keys.empty() || keys.size() > MOST_MEMBERS) {
        return nullptr;
    }
    if (m_latest != nullptr && Has(*m_latest, keys)) { // the records of a list
        return m_latest;
    }
    const std::uint64_t hash = HashOf(keys);
    Slot& slot = m_slots[hash % SLOTS];
    if (!Has(slot.shape, keys)) {
        if (slot.lastMissed != hash) {
            slot.lastMissed = hash;
            return nullptr;
        }
        if (!Learn(keys, slot.shape)) {
            return nullptr;
        }
    }
    m_latest = &slot.shape;
    return m_latest;
}

bool ObjectShapes::Learn(std::span<const std::string_view> keys, Shape& shape) {
    std::size_t bytes = 0;
    for (const std::string_view key : keys) {
        bytes += key.size();
    }
    if (bytes > MOST_KEY_BYTES) {
        return false;
    }
    Shape learnt;
    learnt.blank = Json::Value(Json::objectValue);
    for (const std::string_view key : keys) {
        learnt.keys.emplace_back(key);
        AddNull(learnt.blank, key);
    }
    if (learnt.blank.size() != keys.size()) {
        return false;
    }
    std::uint8_t place = 0;
    for (auto member = learnt.blank.begin(); member != learnt.blank.end(); ++member, ++place) {
        const auto key = std::find(learnt.keys.begin(), learnt.keys.end(), member.name());
        learnt.places[static_cast<std::size_t>(key - learnt.keys.begin())] = place;
    }
    shape = std::move(learnt);
    return true;
}

} // namespace Quill
