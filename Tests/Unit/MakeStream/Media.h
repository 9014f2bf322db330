// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "Bytes.h"

/// A file of a test, which goes with this object.
class TemporaryFile {
public:
    explicit TemporaryFile(const streammaker::Bytes& bytes = {});
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

/// What a program writes to standard output; it is to write nothing to standard error and to end
/// well, else the test has failed.
std::string OutputOf(const std::vector<std::string>& words);

/// What ffprobe shows of a stream, as lines of words between commas.
std::vector<std::string> Probe(const std::string& file, const std::vector<std::string>& options);

/// Has ffmpeg decode all video of a stream; any error fails the test.
void DecodeVideo(const std::string& file);

/// The texts of the captions (CEA-608) of a stream's first video, as ffmpeg shows them.
std::vector<std::string> CaptionTexts(const std::string& file);
