// SPDX-License-Identifier: Apache-2.0

// A gray picture costs next to nothing: each block of an I picture says that its mean is what was
// predicted, which is 128 at the begin of a slice, and each macroblock of the others that it is
// like the one at its place in the reference picture. A slice must code its first and last
// macroblock, and these pictures have two to a row.

#include "Mpeg2Coder.h"

#include <algorithm>

#include "CcUserData.h"

namespace streammaker {

namespace {

constexpr unsigned SIZE = 32;
constexpr unsigned MACROBLOCK = 16;
constexpr unsigned RATE = 25;
constexpr std::uint8_t USER_DATA = 0xB2;
constexpr std::uint8_t SEQUENCE = 0xB3;
constexpr std::uint8_t EXTENSION = 0xB5;
constexpr std::uint8_t GROUP = 0xB8;
constexpr std::uint8_t PICTURE = 0x00;

void PutStartCode(BitWriter& bits, std::uint8_t code) {
    bits.Align();
    bits.Put(24, 1);
    bits.Put(8, code);
}

void PutSequence(BitWriter& bits) {
    PutStartCode(bits, SEQUENCE);
    bits.Put(12, SIZE);
    bits.Put(12, SIZE);
    bits.Put(4, 1);     // aspect_ratio_information: square samples
    bits.Put(4, 3);     // frame_rate_code: 25
    bits.Put(18, 1000); // bit_rate_value: 400 kbit/s
    bits.Put(1, 1);     // marker_bit
    bits.Put(10, 10);   // vbv_buffer_size_value
    bits.Put(3, 0);     // constrained_parameters_flag, load_intra_, load_non_intra_quantiser_matrix

    PutStartCode(bits, EXTENSION);
    bits.Put(4, 1);    // sequence_extension
    bits.Put(8, 0x4A); // profile_and_level_indication: main at low
    bits.Put(1, 1);    // progressive_sequence
    bits.Put(2, 1);    // chroma_format: 4:2:0
    bits.Put(4, 0);    // horizontal_size_extension, vertical_size_extension
    bits.Put(12, 0);   // bit_rate_extension
    bits.Put(1, 1);    // marker_bit
    bits.Put(8, 0);    // vbv_buffer_size_extension
    bits.Put(1, 0);    // low_delay
    bits.Put(7, 0);    // frame_rate_extension_n, frame_rate_extension_d
}

void PutGroup(BitWriter& bits, unsigned firstPicture) {
    const unsigned seconds = firstPicture / RATE;
    PutStartCode(bits, GROUP);
    bits.Put(1, 0); // drop_frame_flag
    bits.Put(5, seconds / 3600 % 24);
    bits.Put(6, seconds / 60 % 60);
    bits.Put(1, 1); // marker_bit
    bits.Put(6, seconds % 60);
    bits.Put(6, firstPicture % RATE);
    bits.Put(1, 1); // closed_gop
    bits.Put(1, 0); // broken_link
}

// For each direction whether the picture has vectors of it.
void PutPicture(BitWriter& bits, const CodedPicture& picture) {
    const bool forward = picture.type != PictureType::I;
    const bool backward = picture.type == PictureType::B;
    PutStartCode(bits, PICTURE);
    bits.Put(10, picture.shownAs); // temporal_reference
    bits.Put(3, static_cast<std::uint32_t>(picture.type));
    bits.Put(16, 0xFFFF); // vbv_delay
    if (forward) {
        bits.Put(4, 7); // full_pel_forward_vector, forward_f_code
    }
    if (backward) {
        bits.Put(4, 7);
    }
    bits.Put(1, 0); // extra_bit_picture

    PutStartCode(bits, EXTENSION);
    bits.Put(4, 8); // picture_coding_extension
    bits.Put(8, forward ? 0x11 : 0xFF);
    bits.Put(8, backward ? 0x11 : 0xFF);
    bits.Put(2, 0); // intra_dc_precision
    bits.Put(2, 3); // picture_structure: frame
    bits.Put(1, 0); // top_field_first
    bits.Put(1, 1); // frame_pred_frame_dct
    bits.Put(6, 0); // concealment_motion_vectors ... repeat_first_field
    bits.Put(2, 3); // chroma_420_type, progressive_frame
    bits.Put(1, 0); // composite_display_flag
}

// ISO/IEC 13818-2, tables B.2 to B.4 and B.12 to B.14.
void PutMacroblock(BitWriter& bits, PictureType type) {
    bits.Put(1, 1); // macroblock_address_increment
    switch (type) {
    case PictureType::I:
        bits.Put(1, 1); // macroblock_type: intra
        for (int block = 0; block < 4; ++block) {
            bits.Put(3, 0b100); // dct_dc_size_luminance 0
            bits.Put(2, 0b10);  // end of block
        }
        for (int block = 0; block < 2; ++block) {
            bits.Put(2, 0b00); // dct_dc_size_chrominance 0
            bits.Put(2, 0b10);
        }
        return;
    case PictureType::P:
        bits.Put(3, 0b001); // macroblock_type: forward vector, not coded
        break;
    case PictureType::B:
        bits.Put(4, 0b0010); // likewise
        break;
    }
    bits.Put(2, 0b11); // motion_code 0, in both directions
}

void PutSlices(BitWriter& bits, PictureType type) {
    for (unsigned row = 0; row < SIZE / MACROBLOCK; ++row) {
        PutStartCode(bits, static_cast<std::uint8_t>(row + 1));
        bits.Put(5, 1); // quantiser_scale_code
        bits.Put(1, 0); // extra_bit_slice
        for (unsigned column = 0; column < SIZE / MACROBLOCK; ++column) {
            PutMacroblock(bits, type);
        }
    }
    bits.Align();
}

} // namespace

Bytes Mpeg2Coder::Code(const CodedPicture& picture, const Bytes& triplets) {
    BitWriter bits;
    if (picture.type == PictureType::I) {
        m_groupStart += m_groupLength;
        m_groupLength = 0;
        PutSequence(bits);
        PutGroup(bits, m_groupStart);
    }
    m_groupLength = std::max(m_groupLength, picture.shownAs + 1);
    PutPicture(bits, picture);
    if (!triplets.empty()) {
        PutStartCode(bits, USER_DATA);
        bits.PutBytes(CcUserData(triplets));
    }
    PutSlices(bits, picture.type);
    return bits.Written();
}

} // namespace streammaker
