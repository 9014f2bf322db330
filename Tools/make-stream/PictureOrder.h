// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

namespace streammaker {

enum class PictureType { I = 1, P = 2, B = 3 };

/// A picture of a group, as it stands in coding order.
struct CodedPicture {
    PictureType type = PictureType::I;
    unsigned shownAs = 0; ///< its place in the group's order of presentation
};

/// A closed group of pictures in coding order: I P B B P B B..., shown as I B B P B B P.
std::vector<CodedPicture> GroupOfPictures(unsigned length);

/// The pictures of a whole group: 0.4 s.
inline constexpr unsigned GROUP_LENGTH = 10;

} // namespace streammaker
