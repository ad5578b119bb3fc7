// SPDX-License-Identifier: MIT
/// \file What each operation of the family's page does, and of devices that are being paired. Handlers run on the thread of the
/// connection; what they throw becomes the reply.
#ifndef KINLOOMD_OPERATIONS_PAGE_PAGEHANDLERS_H
#define KINLOOMD_OPERATIONS_PAGE_PAGEHANDLERS_H

#include "operations/Request.h"

#include <memory>

namespace kinloomd {

class Service;

Reply handlePageSession(Service& service, Request& request);
Reply handlePageSessionEnd(Service& service, Request& request);
Reply handlePageDevices(Service& service, Request& request);
Reply handlePageDeviceEnd(Service& service, Request& request);

Reply handlePageGroups(Service& service, Request& request);
Reply handlePageGroupCreate(Service& service, Request& request);
Reply handlePageGroup(Service& service, Request& request);
Reply handlePageMembers(Service& service, Request& request);

Reply handlePageMonths(Service& service, Request& request);
Reply handlePageContents(Service& service, Request& request);
Reply handlePageContent(Service& service, Request& request);
Reply handlePageDelete(Service& service, Request& request);
Reply handlePageRestore(Service& service, Request& request);
Reply handlePageComment(Service& service, Request& request);
Reply handlePageCommentDelete(Service& service, Request& request);
Reply handlePageCommentRestore(Service& service, Request& request);

std::unique_ptr<BodySink> openPageUpload(Service& service, Request& request);
Reply handlePageCheck(Service& service, Request& request);

Reply handlePageMedia(Service& service, Request& request);
Reply handlePagePersonImage(Service& service, Request& request);
Reply handlePageArchive(Service& service, Request& request);

Reply handlePageEvents(Service& service, Request& request);

Reply handlePageInvite(Service& service, Request& request);
Reply handlePageInvitation(Service& service, Request& request);
Reply handlePageInvitationUse(Service& service, Request& request);
/// The same for a form without a script.
Reply handleInvitationForm(Service& service, Request& request);

Reply handlePagePairing(Service& service, Request& request);
Reply handlePagePairingDecide(Service& service, Request& request);
Reply handlePair(Service& service, Request& request);
Reply handlePairToken(Service& service, Request& request);

} // namespace kinloomd

#endif
