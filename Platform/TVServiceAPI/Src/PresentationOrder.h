// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <vector>

#include "PesHeader.h"

namespace tvservice {

/// One coded picture, as far as captions need it.
struct CodedPicture {
    std::optional<TimeStamp> pts;
    std::optional<TimeStamp> dts;
    bool isReference = true; ///< others are shown at once: the B pictures of MPEG-2
    std::vector<std::uint8_t> ccData;
    unsigned frame = 0; ///< in MPEG-2 the two fields of a frame have the same one
};

/// Brings pictures from the order of their decoding into that of their presentation.
///
/// By time: what is to be shown at or before the decoding time of the picture that has just come
/// cannot be overtaken any more, and where the clock goes back or leaps, nothing that waits can. A
/// picture without a time stays behind the one that came before it, as a second field does. By kind
/// (ISO/IEC 13818-2, 6.1.1.11): a B picture is shown at once, every other frame when the next of
/// its own kind comes.
class PresentationOrder {
public:
    enum class Rule { ByTime, ByKind };
    using Show = std::function<void(const CodedPicture&)>;

    PresentationOrder(Rule rule, Show show);

    void Push(CodedPicture picture);
    /// Shows what waits: nothing that belongs to it follows.
    void Flush();
    /// Forgets what waits.
    void Clear();

private:
    void PushByKind(CodedPicture picture);
    void PushByTime(CodedPicture picture);
    void ShowUpTo(TimeStamp time);
    void ShowFirst();

    const Rule m_rule;
    const Show m_show;
    struct Waiting {
        TimeStamp time; // when it is shown, in ByTime
        CodedPicture picture;
    };

    std::deque<Waiting> m_waiting;      // in the order of their presentation
    std::optional<TimeStamp> m_decoded; // of the last picture that said so
    std::optional<TimeStamp> m_shown;   // likewise
};

} // namespace tvservice
