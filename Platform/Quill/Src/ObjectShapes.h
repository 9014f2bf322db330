// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <json/json.h>

namespace Quill {

/// The keys of objects that have been met before. Messages repeat the same few kinds of objects,
/// and to copy an object and fill it in takes two thirds of the time of adding its members one by
/// one: a copied map is built as it stands, with no search for the place of each key. Nor does a
/// copy own its keys: they are kept for ever, and there are only so many.
///
/// Of bounded size; what is met once only is forgotten. One thread at a time.
class ObjectShapes {
public:
    static constexpr std::size_t MOST_MEMBERS = 16;

    struct Shape {
        std::vector<std::string> keys;
        Json::Value blank; ///< an object with these keys, each null
        /// Where in the map's order the member stands that is the n-th of `keys`.
        std::array<std::uint8_t, MOST_MEMBERS> places{};
    };

    /// The shape of an object that has these keys in this order, or null where there is none (yet):
    /// it isn't known, or one of the keys occurs twice. Valid until the next call.
    const Shape* Find(std::span<const std::string_view> keys);

private:
    struct Slot {
        std::uint64_t lastMissed = 0;
        Shape shape;
    };

    static bool Learn(std::span<const std::string_view> keys, Shape& shape);

    static constexpr std::size_t SLOTS = 64;
    static constexpr std::size_t MOST_KEY_BYTES = 512;

    std::vector<Slot> m_slots = std::vector<Slot>(SLOTS);
    const Shape* m_latest = nullptr;
};

} // namespace Quill
