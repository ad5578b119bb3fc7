// SPDX-License-Identifier: MIT
/// \file The handlers of all operations. Each throws ServiceError for what it refuses.
#ifndef KINLOOMD_OPERATIONS_HANDLERS_H
#define KINLOOMD_OPERATIONS_HANDLERS_H

#include "operations/Request.h"

#include <memory>

namespace kinloomd {

class Service;

Reply handleAuth(Service& service, Request& request);
Reply handleRegister(Service& service, Request& request);

Reply handleGroupList(Service& service, Request& request);
Reply handleGroupCreate(Service& service, Request& request);
Reply handleGroupDelete(Service& service, Request& request);

Reply handleFeeds(Service& service, Request& request);

/// One form of address serves contents and comments: identifiers are unique across both.
Reply handleView(Service& service, Request& request);
Reply handleDelete(Service& service, Request& request);

Reply handleReserveUpload(Service& service, Request& request);
std::unique_ptr<BodySink> openUpload(Service& service, Request& request);

Reply handleCommentCreate(Service& service, Request& request);
Reply handleCommentList(Service& service, Request& request);

Reply handleOriginal(Service& service, Request& request);
Reply handleThumbnail(Service& service, Request& request);
Reply handlePersonImage(Service& service, Request& request);

Reply handleFaultsList(Service& service, Request& request);
Reply handleFaultsAdd(Service& service, Request& request);
Reply handleFaultsClear(Service& service, Request& request);
Reply handleHits(Service& service, Request& request);
Reply handleHitsClear(Service& service, Request& request);

} // namespace kinloomd

#endif
