// SPDX-License-Identifier: MIT
/// \file Lists of records out of replies, as completions want them.
#ifndef WKLOAI_REPLIES_ENTRY_H
#define WKLOAI_REPLIES_ENTRY_H

#include "W/WContainer.h"
#include "W/WStatus.h"
#include "W/WTypes.h"

namespace W {

class WComment;
class WContent;
class WGroup;
class WKLOAI;

namespace replies {

/// What WKLOAI::parseString does, without a copy of the reply: it is parsed where it lies. Throws nothing.
WSTATUS parseReply(WKLOAI& oai, const STRING& payload, WContainer<WContent>& contents, unsigned int& count);
WSTATUS parseReply(WKLOAI& oai, const STRING& payload, WContainer<WGroup>& groups, unsigned int& count);
WSTATUS parseReply(WKLOAI& oai, const STRING& payload, WContainer<WComment>& comments, unsigned int& count);

} // namespace replies

} // namespace W

#endif
