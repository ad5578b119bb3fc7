// SPDX-License-Identifier: MIT
/// \file Pictures over HTTP.
#ifndef KINLOOM_TV_MEDIA_PICTUREREPLY_H
#define KINLOOM_TV_MEDIA_PICTUREREPLY_H

#include "httpd/Connection.h"
#include "httpd/Reply.h"
#include "httpd/Request.h"
#include "tv/media/Pictures.h"

namespace tv {

/// Answers a request for "/media/CONTENT/grid|screen|full[?width=W&height=H]", on the thread of its connection, which waits until
/// the picture is there; a client that goes away meanwhile waits no longer. 200 with ETag, 304, 404 for what is gone or is no such
/// address, 422 for a broken picture, 503 with Retry-After.
httpd::Reply pictureReply(Pictures& pictures, const httpd::RequestHead& head, httpd::Connection& connection);

} // namespace tv

#endif
