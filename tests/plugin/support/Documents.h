// SPDX-License-Identifier: MIT
/// \file Replies of the service.
#ifndef PLUGIN_SUPPORT_DOCUMENTS_H
#define PLUGIN_SUPPORT_DOCUMENTS_H

#include "W/WTypes.h"

namespace kinloom_test::documents {

inline const W::STRING OK = "<rsp><result><stat>ok</stat></result></rsp>";
inline const W::STRING FAIL = "<rsp><result><stat>fail</stat><code>104</code><desc>no such thing</desc></result></rsp>";
inline const W::STRING NOT_XML = "503 come back later";

inline const W::STRING UPLOAD_URL = "http://upload.kinloom.example/slot/77";

/// An upload slot.
inline W::STRING slot(const W::STRING& contentID = "c77", const W::STRING& url = UPLOAD_URL)
{
    return "<rsp><result><stat>ok</stat></result><data><contentId>" + contentID + "</contentId><uploadUrl>" + url +
           "</uploadUrl></data></rsp>";
}

inline W::STRING records(unsigned int count, const W::STRING& element, const W::STRING& id, const W::STRING& prefix)
{
    W::STRING all;
    for (unsigned int i = 1; i <= count; ++i)
        all += "<" + element + " " + id + "=\"" + prefix + std::to_string(i) + "\"/>";
    return all;
}

/// Groups g1, g2 and so on.
inline W::STRING groups(unsigned int count)
{
    return "<rsp><result><stat>ok</stat></result><data>" + records(count, "group", "groupId", "g") + "</data></rsp>";
}

/// Contents c1, c2 and so on.
inline W::STRING contents(unsigned int count)
{
    return "<rsp><result><stat>ok</stat></result><data>" + records(count, "content", "contentId", "c") + "</data></rsp>";
}

/// Comments m1, m2 and so on, which stand beside "data".
inline W::STRING comments(unsigned int count)
{
    return "<rsp><result><stat>ok</stat></result>" + records(count, "comment", "commentId", "m") + "<data/></rsp>";
}

} // namespace kinloom_test::documents

#endif
