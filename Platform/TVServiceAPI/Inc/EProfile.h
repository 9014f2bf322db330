// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Which of the television's pictures somebody asks about. A profile has screens, counted from 0;
/// which program a profile and screen show is the platform's setting.
enum EProfile : int {
    PROFILE_NONE = 0,
    PROFILE_MAIN = 1,   ///< what the viewer watches
    PROFILE_PIP = 2,    ///< the picture in the picture
    PROFILE_RECORD = 3, ///< what is being recorded
};
