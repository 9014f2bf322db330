// SPDX-License-Identifier: Apache-2.0
#include "FastReader.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include <simdjson.h>

#include "ObjectShapes.h"
#include "PerThread.h"

namespace Quill {

namespace {

using marrow::base::PerThread;
using simdjson::dom::element;
using simdjson::dom::element_type;

// A parser's memory is some fifteen times the longest text that it has read.
constexpr std::size_t LONGEST_KEPT = 128UL * 1024;

Json::Value StringOf(const element& from) {
    const std::string_view text = from.get_string().value_unsafe();
    return {text.data(), text.data() + text.size()};
}

// Makes values of what the parser has found. What becomes of a wrong text in the middle of it is
// left to the caller: false, and a value that is to be thrown away.
class Builder {
public:
    bool Build(const element& from, Json::Value& to) { return Fill(from, to, 0); }

private:
    static constexpr int DEEPEST = JsonCodec::DEEPEST_NESTING;

    // `to` is null; so many arrays and objects stand around it. Scalars are swapped in, because
    // an assignment of JsonCpp swaps comments and offsets too, and there are none.
    bool Fill(const element& from, Json::Value& to, int depth) {
        if (depth > DEEPEST) {
            return false;
        }
        switch (from.type()) {
        case element_type::OBJECT:
            return FillObject(from.get_object().value_unsafe(), to, depth);
        case element_type::ARRAY:
            Swap(Json::Value(Json::arrayValue), to);
            return FillArray(from.get_array().value_unsafe(), to, depth);
        case element_type::STRING:
            Swap(StringOf(from), to);
            return true;
        case element_type::NULL_VALUE:
            return true;
        default:
            Swap(NumberOrBool(from), to);
            return true;
        }
    }

    bool FillArray(const simdjson::dom::array& from, Json::Value& to, int depth) {
        for (const element item : from) {
            if (depth == DEEPEST) {
                return false;
            }
            switch (item.type()) {
            case element_type::OBJECT:
                if (!FillObject(item.get_object().value_unsafe(), to.append(Json::Value()),
                                depth + 1)) {
                    return false;
                }
                break;
            case element_type::ARRAY:
                if (!FillArray(item.get_array().value_unsafe(),
                               to.append(Json::Value(Json::arrayValue)), depth + 1)) {
                    return false;
                }
                break;
            case element_type::STRING:
                to.append(StringOf(item));
                break;
            case element_type::NULL_VALUE:
                to.append(Json::Value());
                break;
            default:
                to.append(NumberOrBool(item));
                break;
            }
        }
        return true;
    }

    bool FillObject(const simdjson::dom::object& from, Json::Value& to, int depth) {
        std::array<std::string_view, ObjectShapes::MOST_MEMBERS> keys;
        std::size_t count = 0;
        for (const auto member : from) {
            if (count == keys.size()) {
                return FillMembers(from, to, depth);
            }
            keys[count++] = member.key;
        }
        const ObjectShapes::Shape* const shape = m_shapes.Find({keys.data(), count});
        if (shape == nullptr) {
            return FillMembers(from, to, depth);
        }
        Swap(Json::Value(shape->blank), to);
        std::array<Json::Value*, ObjectShapes::MOST_MEMBERS> inOrder;
        auto next = to.begin();
        for (std::size_t place = 0; place < count; ++place, ++next) {
            inOrder[place] = &*next;
        }
        const std::array<std::uint8_t, ObjectShapes::MOST_MEMBERS> places = shape->places;
        std::size_t number = 0;
        for (const auto member : from) {
            if (!Fill(member.value, *inOrder[places[number++]], depth + 1)) {
                return false;
            }
        }
        return true;
    }

    bool FillMembers(const simdjson::dom::object& from, Json::Value& to, int depth) {
        Swap(Json::Value(Json::objectValue), to);
        Json::ArrayIndex count = 0;
        for (const auto member : from) {
            Json::Value* const slot =
                to.demand(member.key.data(), member.key.data() + member.key.size());
            // A key that is there already has its member filled, with null at the least.
            if (to.size() != ++count || !Fill(member.value, *slot, depth + 1)) {
                return false;
            }
        }
        return true;
    }

    static Json::Value NumberOrBool(const element& from) {
        switch (from.type()) {
        case element_type::INT64:
            return Json::Int64{from.get_int64().value_unsafe()};
        case element_type::UINT64:
            return Json::UInt64{from.get_uint64().value_unsafe()};
        case element_type::DOUBLE:
            return from.get_double().value_unsafe();
        default:
            return from.get_bool().value_unsafe();
        }
    }

    static void Swap(Json::Value&& from, Json::Value& to) { to.swapPayload(from); }

    ObjectShapes m_shapes;
};

bool Read(simdjson::dom::parser& parser, std::string_view text, JsonCodec::Root root,
          Json::Value& value) {
    element found;
    if (parser.parse(text.data(), text.size()).get(found) != simdjson::SUCCESS ||
        (root == JsonCodec::Root::OBJECT && !found.is_object())) {
        return false;
    }
    Json::Value built;
    if (!PerThread<Builder>::Get().Build(found, built)) {
        return false;
    }
    value.swap(built);
    return true;
}

} // namespace

bool ReadFast(std::string_view text, JsonCodec::Root root, Json::Value& value) {
    if (text.size() > LONGEST_KEPT) {
        simdjson::dom::parser parser;
        return Read(parser, text, root, value);
    }
    return Read(PerThread<simdjson::dom::parser>::Get(), text, root, value);
}

} // namespace Quill
