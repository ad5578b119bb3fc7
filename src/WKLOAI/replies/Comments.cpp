// SPDX-License-Identifier: MIT
// Comments.
#include "WKLOAI/replies/Fields.h"
#include "WKLOAI/replies/RecordReader.h"

namespace W::replies {

namespace {

enum CommentField { COMMENT_SIZE, COMMENT_TEXT, COMMENT_REGISTER_DATE, COMMENT_CREATOR };
constexpr FieldNames COMMENT({"commentSize", "commentText", "commentRegisterDate", "commentCreator"});

} // namespace

void RecordReader::comment(const xmlNode* node, WComment& comment)
{
    if (!node)
        return;
    const Fields fields(COMMENT, node);
    comment.setContentProvider(provider());
    comment.setSize(str(fields[COMMENT_SIZE]));
    comment.setComment(str(fields[COMMENT_TEXT]));
    comment.setRegisterDate(date(fields[COMMENT_REGISTER_DATE]));
    for (const xmlNode* creator = fields.child(COMMENT_CREATOR); creator && !cancelled(); creator = nextOfSameName(creator))
        shortUser(creator, comment.user());
}

bool RecordReader::appendComment(const xmlNode* node, std::list<WComment>& comments)
{
    const char* const uid = xml::entry(node, "commentId");
    if (*uid == '\0')
        return false;
    WComment& record = append(comments);
    record.setUID(str(uid));
    comment(node, record);
    return true;
}

} // namespace W::replies
