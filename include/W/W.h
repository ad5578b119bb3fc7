// SPDX-License-Identifier: MIT
/// \file All of the host framework's declarations.
#ifndef W_W_H
#define W_W_H

// IWYU pragma: begin_exports
#include "W/Http.h"
#include "W/WAbstractOAI.h"
#include "W/WComment.h"
#include "W/WConfigManager.h"
#include "W/WContainer.h"
#include "W/WContent.h"
#include "W/WContentProvider.h"
#include "W/WDateTime.h"
#include "W/WEvent.h"
#include "W/WException.h"
#include "W/WExtendedProperty.h"
#include "W/WGroup.h"
#include "W/WKLGallery.h"
#include "W/WKinloomOAI.h"
#include "W/WMediaResource.h"
#include "W/WMessage.h"
#include "W/WPerson.h"
#include "W/WPlugin.h"
#include "W/WResource.h"
#include "W/WSize.h"
#include "W/WStatus.h"
#include "W/WTypes.h"
// IWYU pragma: end_exports

#endif
