// SPDX-License-Identifier: Apache-2.0
#include "CoutCapture.h"

#include <algorithm>
#include <array>
#include <iostream>
#include <pthread.h>

namespace {

std::string ThreadName() {
    std::array<char, 16> name{};
    pthread_getname_np(pthread_self(), name.data(), name.size());
    return name.data();
}

int CountText(const std::vector<CoutCapture::Line>& lines, std::string_view text) {
    return static_cast<int>(
        std::count_if(lines.begin(), lines.end(),
                      [&](const CoutCapture::Line& line) { return line.text == text; }));
}

} // namespace

// Never destroyed: the code under test may write at exit.
CoutCapture& CoutCapture::Get() {
    static auto* const capture = new CoutCapture;
    return *capture;
}

CoutCapture::CoutCapture() {
    std::cout.rdbuf(this);
}

std::vector<CoutCapture::Line> CoutCapture::Lines() {
    const std::scoped_lock lock(m_mutex);
    return m_lines;
}

void CoutCapture::Clear() {
    const std::scoped_lock lock(m_mutex);
    m_lines.clear();
    m_flushes = 0;
}

int CoutCapture::Count(std::string_view text) {
    return CountText(Lines(), text);
}

bool CoutCapture::WaitFor(std::string_view text, int count, std::chrono::seconds limit) {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, limit, [&] { return CountText(m_lines, text) >= count; });
}

int CoutCapture::Flushes() {
    const std::scoped_lock lock(m_mutex);
    return m_flushes;
}

std::streamsize CoutCapture::xsputn(const char* text, std::streamsize length) {
    const std::string_view piece(text, static_cast<std::size_t>(length));
    {
        const std::scoped_lock lock(m_mutex);
        std::string& line = m_begun[std::this_thread::get_id()];
        for (const char character : piece) {
            if (character == '\n') {
                m_lines.push_back({std::move(line), ThreadName()});
                line.clear();
            } else {
                line += character;
            }
        }
        m_changed.notify_all();
    }
    Pass(piece);
    return length;
}

CoutCapture::int_type CoutCapture::overflow(int_type character) {
    if (traits_type::eq_int_type(character, traits_type::eof())) {
        return traits_type::not_eof(character);
    }
    const char text = traits_type::to_char_type(character);
    xsputn(&text, 1);
    return character;
}

int CoutCapture::sync() {
    const std::scoped_lock lock(m_mutex);
    ++m_flushes;
    return 0;
}
