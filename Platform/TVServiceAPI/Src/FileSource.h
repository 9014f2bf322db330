// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "FileDescriptor.h"
#include "Source.h"

namespace tvservice {

/// A plain file, a FIFO, or a device that reads like one. A FIFO is held open for writing as well:
/// writers may come and go.
class FileSource final : public Source {
public:
    explicit FileSource(const std::string& path);

    Result Read(std::span<std::uint8_t> room) override;
    bool Rewind() override;
    bool IsFile() const override { return m_isFile; }
    int Descriptor() const override { return m_descriptor.Number(); }

private:
    marrow::base::FileDescriptor m_descriptor;
    bool m_isFile = false;
};

} // namespace tvservice
