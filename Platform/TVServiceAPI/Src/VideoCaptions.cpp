// SPDX-License-Identifier: Apache-2.0
#include "VideoCaptions.h"

#include <utility>

#include "CcData.h"

namespace tvservice {

namespace {

constexpr std::uint8_t MPEG1_VIDEO = 0x01;
constexpr std::uint8_t MPEG2_VIDEO = 0x02;
constexpr std::uint8_t H264_VIDEO = 0x1B;

constexpr std::uint8_t PICTURE_START = 0x00; // ISO/IEC 13818-2, table 6-1
constexpr std::uint8_t USER_DATA_START = 0xB2;
constexpr std::size_t PICTURE_HEADER_BYTES = 3; // with the start code's last, up to the coding type
constexpr unsigned B_PICTURE = 3;
constexpr std::size_t USER_DATA_BYTES = 1 + 7 + 31 * 3 + 1;

// ITU-T H.264, table 7-1.
constexpr unsigned SLICE_UNIT = 1;
constexpr unsigned PARTITION_UNIT = 2; // the first of a slice's three, with its header
constexpr unsigned IDR_SLICE_UNIT = 5;
constexpr unsigned SEI_UNIT = 6;
constexpr unsigned DELIMITER_UNIT = 9;
constexpr std::size_t SEI_BYTES = 4096; // captions and what else may stand in the same unit
constexpr unsigned T35_MESSAGE = 4;

constexpr std::size_t MOST_CC_BYTES = 4096; // of one picture

// Takes the byte 03 out of each 00 00 03 (ITU-T H.264, 7.4.1.1).
void RemoveEmulationPrevention(Bytes unit, std::vector<std::uint8_t>& rbsp) {
    rbsp.clear();
    unsigned zeros = 0;
    for (const std::uint8_t byte : unit) {
        if (zeros >= 2 && byte == 3) {
            zeros = 0;
            continue;
        }
        zeros = byte == 0 ? zeros + 1 : 0;
        rbsp.push_back(byte);
    }
}

// A number of an SEI message: each byte FF adds 255, and the first other one ends it.
std::optional<std::size_t> TakeNumber(Bytes& bytes) {
    std::size_t number = 0;
    while (!bytes.empty()) {
        const std::uint8_t byte = bytes[0];
        bytes = bytes.subspan(1);
        number += byte;
        if (byte != 0xFF) {
            return number;
        }
    }
    return std::nullopt;
}

} // namespace

bool VideoCaptions::CanRead(std::uint8_t streamType) {
    return streamType == MPEG1_VIDEO || streamType == MPEG2_VIDEO || streamType == H264_VIDEO;
}

VideoCaptions::VideoCaptions(std::uint8_t streamType, PresentationOrder::Show show,
                             Counters& counters)
    : m_codec(streamType == H264_VIDEO ? Codec::H264 : Codec::Mpeg2), m_counters(counters),
      m_scanner(*this), m_order(m_codec == Codec::H264 ? PresentationOrder::Rule::ByTime
                                                       : PresentationOrder::Rule::ByKind,
                                [show = std::move(show)](const CodedPicture& picture) {
                                    if (!picture.ccData.empty()) {
                                        show(picture);
                                    }
                                }) {}

void VideoCaptions::Reset() {
    m_continuity.Reset();
    m_scanner.Reset();
    m_order.Clear();
    m_inHeader = m_inData = m_inPicture = m_sliceSeen = false;
    m_nextPts.reset();
    m_nextDts.reset();
}

void VideoCaptions::Flush() {
    EndPicture();
    m_order.Flush();
    Drop();
}

// Half a unit helps nobody.
void VideoCaptions::Drop() {
    m_scanner.Reset();
    m_inHeader = m_inData = false;
}

void VideoCaptions::Push(const TsPacket& packet) {
    const Continuity::Use use = m_continuity.Judge(packet, m_counters);
    if (use == Continuity::Use::None) {
        return;
    }
    if (use == Continuity::Use::Begin) {
        Drop();
    }
    if (packet.unitStart) {
        m_inHeader = true;
        m_inData = false;
        m_header.clear();
    }
    if (m_inData) {
        m_scanner.Push(packet.payload);
    } else if (m_inHeader) {
        m_header.insert(m_header.end(), packet.payload.begin(), packet.payload.end());
        if (const std::optional<PesHeader> header = PesHeader::Parse(m_header)) {
            m_inHeader = false;
            m_inData = true;
            m_nextPts = header->pts;
            m_nextDts = header->dts;
            m_scanner.Push(Bytes(m_header).subspan(header->dataOffset));
        } else if (m_header.size() >= PesHeader::START_BYTES && !PesHeader::IsStart(m_header)) {
            ++m_counters.badPes;
            m_inHeader = false;
        }
    }
}

std::size_t VideoCaptions::OnUnitStart(std::uint8_t firstByte) {
    return m_codec == Codec::H264 ? OnH264Start(firstByte) : OnMpeg2Start(firstByte);
}

void VideoCaptions::OnUnit(Bytes unit) {
    if (m_codec == Codec::H264) {
        OnH264Unit(unit);
    } else {
        OnMpeg2Unit(unit);
    }
}

// --- pictures ---

void VideoCaptions::BeginPicture() {
    EndPicture();
    m_inPicture = true;
    m_sliceSeen = false;
    m_picture.pts = std::exchange(m_nextPts, std::nullopt);
    m_picture.dts = std::exchange(m_nextDts, std::nullopt);
    m_picture.isReference = true;
    m_picture.ccData.clear();
}

// Pictures without captions count too: others are shown when they come.
void VideoCaptions::EndPicture() {
    if (std::exchange(m_inPicture, false)) {
        m_order.Push(std::move(m_picture));
        m_picture = CodedPicture();
    }
}

void VideoCaptions::AddCcData(Bytes triples) {
    if (m_inPicture && m_picture.ccData.size() + triples.size() <= MOST_CC_BYTES) {
        m_picture.ccData.insert(m_picture.ccData.end(), triples.begin(), triples.end());
    }
}

// --- MPEG-2 ---

// User data of a sequence or a group of pictures stands ahead of the picture's header, with the
// picture before it ended by its slices.
std::size_t VideoCaptions::OnMpeg2Start(std::uint8_t startCode) {
    if (startCode == PICTURE_START) {
        BeginPicture();
        return PICTURE_HEADER_BYTES;
    }
    if (startCode == USER_DATA_START) {
        return m_inPicture && !m_sliceSeen ? USER_DATA_BYTES : 0;
    }
    if (startCode < USER_DATA_START - 2) { // a slice
        m_sliceSeen = true;
    }
    return 0;
}

void VideoCaptions::OnMpeg2Unit(Bytes unit) {
    if (unit.empty()) {
        return;
    }
    if (unit[0] == PICTURE_START && unit.size() == PICTURE_HEADER_BYTES) {
        m_picture.isReference = (unit[2] >> 3 & 0x07U) != B_PICTURE;
        m_picture.frame = static_cast<unsigned>(unit[1]) << 2 | unit[2] >> 6; // temporal_reference
    } else if (unit[0] == USER_DATA_START) {
        if (const std::optional<Bytes> triples = CcDataOfUserData(unit.subspan(1))) {
            AddCcData(*triples);
        }
    }
}

// --- H.264 ---

// The first unit that isn't a slice, behind a slice, begins the next picture (ITU-T H.264,
// 7.4.1.2.3), and so does an access unit delimiter.
std::size_t VideoCaptions::OnH264Start(std::uint8_t header) {
    const unsigned type = header & 0x1F;
    const bool isSlice = type == SLICE_UNIT || type == PARTITION_UNIT || type == IDR_SLICE_UNIT;
    const bool isAhead = type >= SEI_UNIT && type < DELIMITER_UNIT;
    if (!m_inPicture || type == DELIMITER_UNIT || (m_sliceSeen && isAhead)) {
        BeginPicture();
    }
    if (isSlice) {
        const bool firstOfPicture = !m_sliceSeen;
        m_sliceSeen = true;
        return firstOfPicture ? 0 : 2; // first_mb_in_slice tells whether it is another's
    }
    return type == SEI_UNIT ? SEI_BYTES : 0;
}

void VideoCaptions::OnH264Unit(Bytes unit) {
    if (unit.empty()) {
        return;
    }
    const unsigned type = unit[0] & 0x1F;
    if (type == SEI_UNIT) {
        RemoveEmulationPrevention(unit.subspan(1), m_rbsp);
        ReadMessages(m_rbsp);
    } else if (unit.size() >= 2 && (unit[1] & 0x80) != 0) { // first_mb_in_slice is 0
        BeginPicture();
        m_sliceSeen = true;
    }
}

// ITU-T H.264, 7.3.2.3.
void VideoCaptions::ReadMessages(Bytes rbsp) {
    while (rbsp.size() > 2) { // less is the trailing bits
        const std::optional<std::size_t> type = TakeNumber(rbsp);
        const std::optional<std::size_t> size = TakeNumber(rbsp);
        if (!type || !size || *size > rbsp.size()) {
            return;
        }
        if (*type == T35_MESSAGE) {
            if (const std::optional<Bytes> triples = CcDataOfT35(rbsp.first(*size))) {
                AddCcData(*triples);
            }
        }
        rbsp = rbsp.subspan(*size);
    }
}

} // namespace tvservice
