// SPDX-License-Identifier: MIT
// People: the short form of masters, creators and authors, and the full form of registrants.
#include "WKLOAI/replies/Fields.h"
#include "WKLOAI/replies/RecordReader.h"

namespace W::replies {

namespace {

#define SHORT_USER_FIELDS(FIELD)                                                                                                   \
    FIELD(SHORT_ID, "userId")                                                                                                      \
    FIELD(SHORT_NAME, "userName")
WKLOAI_FIELD_TABLE(ShortUserField, SHORT_USER, SHORT_USER_FIELDS)

#define FULL_USER_FIELDS(FIELD)                                                                                                    \
    FIELD(FULL_ID, "id")                                                                                                           \
    FIELD(FULL_NAME, "userName")                                                                                                   \
    FIELD(PHONE_NUMBER, "phoneNumber")                                                                                             \
    FIELD(FULL_IMAGE, "userImage")                                                                                                 \
    FIELD(USER_STATUS, "userStatus")                                                                                               \
    FIELD(CONTENT_DEL_FLAG, "contentDelFlag")                                                                                      \
    FIELD(COMMENT_DEL_FLAG, "commentDelFlag")                                                                                      \
    FIELD(USER_REGISTER_DATE, "userRegisterDate")
WKLOAI_FIELD_TABLE(FullUserField, FULL_USER, FULL_USER_FIELDS)

} // namespace

WPerson RecordReader::shortUser(const xmlNode* node)
{
    WPerson person;
    if (!node)
        return person;
    const Fields fields(SHORT_USER, node);
    person.setUID(str(fields[SHORT_ID]));
    person.setName(str(fields[SHORT_NAME]));

    // The last picture in document order wins, whichever of the two forms it has.
    for (const xmlNode* child = node->children; child; child = child->next) {
        if (xml::isElement(child, "thumbnail")) {
            person.setPhoto(userImage(child));
        } else if (xml::isElement(child, "userImage")) {
            for (const xmlNode* grandchild = child->children; grandchild; grandchild = grandchild->next)
                if (xml::isElement(grandchild, "thumbnail"))
                    person.setPhoto(userImage(grandchild));
        }
    }
    return person;
}

WMediaResource RecordReader::userImage(const xmlNode* node) { return thumbnail(node, "userImageThumbnail_72X72"); }

WMediaResource RecordReader::thumbnail(const xmlNode* node, const char* field)
{
    WMediaResource image = namedImage(node, field, STRING());
    if (!image.getResourceURL().empty())
        image.setUID(str(field));
    return image;
}

WMediaResource RecordReader::namedImage(const xmlNode* node, const char* field, const STRING& uid)
{
    WMediaResource image;
    if (!node)
        return image;
    image.setContentProvider(provider());
    image.setUID(uid);
    image.setResourceURL(str(xml::entry(node, field)));
    if (!image.getResourceURL().empty())
        setDownloader(image);
    return image;
}

WPerson RecordReader::fullUser(const xmlNode* node)
{
    WPerson person;
    const Fields fields(FULL_USER, node);
    person.setUID(str(fields[FULL_ID]));
    person.setName(str(fields[FULL_NAME]));
    person.setPhoneNumber(str(fields[PHONE_NUMBER]));
    person.setPhoto(namedImage(node, "userImage", person.getUID()));
    person.setStatus(str(fields[USER_STATUS]));
    const xmlNode* const status = fields.child(USER_STATUS);
    person.setStatusCode(status ? str(xml::entry(status, "code")) : str(""));
    person.setDelFlag(str(fields.isEmpty(CONTENT_DEL_FLAG) ? fields[COMMENT_DEL_FLAG] : fields[CONTENT_DEL_FLAG]));
    person.setRegisterDate(date(fields[USER_REGISTER_DATE]));
    return person;
}

std::list<WPerson> RecordReader::fullUsers(const xmlNode* parent, const char* name)
{
    std::list<WPerson> people;
    if (!parent)
        return people;
    for (const xmlNode* child = parent->children; child && !cancelled(); child = child->next) {
        if (!xml::isElement(child, name))
            continue;
        append(people) = fullUser(child);
    }
    if (cancelled())
        people.clear();
    return people;
}

const xmlNode* RecordReader::registrant(const xmlNode* firstUser) { return cancelled() ? nullptr : firstUser; }

} // namespace W::replies
