// SPDX-License-Identifier: MIT
/// \file All of the library.
#ifndef KINLOOM_CLIENT_H
#define KINLOOM_CLIENT_H

// IWYU pragma: begin_exports
#include "kinloom/Call.h"
#include "kinloom/Encode.h"
#include "kinloom/Failure.h"
#include "kinloom/Interruption.h"
#include "kinloom/Lane.h"
#include "kinloom/Lanes.h"
#include "kinloom/Media.h"
#include "kinloom/Operations.h"
#include "kinloom/Pairing.h"
#include "kinloom/Retries.h"
#include "kinloom/Route.h"
#include "kinloom/Settings.h"
#include "kinloom/Warning.h"
// IWYU pragma: end_exports

#endif
