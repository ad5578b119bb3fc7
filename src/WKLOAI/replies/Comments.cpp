// SPDX-License-Identifier: MIT
// Comments.
#include "WKLOAI/replies/Fields.h"
#include "WKLOAI/replies/RecordReader.h"

namespace W::replies {

namespace {

#define COMMENT_FIELDS(FIELD)                                                                                                      \
    FIELD(COMMENT_SIZE, "commentSize")                                                                                             \
    FIELD(COMMENT_TEXT, "commentText")                                                                                             \
    FIELD(COMMENT_REGISTER_DATE, "commentRegisterDate")                                                                            \
    FIELD(COMMENT_CREATOR, "commentCreator")
WKLOAI_FIELD_TABLE(CommentField, COMMENT_NAMES, COMMENT_FIELDS)

} // namespace

void RecordReader::comment(const xmlNode* node, WComment& comment)
{
    if (!node)
        return;
    const Fields fields(COMMENT_NAMES, node);
    comment.setContentProvider(provider());
    comment.setSize(str(fields[COMMENT_SIZE]));
    comment.setComment(str(fields[COMMENT_TEXT]));
    comment.setRegisterDate(date(fields[COMMENT_REGISTER_DATE]));
    for (const xmlNode* creator = fields.child(COMMENT_CREATOR); creator && !cancelled(); creator = nextOfSameName(creator))
        comment.setUser(shortUser(creator));
}

bool RecordReader::appendComment(const xmlNode* node, std::list<WComment>& comments)
{
    const xml::Value uid = xml::entry(node, "commentId");
    if (uid.isEmpty())
        return false;
    WComment& record = append(comments);
    record.setUID(str(uid));
    comment(node, record);
    return true;
}

} // namespace W::replies
