// SPDX-License-Identifier: MIT
#include "core/Failure.h"

namespace kinloomd {

namespace {

constexpr FailureEntry FAILURES[] = {
    {Failure::MALFORMED_REQUEST, 400, "100", "The request is malformed."},
    {Failure::BAD_PARAMETER, 400, "101", "A parameter has a value that cannot be used."},
    {Failure::MISSING_PARAMETER, 400, "102", "A parameter is missing."},
    {Failure::UNSUPPORTED_TYPE, 400, "103", "Contents of this type cannot be stored."},
    {Failure::BROKEN_PICTURE, 400, "104", "The file is not a picture that can be read."},
    {Failure::SIZE_MISMATCH, 400, "105", "The file has another size than announced."},
    {Failure::NOT_SIGNED, 401, "206", "The request is not signed by a known device."},
    {Failure::REFUSED_DEVICE, 403, "206", "The device is not known, or its token is wrong."},
    {Failure::NOT_SIGNED_IN, 401, "207", "No device has signed in from this address."},
    {Failure::FORBIDDEN, 403, "204", "This person may not do that."},
    {Failure::NOT_FOUND, 404, "203", "There is nothing here."},
    {Failure::WRONG_METHOD, 405, "106", "The method is not allowed here."},
    {Failure::TOO_SLOW, 408, "107", "The request took too long to arrive."},
    {Failure::CONFLICT, 409, "205", "This has been done already."},
    {Failure::TOO_LARGE, 413, "108", "The request is too large."},
    {Failure::HEADERS_TOO_LARGE, 431, "109", "The headers are too large."},
    {Failure::TOO_MANY_REQUESTS, 429, "208", "Too many requests from this address."},
    {Failure::INTERNAL, 500, "500", "The service has failed."},
    {Failure::UNAVAILABLE, 503, "501", "The service cannot store anything right now."},
};

} // namespace

const FailureEntry& describe(Failure failure)
{
    for (const FailureEntry& entry : FAILURES) {
        if (entry.failure == failure)
            return entry;
    }
    return describe(Failure::INTERNAL);
}

} // namespace kinloomd
