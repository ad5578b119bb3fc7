// SPDX-License-Identifier: MIT
/// \file The layout of a database, as the steps that lead to it.
///
/// Programs of two versions use one database for a while when several services are brought to a new version one after the other,
/// and when a command is newer than the service beside it. So a step only adds: a table, an index, a column with a default. What it
/// adds is used from the same version on at the earliest; what is no longer used is taken away two versions later, when no program
/// is left that knows it. A step that programs of before cannot live with says so by its \c least, and has to be told of.
#ifndef KINLOOMD_STORE_SCHEMASTEPS_H
#define KINLOOMD_STORE_SCHEMASTEPS_H

#include <vector>

namespace kinloomd {

struct SchemaStep {
    const char* text; ///< statements
    int least;        ///< how many steps a program must know that can go on with the database behind this one
};

/// What brings a database from each version to the next; a new one starts at version 0, and the version of a program is the number
/// of steps that it knows. A step that has been released stays as it is.
using SchemaSteps = std::vector<SchemaStep>;

/// What a database tells of its layout.
struct Layout {
    int version = 0;
    int least = 0; ///< the oldest version of programs that understand it
};

int versionOf(const SchemaSteps& steps);
/// The layout that these steps lead to.
Layout layoutBehind(const SchemaSteps& steps);

/// Throws std::runtime_error when programs that know these steps do not understand the layout.
void requireUnderstood(const Layout& layout, const SchemaSteps& steps);

} // namespace kinloomd

#endif
