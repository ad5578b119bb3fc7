// SPDX-License-Identifier: MIT
/// \file Replies that are media files, for who may have them.
#ifndef KINLOOMD_OPERATIONS_MEDIAFILES_H
#define KINLOOMD_OPERATIONS_MEDIAFILES_H

#include "operations/Request.h"
#include "store/Contents.h"
#include "store/People.h"

#include <functional>

namespace kinloomd {

class Service;
struct ThumbnailSize;

/// Finds out anew whether the caller may have a content's files. Throws ServiceError when not.
using RequireMedia = std::function<MediaInfo()>;

/// How a medium gets to who asks for it.
enum class Delivery {
    HERE,  ///< from this service
    STORE, ///< from the store, to which who asks is sent, where there is one and the service is told to
};

/// The file as it was sent: whole, in part, or not at all when the client has it.
Reply originalReply(Service& service, const Request& request, Id content, const RequireMedia& require,
                    Delivery delivery = Delivery::HERE);

/// A thumbnail. One that is not made yet keeps the client waiting for a while.
Reply thumbnailReply(Service& service, const Request& request, Id content, const ThumbnailSize& size, const RequireMedia& require,
                     Delivery delivery = Delivery::HERE);

/// Reads "PERSON-IMAGE", as addresses name a person's picture. Throws NOT_FOUND for what is none.
PersonImage personImageNamed(const std::string& what);
/// The picture of a person.
Reply personImageReply(Service& service, const Request& request, Id person, std::int64_t image, Delivery delivery = Delivery::HERE);

} // namespace kinloomd

#endif
