// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/any.hpp>
#include <cstdint>
#include <string>

struct _keynode_t; // the platform's changed key

namespace marrow::evt {

/// A configuration key that has changed: what a listener gets. A value type.
///
/// The conversions are narrower than the types: a listener reads integers and strings with them. Of
/// a double or a boolean it learns the name and the type, and asks VConfEventProxy::GetValue for
/// the value. A conversion that the type doesn't have logs a line and returns what is told below;
/// one that it has but whose value is of another type inside throws boost::bad_any_cast.
class VConfData {
public:
    /// Reads the node, and keeps nothing of it.
    VConfData(_keynode_t* node);

    std::string GetName();
    /// The platform's number: 40 a string, 41 an integer, 42 a double, 43 a boolean. With any other
    /// one, such as that of a key that was removed, there is no value.
    int GetType();

    operator int() const;         ///< of an integer; else 2147483647
    operator bool() const;        ///< throws for a boolean, which is an int inside; else false
    operator double() const;      ///< throws for a boolean; else, for a double too, DBL_MAX
    operator std::string() const; ///< of a string; else an empty one

private:
    // What `value` holds, where the type is the one that the conversion wants.
    template <typename T>
    T ValueOf(int wanted, const T& otherwise) const;

    std::string name;
    std::int32_t type;
    boost::any value; // a boolean as the platform's int
};

} // namespace marrow::evt
