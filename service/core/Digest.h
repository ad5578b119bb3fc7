// SPDX-License-Identifier: MIT
/// \file Random values, digests and comparisons in constant time.
#ifndef KINLOOMD_CORE_DIGEST_H
#define KINLOOMD_CORE_DIGEST_H

#include "common/Digest.h" // IWYU pragma: export

namespace kinloomd {

using common::equalsInConstantTime;
using common::hmacSha1;
using common::hmacSha256;
using common::randomBytes;
using common::Sha256;
using common::sha256;
using common::toBase64Url;
using common::toHex;

} // namespace kinloomd

#endif
