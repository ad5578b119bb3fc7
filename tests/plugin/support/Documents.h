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

// With all that is read of a record, in texts too long for what a string object has in itself.

inline const W::STRING RICH_GROUP =
    "<rsp><result><stat>ok</stat></result><data><group><groupId>group-of-a-very-long-name</groupId><groupName>"
    "The whole family and its friends</groupName><groupImage><groupImageUrl>http://h/some/where/picture.jpg"
    "</groupImageUrl><thumbnail><groupImageThumbnail_274X204>http://h/some/where/thumbnail.jpg"
    "</groupImageThumbnail_274X204></thumbnail></groupImage><groupMaster><userId>somebody-with-a-long-id"
    "</userId><thumbnail userImageThumbnail_72X72='http://h/some/where/face.jpg'/></groupMaster></group>"
    "</data></rsp>";

inline const W::STRING RICH_CONTENTS =
    "<rsp><result><stat>ok</stat></result><data><content><contentId>content-with-a-long-identifier</contentId><contentDetail>"
    "<contentUrl>http://h/some/where/photograph.jpg</contentUrl><thumbnail><contentThumbnail_540X405>http://h/some/where/540.jpg"
    "</contentThumbnail_540X405></thumbnail></contentDetail></content><group><content id='content-two-with-a-long-id' "
    "galleryID='gallery'><contentRegisterMember id='member-with-a-long-identifier'/><comment commentId='comment-with-a-long-id'>"
    "<commentText>What a beautiful picture this is</commentText></comment><eventLink><contentLink ID='event-with-a-long-id'/>"
    "</eventLink></content></group></data></rsp>";

inline const W::STRING RICH_COMMENT =
    "<rsp><comment><commentId>comment-with-a-long-id</commentId><commentText>What a beautiful picture this is"
    "</commentText></comment><data/></rsp>";

} // namespace kinloom_test::documents

#endif
