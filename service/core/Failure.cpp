// SPDX-License-Identifier: MIT
#include "core/Failure.h"

namespace kinloomd {

namespace {

constexpr FailureEntry FAILURES[] = {
    {Failure::MALFORMED_REQUEST, 400, "100", "bad_request", "The request is malformed."},
    {Failure::BAD_PARAMETER, 400, "101", "bad_request", "A parameter has a value that cannot be used."},
    {Failure::MISSING_PARAMETER, 400, "102", "bad_request", "A parameter is missing."},
    {Failure::UNSUPPORTED_TYPE, 400, "103", "not_a_picture", "Contents of this type cannot be stored."},
    {Failure::BROKEN_PICTURE, 400, "104", "not_a_picture", "The file is not a picture that can be read."},
    {Failure::EMPTY_FILE, 400, "104", "empty", "The file is empty."},
    {Failure::SIZE_MISMATCH, 400, "105", "bad_request", "The file has another size than announced."},
    {Failure::NOT_SIGNED, 401, "206", "signed_out", "The request is not signed by a known device."},
    {Failure::REFUSED_DEVICE, 403, "206", "signed_out", "The device is not known, or its token is wrong."},
    {Failure::NOT_SIGNED_IN, 401, "207", "signed_out",
     "It cannot be told which device this comes from: nothing was signed on its connection."},
    {Failure::SIGNED_OUT, 401, "206", "signed_out", "Nobody is signed in here."},
    {Failure::FORBIDDEN, 403, "204", "forbidden", "This person may not do that."},
    {Failure::TOO_MANY_GROUPS, 403, "204", "too_many", "This person has as many groups as there can be."},
    {Failure::NO_ROOM, 403, "204", "quota", "This person's contents would take more room than there is."},
    {Failure::NOT_FOUND, 404, "203", "not_found", "There is nothing here."},
    {Failure::WRONG_METHOD, 405, "106", "bad_request", "The method is not allowed here."},
    {Failure::TOO_SLOW, 408, "107", "busy", "The request took too long to arrive."},
    {Failure::WRONG_CODE, 404, "203", "wrong_code", "No device shows this code."},
    {Failure::CONFLICT, 409, "205", "busy", "This has been done already."},
    {Failure::NAME_TAKEN, 409, "205", "name_taken", "Somebody in the group has that name already."},
    {Failure::USED, 410, "205", "used", "This has been used already."},
    {Failure::EXPIRED, 410, "203", "expired", "This is no longer good."},
    {Failure::GONE, 410, "203", "gone", "This cannot come back any more."},
    {Failure::TOO_LARGE, 413, "108", "too_large", "The request is too large."},
    {Failure::HEADERS_TOO_LARGE, 431, "109", "too_large", "The headers are too large."},
    {Failure::TOO_MANY_REQUESTS, 429, "208", "too_many", "Too many requests from this address."},
    {Failure::TOO_MANY_SLOTS, 429, "208", "too_many", "This person has as many places for uploads open as there can be."},
    {Failure::INTERNAL, 500, "500", "failed", "The service has failed."},
    {Failure::UNAVAILABLE, 503, "501", "busy", "The service cannot store anything right now."},
    {Failure::DISK_FULL, 503, "501", "disk_full", "The service has no room left on its disk."},
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
