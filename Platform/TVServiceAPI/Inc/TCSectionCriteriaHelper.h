// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// Which sections (ISO/IEC 13818-1, 2.4.4.11) a filter lets through: those of one PID whose first
/// bytes match. Without further words every section of the PID comes, each time that the stream
/// carries it, if its CRC_32 is right or it has none.
class TCSectionCriteriaHelper {
public:
    /// How many bytes from the start of a section can be compared; byte 0 is the table id, bytes 1
    /// and 2 hold section_length.
    static constexpr std::size_t COMPARED_BYTES = 16;

    /// The PID, 0 to 0x1FFF. A filter for a greater one is refused.
    explicit TCSectionCriteriaHelper(unsigned short pid) : m_pid(pid) {}
    /// The sections of one table id.
    TCSectionCriteriaHelper(unsigned short pid, unsigned char tableId) : m_pid(pid) {
        Compare(0, tableId);
    }

    /// The byte at `offset` must equal `value` in the bits that are set in `mask`. The last word on
    /// an offset counts. Returns false, and changes nothing, where `offset` isn't below
    /// COMPARED_BYTES. A section that ends ahead of a compared byte doesn't match.
    bool Compare(std::size_t offset, unsigned char value, unsigned char mask = 0xFF) {
        if (offset >= COMPARED_BYTES) {
            return false;
        }
        m_values[offset] = static_cast<unsigned char>(value & mask);
        m_masks[offset] = mask;
        return true;
    }

    /// The table_id_extension: service_id, program_number, transport_stream_id and the like.
    void CompareExtension(unsigned short extension) {
        Compare(3, static_cast<unsigned char>(extension >> 8));
        Compare(4, static_cast<unsigned char>(extension & 0xFF));
    }

    /// With the check, the default, a section with a wrong CRC_32 doesn't come. Without it such a
    /// section comes with the callback's flag false.
    void SetCrcCheck(bool check) { m_crcCheck = check; }

    /// Only sections that are new: of another version_number or other bytes than the last section
    /// of the same table id, extension, section_number and current_next_indicator. In the long form
    /// (with section_syntax_indicator) the version_number decides, in the short form the bytes. A
    /// damaged one, where that isn't checked, is new each time.
    void SetOnChangeOnly(bool onChangeOnly) { m_onChangeOnly = onChangeOnly; }

    unsigned short Pid() const { return m_pid; }
    bool CrcCheck() const { return m_crcCheck; }
    bool OnChangeOnly() const { return m_onChangeOnly; }
    const std::array<unsigned char, COMPARED_BYTES>& Values() const { return m_values; }
    const std::array<unsigned char, COMPARED_BYTES>& Masks() const { return m_masks; }

private:
    unsigned short m_pid;
    bool m_crcCheck = true;
    bool m_onChangeOnly = false;
    std::array<unsigned char, COMPARED_BYTES> m_values{};
    std::array<unsigned char, COMPARED_BYTES> m_masks{};
};
