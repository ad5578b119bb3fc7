// SPDX-License-Identifier: MIT
/// \file Many records at once, put into a database without files: for tests of what is told of them.
#ifndef TESTS_SERVICE_TESTRECORDS_H
#define TESTS_SERVICE_TESTRECORDS_H

#include "store/Database.h"
#include "store/Records.h"

#include <string>
#include <vector>

namespace kinloomd_test {

/// Adds so many contents to a group. \return their identifiers, in rising order.
std::vector<kinloomd::Id> addContents(kinloomd::Database& database, kinloomd::Id group, kinloomd::Id creator, int count,
                                      const std::string& description = "text");

/// Adds so many comments to a content. \return their identifiers, in rising order.
std::vector<kinloomd::Id> addComments(kinloomd::Database& database, kinloomd::Id group, kinloomd::Id content, kinloomd::Id author,
                                      int count, const std::string& text);

} // namespace kinloomd_test

#endif
