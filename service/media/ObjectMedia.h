// SPDX-License-Identifier: MIT
/// \file Media in a bucket of an object store.
#ifndef KINLOOMD_MEDIA_OBJECTMEDIA_H
#define KINLOOMD_MEDIA_OBJECTMEDIA_H

#include "media/MediaStore.h"
#include "objects/ObjectStore.h"

#include <string>
#include <vector>

namespace kinloomd {

/// The media of a service under a prefix of a bucket:
///
///     PREFIXmedia/3f/NNN-ATTEMPT     the original of content NNN, as an upload has brought it; NNN for one of before
///     PREFIXthumbnails/3f/NNN-SIZE   its thumbnails
///     PREFIXpeople/NNN-IMAGE         pictures of people
///
/// No key is used twice for other bytes, so nothing depends on who writes last. Every call waits for the store.
class ObjectMedia : public MediaStore {
public:
    /// \param prefix empty, or with a slash at its end
    /// \param publicEndpoint where others reach the store
    /// \param temporary a folder for files on their way
    ObjectMedia(std::unique_ptr<objects::ObjectStore> store, std::string prefix, objects::Endpoint publicEndpoint,
                std::string temporary);

    std::string originalKey(const OriginalName& original) const;
    std::string thumbnailKey(Id content, const ThumbnailSize& size) const;
    std::string personImageKey(Id person, std::int64_t image) const;
    objects::ObjectStore& store() const { return *m_store; }
    /// An address at which others can read an object for so long, as something of a type.
    std::string addressOf(const std::string& key, std::chrono::seconds life, const char* mimeType) const;

    std::string temporary() const override { return m_temporary; }
    std::unique_ptr<StoredMedium> openOriginal(const OriginalName& original, std::int64_t size) const override;
    std::unique_ptr<StoredMedium> openThumbnail(Id content, const ThumbnailSize& size) const override;
    std::unique_ptr<StoredMedium> openPersonImage(Id person, std::int64_t image) const override;
    std::optional<std::int64_t> originalSize(const OriginalName& original) const override;
    bool hasPersonImage(Id person, std::int64_t image) const override;
    bool hasThumbnails(Id content) const override;
    UniqueFd originalFile(const OriginalName& original) const override;
    OriginalName newName(Id content) const override;
    std::unique_ptr<MediaDraft> newOriginal(const OriginalName& original) const override;
    void keepOriginal(TemporaryFile& file, const OriginalName& original) const override;
    /// Each content has an object of its own: what one of them is deleted with, never is another's.
    bool linkOriginal(const OriginalName&, const OriginalName&) const override { return false; }
    void keepThumbnail(TemporaryFile& file, Id content, const ThumbnailSize& size) const override;
    void keepPersonImage(TemporaryFile& file, Id person, std::int64_t image) const override;
    void removeThumbnails(Id content) const noexcept override;
    void removeOriginal(const OriginalName& original) const noexcept override;
    void removeContent(const OriginalName& original) const noexcept override;
    void removePersonImage(Id person, std::int64_t image) const noexcept override;
    void forEachOriginal(const std::function<void(const KeptMedium&)>& visit) const override;
    void forEachPersonImage(const std::function<void(const KeptMedium&)>& visit) const override;
    /// Unfinished files of this computer alone; what is in the bucket is collected.
    void sweep(const KnownMedia& known) const override;
    void collect(const KnownMedia& known, Millis before) const override;
    /// Makes the bucket, if it is missing.
    void prepare() const override { m_store->makeBucket(); }
    void probe() const override { m_store->probe(std::chrono::seconds(3)); }
    void stop() override { m_store->stop(); }

private:
    std::unique_ptr<StoredMedium> open(const std::string& key) const;
    void put(const TemporaryFile& file, const std::string& key) const;
    std::vector<std::string> thumbnailKeys(Id content) const;
    void remove(const std::vector<std::string>& keys) const noexcept;
    void forEachKept(const std::string& folder,
                     const std::function<void(const KeptMedium&, const objects::ObjectEntry&)>& visit) const;

    std::unique_ptr<objects::ObjectStore> m_store;
    std::string m_prefix;
    objects::Endpoint m_publicEndpoint;
    std::string m_temporary;
};

} // namespace kinloomd

#endif
