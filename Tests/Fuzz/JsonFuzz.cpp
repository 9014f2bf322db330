// SPDX-License-Identifier: Apache-2.0

// A libFuzzer target: any bytes as a message's payload. What the codec makes of them, and what it
// and the log's rendering write of that, is compared with what the JSON library alone does.

#include <cstdint>
#include <span>
#include <string>

#include "Fuzz.h"
#include "FuzzCheck.h"
#include "JsonCodecReference.h"
#include "StyledText.h"

int FuzzJson(std::span<const std::uint8_t> input) {
    using Quill::JsonCodec::Root;
    const std::string text(input.begin(), input.end());
    Check(json_reference::DecodingDifference(text, Root::OBJECT));
    // The second time the codec learns what kinds of objects there are, the third time it knows.
    for (int look = 0; look < 3; ++look) {
        Check(json_reference::DecodingDifference(text, Root::ANY));
    }
    const json_reference::Outcome outcome = json_reference::Decode(text, Root::ANY);
    if (outcome.isTaken) {
        const std::string styled = outcome.value.toStyledString();
        Check(marrow::msg::StyledText(outcome.value) == styled ? "" : "styled: " + styled);
    }
    return 0;
}
