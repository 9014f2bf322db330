// SPDX-License-Identifier: Apache-2.0
#include "StyledText.h"

#include <memory>
#include <sstream>
#include <utility>

namespace marrow::msg {

std::string StyledText(const Json::Value& value) {
    // A writer keeps nothing between two texts.
    static thread_local const std::unique_ptr<Json::StreamWriter> writer(
        Json::StreamWriterBuilder().newStreamWriter());
    static thread_local std::ostringstream stream;
    stream.str({});
    writer->write(value, &stream);
    stream << '\n';
    return std::move(stream).str();
}

} // namespace marrow::msg
