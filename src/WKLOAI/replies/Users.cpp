// SPDX-License-Identifier: MIT
// People: the short form of masters, creators and authors, and the full form of registrants.
#include "WKLOAI/replies/Fields.h"
#include "WKLOAI/replies/RecordReader.h"

namespace W::replies {

namespace {

enum ShortUserField { SHORT_ID, SHORT_NAME };
constexpr FieldNames SHORT_USER({"userId", "userName"});

enum FullUserField {
    FULL_ID,
    FULL_NAME,
    PHONE_NUMBER,
    FULL_IMAGE,
    USER_STATUS,
    CONTENT_DEL_FLAG,
    COMMENT_DEL_FLAG,
    USER_REGISTER_DATE
};
constexpr FieldNames FULL_USER({"id", "userName", "phoneNumber", "userImage", "userStatus", "contentDelFlag", "commentDelFlag",
                                "userRegisterDate"});

} // namespace

void RecordReader::shortUser(const xmlNode* node, WPerson& person)
{
    person = WPerson();
    if (!node)
        return;
    const Fields fields(SHORT_USER, node);
    person.setUID(str(fields[SHORT_ID]));
    person.setName(str(fields[SHORT_NAME]));

    // The last picture in document order wins, whichever of the two forms it has.
    for (const xmlNode* child = node->children; child; child = child->next) {
        if (xml::isElement(child, "thumbnail")) {
            userImage(child, person.photo());
        } else if (xml::isElement(child, "userImage")) {
            for (const xmlNode* grandchild = child->children; grandchild; grandchild = grandchild->next)
                if (xml::isElement(grandchild, "thumbnail"))
                    userImage(grandchild, person.photo());
        }
    }
}

void RecordReader::userImage(const xmlNode* node, WMediaResource& image) { thumbnail(node, "userImageThumbnail_72X72", image); }

void RecordReader::thumbnail(const xmlNode* node, const char* field, WMediaResource& image)
{
    namedImage(node, field, STRING(), image);
    if (!image.getResourceURL().empty())
        image.setUID(str(field));
}

void RecordReader::namedImage(const xmlNode* node, const char* field, const STRING& uid, WMediaResource& image)
{
    image = WMediaResource();
    if (!node)
        return;
    image.setContentProvider(provider());
    image.setUID(uid);
    image.setResourceURL(str(xml::entry(node, field)));
    if (!image.getResourceURL().empty())
        setDownloader(image);
}

void RecordReader::fullUser(const xmlNode* node, WPerson& person)
{
    const Fields fields(FULL_USER, node);
    person.setUID(str(fields[FULL_ID]));
    person.setName(str(fields[FULL_NAME]));
    person.setPhoneNumber(str(fields[PHONE_NUMBER]));
    namedImage(node, "userImage", person.getUID(), person.photo());
    person.setStatus(str(fields[USER_STATUS]));
    const xmlNode* const status = fields.child(USER_STATUS);
    person.setStatusCode(str(status ? xml::entry(status, "code") : ""));
    person.setDelFlag(str(fields.isEmpty(CONTENT_DEL_FLAG) ? fields[COMMENT_DEL_FLAG] : fields[CONTENT_DEL_FLAG]));
    person.setRegisterDate(date(fields[USER_REGISTER_DATE]));
}

std::list<WPerson> RecordReader::fullUsers(const xmlNode* parent, const char* name)
{
    std::list<WPerson> people;
    if (!parent)
        return people;
    WPerson person; // one for all: a match overwrites what it has fields for
    for (const xmlNode* child = parent->children; child && !cancelled(); child = child->next) {
        if (!xml::isElement(child, name))
            continue;
        fullUser(child, person);
        append(people) = person;
    }
    if (cancelled())
        people.clear();
    return people;
}

void RecordReader::registrant(const xmlNode* firstUser, WPerson& person)
{
    if (!firstUser || cancelled())
        return; // nobody: the record's person stays as it is
    person = WPerson();
    fullUser(firstUser, person);
}

} // namespace W::replies
