// SPDX-License-Identifier: Apache-2.0
#pragma once

// Static probes (USDT, as sys/sdt.h has them): one instruction that does nothing, where a tracer
// such as bpftrace may hook in while the program runs. Tools/trace has scripts for them, and
// Docs/performance.md the list. Arguments are pointers and numbers that are at hand anyway. The
// build leaves them out with -DHEARTHD_PROBES=OFF, and where there is no sys/sdt.h.
//
//     HEARTHD_PROBE(quill, message_in, id, subject, sender);

#if !defined(HEARTHD_NO_PROBES) && __has_include(<sys/sdt.h>)
#define SDT_USE_VARIADIC // STAP_PROBEV
#include <sys/sdt.h>
#define HEARTHD_PROBE(provider, name, ...) STAP_PROBEV(provider, name __VA_OPT__(, ) __VA_ARGS__)
#else
namespace marrow::base {
template <typename... Arguments>
inline void NoProbe(const Arguments&... /*unused*/) {}
} // namespace marrow::base
#define HEARTHD_PROBE(provider, name, ...) marrow::base::NoProbe(__VA_ARGS__)
#endif
