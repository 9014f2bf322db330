// SPDX-License-Identifier: Apache-2.0
#include "PictureOrder.h"

#include <algorithm>

namespace streammaker {

std::vector<CodedPicture> GroupOfPictures(unsigned length) {
    constexpr unsigned STEP = 3; // from a reference picture to the next one
    std::vector<CodedPicture> pictures;
    if (length > 0) {
        pictures.push_back({PictureType::I, 0});
    }
    for (unsigned last = 0; last + 1 < length;) {
        const unsigned next = std::min(last + STEP, length - 1);
        pictures.push_back({PictureType::P, next});
        for (unsigned between = last + 1; between < next; ++between) {
            pictures.push_back({PictureType::B, between});
        }
        last = next;
    }
    return pictures;
}

} // namespace streammaker
