// SPDX-License-Identifier: Apache-2.0
#include "StyledText.h"

#include <cstddef>

#include "JsonScalar.h"
#include "JsonText.h"
#include "PerThread.h"

namespace marrow::msg {

namespace {

using base::HasComment;
using base::JsonText;

// A value with each item and member on a line of its own. False where JsonCpp is to write it: a
// value carries a comment, or a string is no UTF-8, out of which it makes things of its own.
class StyledWriter {
public:
    StyledWriter(JsonText& text, std::size_t enough) : m_text(text), m_enough(enough) {}

    bool Write(const Json::Value& value) { return !HasComment(value) && WritePlain(value, false); }

private:
    static constexpr auto ESCAPE = JsonText::Escape::NON_ASCII;

    // Brackets with something between them begin a line where they are a member's value.
    bool WritePlain(const Json::Value& value, bool isMember) {
        switch (value.type()) {
        case Json::arrayValue:
            return WriteArray(value, isMember);
        case Json::objectValue:
            return WriteObject(value, isMember);
        default:
            return base::AddScalar<ESCAPE>(m_text, value);
        }
    }

    bool WriteArray(const Json::Value& value, bool isMember) {
        if (value.empty()) {
            m_text.Add("[]");
            return true;
        }
        Open('[', isMember);
        Json::ArrayIndex next = 0;
        const auto end = value.end();
        for (auto item = value.begin(); item != end && !HasEnough(); ++item, ++next) {
            // An array may have holes, which are written as null.
            for (const Json::ArrayIndex index = item.index(); next < index; ++next) {
                BeginItem(next == 0);
                m_text.Add("null");
            }
            BeginItem(next == 0);
            if (HasComment(*item) || !WritePlain(*item, false)) {
                return false;
            }
        }
        Close(']');
        return true;
    }

    bool WriteObject(const Json::Value& value, bool isMember) {
        if (value.empty()) {
            m_text.Add("{}");
            return true;
        }
        Open('{', isMember);
        bool isFirst = true;
        const auto end = value.end();
        for (auto member = value.begin(); member != end && !HasEnough(); ++member) {
            BeginItem(isFirst);
            isFirst = false;
            if (!base::AddMemberName<ESCAPE>(m_text, member)) {
                return false;
            }
            m_text.Add(" : ");
            if (HasComment(*member) || !WritePlain(*member, true)) {
                return false;
            }
        }
        Close('}');
        return true;
    }

    void Open(char bracket, bool isMember) {
        if (isMember) {
            BeginLine();
        }
        m_text.Add(bracket);
        ++m_depth;
    }

    void Close(char bracket) {
        --m_depth;
        BeginLine();
        m_text.Add(bracket);
    }

    void BeginItem(bool isFirst) {
        if (!isFirst) {
            m_text.Add(',');
        }
        BeginLine();
    }

    void BeginLine() {
        m_text.Add('\n');
        m_text.Add(m_depth, '\t');
    }

    bool HasEnough() const { return m_text.Text().size() >= m_enough; }

    JsonText& m_text;
    const std::size_t m_enough;
    std::size_t m_depth = 0;
};

} // namespace

std::string StyledText(const Json::Value& value, std::size_t enough) {
    auto& text = base::PerThread<JsonText>::Get();
    text.Clear();
    if (!StyledWriter(text, enough).Write(value)) {
        return value.toStyledString();
    }
    text.Add('\n');
    return std::string(text.Text());
}

} // namespace marrow::msg
