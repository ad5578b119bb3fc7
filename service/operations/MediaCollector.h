// SPDX-License-Identifier: MIT
/// \file Media whose records never came.
#ifndef KINLOOMD_OPERATIONS_MEDIACOLLECTOR_H
#define KINLOOMD_OPERATIONS_MEDIACOLLECTOR_H

#include "core/Dates.h"
#include "media/MediaStore.h"
#include "store/Database.h"

namespace kinloomd {

/// Removes media that no record knows and that have been there since before a time: those of uploads that were broken off between
/// the medium and its record, and those that could not be removed with their records. Throws what database and store throw.
void collectMedia(Database& database, const MediaStore& media, Millis before);

} // namespace kinloomd

#endif
