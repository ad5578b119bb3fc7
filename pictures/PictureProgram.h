// SPDX-License-Identifier: MIT
/// \file Where the program is that decodes pictures.
#ifndef KINLOOM_PICTURES_PICTUREPROGRAM_H
#define KINLOOM_PICTURES_PICTUREPROGRAM_H

#include <string>

namespace pictures {

/// kinloom-pictures as it was built or installed with the running program; empty where it is in neither place. It is a program of
/// its own since the library that decodes brings a hundred others along, which would make every start of another program slow.
std::string programBesideThis();

/// What to say where it is in neither place.
extern const char* const NO_PROGRAM_BESIDE_THIS;

} // namespace pictures

#endif
