// SPDX-License-Identifier: Apache-2.0

// The samples of an I picture stand in the stream as they are (I_PCM), so that it takes several
// packets; all macroblocks of the others are skipped: they show what is at their place in the
// reference picture.

#include "H264Coder.h"

#include "BitWriter.h"
#include "CcUserData.h"

namespace streammaker {

namespace {

constexpr unsigned MACROBLOCKS = 4; // 32 by 32 samples
constexpr std::size_t MACROBLOCK_SAMPLES = 384;
constexpr std::uint8_t GRAY = 128;
constexpr unsigned FRAME_BITS = 4;
constexpr unsigned ORDER_BITS = 8;

// NAL unit headers: nal_ref_idc and nal_unit_type.
constexpr std::uint8_t SLICE_NOT_KEPT = 0x01;
constexpr std::uint8_t SLICE_KEPT = 0x61;
constexpr std::uint8_t SLICE_IDR = 0x65;
constexpr std::uint8_t SUPPLEMENT = 0x06;
constexpr std::uint8_t SEQUENCE = 0x67;
constexpr std::uint8_t PICTURE = 0x68;
constexpr std::uint8_t DELIMITER = 0x09;

Bytes AccessUnitDelimiter(PictureType type) {
    BitWriter bits;
    bits.Put(3, static_cast<std::uint32_t>(type) - 1); // primary_pic_type
    bits.PutTrailingBits();
    return bits.Written();
}

void PutUsability(BitWriter& bits) {
    bits.Put(4, 0);      // no aspect_ratio, overscan, video_signal_type, chroma_loc
    bits.Put(1, 1);      // timing_info_present_flag
    bits.Put(32, 1);     // num_units_in_tick
    bits.Put(32, 50);    // time_scale, of fields
    bits.Put(1, 1);      // fixed_frame_rate_flag
    bits.Put(3, 0);      // no HRD, pic_struct_present_flag
    bits.Put(1, 1);      // bitstream_restriction_flag
    bits.Put(1, 1);      // motion_vectors_over_pic_boundaries_flag
    bits.PutUnsigned(0); // max_bytes_per_pic_denom
    bits.PutUnsigned(0); // max_bits_per_mb_denom
    bits.PutUnsigned(8); // log2_max_mv_length_horizontal
    bits.PutUnsigned(8);
    bits.PutUnsigned(1); // max_num_reorder_frames
    bits.PutUnsigned(2); // max_dec_frame_buffering
}

Bytes SequenceParameters() {
    BitWriter bits;
    bits.Put(8, 77); // profile_idc: main
    bits.Put(8, 0);
    bits.Put(8, 10);                  // level_idc: 1
    bits.PutUnsigned(0);              // seq_parameter_set_id
    bits.PutUnsigned(FRAME_BITS - 4); // log2_max_frame_num_minus4
    bits.PutUnsigned(0);              // pic_order_cnt_type
    bits.PutUnsigned(ORDER_BITS - 4); // log2_max_pic_order_cnt_lsb_minus4
    bits.PutUnsigned(2);              // max_num_ref_frames
    bits.Put(1, 0);                   // gaps_in_frame_num_value_allowed_flag
    bits.PutUnsigned(1);              // pic_width_in_mbs_minus1
    bits.PutUnsigned(1);              // pic_height_in_map_units_minus1
    bits.Put(1, 1);                   // frame_mbs_only_flag
    bits.Put(1, 1);                   // direct_8x8_inference_flag
    bits.Put(1, 0);                   // frame_cropping_flag
    bits.Put(1, 1);                   // vui_parameters_present_flag
    PutUsability(bits);
    bits.PutTrailingBits();
    return bits.Written();
}

Bytes PictureParameters() {
    BitWriter bits;
    bits.PutUnsigned(0); // pic_parameter_set_id
    bits.PutUnsigned(0); // seq_parameter_set_id
    bits.Put(2, 0);      // entropy_coding_mode_flag: CAVLC; pic order isn't in the slice for fields
    bits.PutUnsigned(0); // num_slice_groups_minus1
    bits.PutUnsigned(0); // num_ref_idx_l0_default_active_minus1
    bits.PutUnsigned(0);
    bits.Put(3, 0);    // weighted_pred_flag, weighted_bipred_idc
    bits.PutSigned(0); // pic_init_qp_minus26
    bits.PutSigned(0); // pic_init_qs_minus26
    bits.PutSigned(0); // chroma_qp_index_offset
    bits.Put(1, 1);    // deblocking_filter_control_present_flag
    bits.Put(2, 0);    // constrained_intra_pred_flag, redundant_pic_cnt_present_flag
    bits.PutTrailingBits();
    return bits.Written();
}

// ITU-T T.35 user data: country, provider, and what ATSC has there.
Bytes Supplement(const Bytes& triplets) {
    const Bytes data = CcUserData(triplets);
    BitWriter bits;
    bits.Put(8, 4); // user_data_registered_itu_t_t35
    bits.Put(8, static_cast<std::uint32_t>(3 + data.size()));
    bits.Put(8, 0xB5);
    bits.Put(16, 0x0031);
    bits.PutBytes(data);
    bits.PutTrailingBits();
    return bits.Written();
}

std::uint32_t SliceTypeOf(PictureType type) {
    switch (type) {
    case PictureType::I:
        return 7;
    case PictureType::P:
        return 5;
    case PictureType::B:
        break;
    }
    return 6;
}

void PutMacroblocks(BitWriter& bits, PictureType type) {
    if (type != PictureType::I) {
        bits.PutUnsigned(MACROBLOCKS); // mb_skip_run
        return;
    }
    for (unsigned i = 0; i < MACROBLOCKS; ++i) {
        bits.PutUnsigned(25); // mb_type: I_PCM
        bits.Align();
        bits.PutBytes(Bytes(MACROBLOCK_SAMPLES, GRAY));
    }
}

} // namespace

Bytes NalUnit(std::uint8_t header, const Bytes& payload) {
    Bytes unit{0, 0, 0, 1, header};
    unsigned zeros = 0;
    for (const std::uint8_t byte : payload) {
        if (zeros == 2 && byte <= 3) {
            unit.push_back(3);
            zeros = 0;
        }
        unit.push_back(byte);
        zeros = byte == 0 ? zeros + 1 : 0;
    }
    return unit;
}

Bytes H264Coder::Slice(const CodedPicture& picture) const {
    BitWriter bits;
    bits.PutUnsigned(0); // first_mb_in_slice
    bits.PutUnsigned(SliceTypeOf(picture.type));
    bits.PutUnsigned(0); // pic_parameter_set_id
    bits.Put(FRAME_BITS, m_frame % (1U << FRAME_BITS));
    if (picture.type == PictureType::I) {
        bits.PutUnsigned(m_idrPicture);
    }
    bits.Put(ORDER_BITS, 2 * picture.shownAs); // pic_order_cnt_lsb, of fields
    if (picture.type == PictureType::B) {
        bits.Put(1, 1); // direct_spatial_mv_pred_flag
    }
    if (picture.type != PictureType::I) {
        bits.Put(1, 0); // num_ref_idx_active_override_flag
        bits.Put(1, 0); // ref_pic_list_modification_flag_l0
    }
    switch (picture.type) {
    case PictureType::I:
        bits.Put(2, 0); // no_output_of_prior_pics_flag, long_term_reference_flag
        break;
    case PictureType::P:
        bits.Put(1, 0); // adaptive_ref_pic_marking_mode_flag
        break;
    case PictureType::B:
        bits.Put(1, 0); // ref_pic_list_modification_flag_l1
        break;
    }
    bits.PutSigned(0);   // slice_qp_delta
    bits.PutUnsigned(1); // disable_deblocking_filter_idc
    PutMacroblocks(bits, picture.type);
    bits.PutTrailingBits();
    return bits.Written();
}

Bytes H264Coder::Code(const CodedPicture& picture, const Bytes& triplets) {
    const bool idr = picture.type == PictureType::I;
    Bytes unit = NalUnit(DELIMITER, AccessUnitDelimiter(picture.type));
    if (idr) {
        m_frame = 0;
        m_idrPicture = 1 - m_idrPicture;
        Append(unit, NalUnit(SEQUENCE, SequenceParameters()));
        Append(unit, NalUnit(PICTURE, PictureParameters()));
    }
    if (!triplets.empty()) {
        Append(unit, NalUnit(SUPPLEMENT, Supplement(triplets)));
    }
    const bool kept = picture.type != PictureType::B;
    Append(unit, NalUnit(idr ? SLICE_IDR : (kept ? SLICE_KEPT : SLICE_NOT_KEPT), Slice(picture)));
    m_frame += kept ? 1 : 0;
    return unit;
}

} // namespace streammaker
