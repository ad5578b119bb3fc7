// SPDX-License-Identifier: MIT
/// \file What the paths of the service begin with.
#ifndef KINLOOMD_OPERATIONS_PATHS_H
#define KINLOOMD_OPERATIONS_PATHS_H

#include <string_view>

namespace kinloomd {

inline constexpr std::string_view BASE_PATH = "/openapi/service/kinloom/"; ///< of operations
inline constexpr std::string_view MEDIA_PATH = "/media/";                  ///< of files; a key follows in the second piece
inline constexpr std::string_view PAGE_PATH = "/page/";                    ///< of what the family's page asks for
inline constexpr std::string_view INVITATION_PATH = "/invite/";            ///< of invitations; a key follows
inline constexpr std::string_view PAIRING_PATH = "/pair";                  ///< of devices that ask to be taken in
inline constexpr std::string_view CONTROL_PATH = "/control/";              ///< of faults and hit counts

} // namespace kinloomd

#endif
