// SPDX-License-Identifier: MIT
/// \file How lists are printed.
#ifndef KINLOOMD_COMMANDS_LISTFORM_H
#define KINLOOMD_COMMANDS_LISTFORM_H

namespace kinloomd {

enum class ListForm {
    LINES, ///< a line for each record, with tabs between its values; whatever others have written is made visible
    JSON,  ///< one array of objects
};

} // namespace kinloomd

#endif
