// SPDX-License-Identifier: MIT
// Groups and galleries.
#include "WKLOAI/replies/Fields.h"
#include "WKLOAI/replies/RecordReader.h"

namespace W::replies {

namespace {

enum GroupField {
    GROUP_ID,
    GROUP_NAME,
    GROUP_DESC,
    GROUP_IMAGE,
    GROUP_MASTER,
    TOTAL_COUNT,
    PHOTO_COUNT,
    AUDIO_COUNT,
    VIDEO_COUNT,
    GROUP_COMMENT_COUNT
};
constexpr FieldNames GROUP({"groupId", "groupName", "groupDesc", "groupImage", "groupMaster", "totalContentCount", "photoCount",
                            "audioCount", "videoCount", "commentCount"});

enum GalleryField { GALLERY_DATE, GALLERY_DESCRIPTION, GALLERY_REGISTER_DATE, GALLERY_CONTENT };
constexpr FieldNames GALLERY({"galleryDate", "galleryDescription", "galleryRegisterDate", "content"});

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
        shortUser(master, group.master());

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
            thumbnail(child, "groupImageThumbnail_274X204", group.image()); // the last one wins
    }
}

void RecordReader::gallery(const xmlNode* node, WKLGallery& gallery)
{
    if (!node)
        return;
    const Fields fields(GALLERY, node);
    gallery.setContentProvider(provider());
    gallery.setDate(date(fields[GALLERY_DATE]));
    gallery.setDescription(str(fields[GALLERY_DESCRIPTION]));
    gallery.setRegisterDate(date(fields[GALLERY_REGISTER_DATE]));

    std::list<WContent>& contents = gallery.contents();
    contents.clear();
    for (const xmlNode* child = fields.child(GALLERY_CONTENT); child && !cancelled(); child = nextOfSameName(child)) {
        const char* const uid = xml::entry(child, "id");
        if (*uid == '\0')
            continue;
        WContent& record = append(contents);
        record.setUID(str(uid));
        record.setGalleryID(gallery.getUID());
        content(child, record);
    }
}

} // namespace W::replies
