// SPDX-License-Identifier: MIT
/// \file What is known of the bytes of a group's contents.
#ifndef KINLOOM_FILES_CONTENTNOTES_H
#define KINLOOM_FILES_CONTENTNOTES_H

#include "core/Descriptor.h"

#include <string>
#include <unordered_map>

namespace kinloom {

/// The hashes of contents, kept from run to run: a file to which a line is added for each content. The wire tells no hash, so a
/// content has to be fetched once to be compared; after that, and for what was uploaded from here, the note tells. Several runs may
/// have it open at once; a line that was cut off is passed over. A note that cannot be kept is no failure: then contents are
/// fetched again.
class ContentNotes {
public:
    /// \param folder that the notes are in; it is made with all above it. Empty: nothing is kept.
    /// \param key whatever the contents' identifiers belong to: service, group, device.
    ContentNotes(const std::string& folder, const std::string& key);

    /// The hash of a content; empty when it is not known.
    std::string hashOf(const std::string& content) const;
    void note(const std::string& content, const std::string& hash);
    /// Why nothing is kept; empty when all is well.
    const std::string& trouble() const { return m_trouble; }

    /// Where this user's programs keep such things: below XDG_STATE_HOME, else below the home folder. Empty when there is neither.
    static std::string folderOfThisUser();

private:
    void read();

    Descriptor m_file;
    std::unordered_map<std::string, std::string> m_hashes;
    std::string m_trouble;
};

} // namespace kinloom

#endif
