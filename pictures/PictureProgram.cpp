// SPDX-License-Identifier: MIT
#include "pictures/PictureProgram.h"

#include "common/Program.h"

namespace pictures {

const char* const NO_PROGRAM_BESIDE_THIS =
    "kinloom-pictures, which decodes photos, is not where it was built or installed with this program";

std::string programBesideThis()
{
    constexpr const char* NAME = "kinloom-pictures";
    const std::string folder = common::folderBesideProgram({KINLOOM_LIBEXEC_FROM_PROGRAM, "../pictures"}, NAME);
    return folder.empty() ? folder : folder + "/" + NAME;
}

} // namespace pictures
