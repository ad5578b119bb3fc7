// SPDX-License-Identifier: MIT
/// \file The callbacks of the interface, by the names that the plugin has for them. A host's headers fix their types, but not that
/// these have names, or which; repeating a typedef that is there already is no error.
#ifndef WKLOAI_CALLBACKS_H
#define WKLOAI_CALLBACKS_H

#include "W/WComment.h"
#include "W/WContainer.h"
#include "W/WContent.h"
#include "W/WContentProvider.h"
#include "W/WException.h"
#include "W/WGroup.h"
#include "W/WMediaResource.h"
#include "W/WPerson.h"
#include "W/WTypes.h"

#include <istream>

namespace W {

typedef VOID (*WStatusCallback)(WSTATUS, const WContentProvider&, VOID*);
typedef VOID (*WLoginCallback)(WSTATUS, const WContentProvider&, const STRING&, const STRING&, VOID*);
typedef VOID (*WExceptionCallback)(WSTATUS, WException*, VOID*);
typedef VOID (*WDownloadCallback)(WSTATUS, const WContentProvider&, const WMediaResource&, std::istream&, VOID*);
typedef VOID (*KLGroupListCallback)(WSTATUS, const WContentProvider&, const WContainer<WGroup>&, const WPerson&, VOID*);
typedef VOID (*KLGroupCallback)(WSTATUS, const WContentProvider&, const WGroup&, VOID*);
typedef VOID (*KLContentListCallback)(WSTATUS, const WContentProvider&, const WContainer<WContent>&, VOID*);
typedef VOID (*KLContentCallback)(WSTATUS, const WContentProvider&, const WContent&, VOID*);
typedef VOID (*KLContentCreationCallback)(WSTATUS, const WContentProvider&, const WGroup&, const WContent&, const STRING&, VOID*);
typedef VOID (*KLContentUpdateCallback)(WSTATUS, const WContentProvider&, const WContent&, const STRING&, VOID*);
typedef VOID (*KLCommentListCallback)(WSTATUS, const WContentProvider&, const WContainer<WComment>&, VOID*);
typedef VOID (*KLCommentIDCallback)(WSTATUS, const WContentProvider&, const WComment&, const STRING&, VOID*);
typedef VOID (*KLCommentCallback)(WSTATUS, const WContentProvider&, const WComment&, VOID*);
typedef VOID (*KLFileCallback)(WSTATUS, const WContentProvider&, const STRING&, VOID*);

} // namespace W

#endif
