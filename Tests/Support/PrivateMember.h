// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Reaches a private field, for what shows nowhere else:
///
///     struct Lock : PrivateMember<Lock, Mutex Class::*> {};
///     template struct ExposeMember<Lock, &Class::m_mutex>;
///     ...
///     object.*MemberOf(Lock())
///
/// An explicit instantiation may name what is private.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-template-friend" // one function for each tag is what is meant
#endif
template <typename Tag, typename Pointer>
struct PrivateMember {
    using Member = Pointer;
    friend Member MemberOf(Tag);
};
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

template <typename Tag, typename Tag::Member Value>
struct ExposeMember {
    friend typename Tag::Member MemberOf(Tag) { return Value; }
};
