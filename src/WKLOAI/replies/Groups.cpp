// SPDX-License-Identifier: MIT
// Groups and galleries.
#include "WKLOAI/replies/Fields.h"
#include "WKLOAI/replies/RecordReader.h"

namespace W::replies {

namespace {

#define GROUP_FIELDS(FIELD)                                                                                                        \
    FIELD(GROUP_ID, "groupId")                                                                                                     \
    FIELD(GROUP_NAME, "groupName")                                                                                                 \
    FIELD(GROUP_DESC, "groupDesc")                                                                                                 \
    FIELD(GROUP_IMAGE, "groupImage")                                                                                               \
    FIELD(GROUP_MASTER, "groupMaster")                                                                                             \
    FIELD(TOTAL_COUNT, "totalContentCount")                                                                                        \
    FIELD(PHOTO_COUNT, "photoCount")                                                                                               \
    FIELD(AUDIO_COUNT, "audioCount")                                                                                               \
    FIELD(VIDEO_COUNT, "videoCount")                                                                                               \
    FIELD(GROUP_COMMENT_COUNT, "commentCount")
WKLOAI_FIELD_TABLE(GroupField, GROUP, GROUP_FIELDS)

#define GALLERY_FIELDS(FIELD)                                                                                                      \
    FIELD(GALLERY_DATE, "galleryDate")                                                                                             \
    FIELD(GALLERY_DESCRIPTION, "galleryDescription")                                                                               \
    FIELD(GALLERY_REGISTER_DATE, "galleryRegisterDate")                                                                            \
    FIELD(GALLERY_CONTENT, "content")
WKLOAI_FIELD_TABLE(GalleryField, GALLERY, GALLERY_FIELDS)

} // namespace

void RecordReader::group(const xmlNode* node, WGroup& group)
{
    if (!node)
        return;
    const Fields fields(GROUP, node);
    group.setContentProvider(provider());
    group.setUID(str(fields[GROUP_ID]));
    group.setName(str(fields[GROUP_NAME]));
    group.setDescription(str(fields[GROUP_DESC]));

    for (const xmlNode* image = fields.child(GROUP_IMAGE); image && !cancelled(); image = nextOfSameName(image))
        groupImage(image, group);
    for (const xmlNode* master = fields.child(GROUP_MASTER); master && !cancelled(); master = nextOfSameName(master))
        group.setMaster(shortUser(master));

    group.setTotalCount(countOf(fields[TOTAL_COUNT]));
    group.setPhotoCount(countOf(fields[PHOTO_COUNT]));
    group.setAudioCount(countOf(fields[AUDIO_COUNT]));
    group.setVideoCount(countOf(fields[VIDEO_COUNT]));
    group.setCommentCount(countOf(fields[GROUP_COMMENT_COUNT]));
}

void RecordReader::groupImage(const xmlNode* node, WGroup& group)
{
    if (!node)
        return;
    group.setImageUrl(str(xml::entry(node, "groupImageUrl")));
    for (const xmlNode* child = node->children; child && !cancelled(); child = child->next) {
        if (xml::isElement(child, "thumbnail"))
            group.setImage(thumbnail(child, "groupImageThumbnail_274X204")); // the last one wins
    }
}

void RecordReader::gallery(const xmlNode* node, WKLGallery& gallery, std::list<WContent> contents)
{
    if (!node)
        return;
    const Fields fields(GALLERY, node);
    gallery.setContentProvider(provider());
    gallery.setDate(date(fields[GALLERY_DATE]));
    gallery.setDescription(str(fields[GALLERY_DESCRIPTION]));
    gallery.setRegisterDate(date(fields[GALLERY_REGISTER_DATE]));

    for (const xmlNode* child = fields.child(GALLERY_CONTENT); child && !cancelled(); child = nextOfSameName(child)) {
        const xml::Value uid = xml::entry(child, "id");
        if (uid.isEmpty())
            continue;
        WContent& record = append(contents);
        record.setUID(str(uid));
        record.setGalleryID(gallery.getUID());
        content(child, record);
    }
    gallery.setContents(std::move(contents));
}

} // namespace W::replies
