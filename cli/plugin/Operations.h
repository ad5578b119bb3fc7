// SPDX-License-Identifier: MIT
/// \file The plugin's operations as plain calls that return when the service has answered.
#ifndef KINLOOM_PLUGIN_OPERATIONS_H
#define KINLOOM_PLUGIN_OPERATIONS_H

#include "plugin/Session.h"

#include <string>
#include <vector>

namespace kinloom {

struct GroupQuery {
    std::string person; ///< empty: the person whose device this is
    unsigned int index = 0;
    unsigned int count = 10;
    W::KL_OPTION_SORT sort = W::KL_SORT_ALPHABETICAL;
    W::KL_OPTION_INCLUDE include = W::KL_INCLUDE_NONE;
};

struct FeedQuery {
    std::string group;
    std::string before; ///< exactly one of before and after is given
    std::string after;
    unsigned int count = 30;
    W::KL_SEARCH_BASE base = W::KL_BASE_CREATED_TIME;
    W::KL_OPTION_ITEM item = W::KL_ITEM_ALL;
    W::KL_OPTION_INCLUDE include = W::KL_INCLUDE_NONE;
};

struct UploadOrder {
    std::string group;
    std::string path;
    std::string mimeType;
    std::string description;
};

struct DownloadOrder {
    std::string url;
    std::string folder;
    std::string fileName; ///< in the folder, while it is downloaded
    std::string name;     ///< for messages
};

/// The operations of a signed-in session. Texts and identifiers are given as people write them and encoded here, since the plugin
/// writes values as they are. All throw what Session::run throws.
class Operations {
public:
    explicit Operations(Session& session) : m_session(session) {}

    /// A page of groups; it holds one more than the count when more follow.
    std::vector<W::WGroup> groups(const GroupQuery& query);
    W::WGroup createGroup(const std::string& name, const std::string& description);
    void deleteGroup(const std::string& group);

    /// A page of a feed; it holds one more than the count when more follow.
    std::vector<W::WContent> feed(const FeedQuery& query);

    /// \throw Failure also when the reply holds no content.
    W::WContent viewContent(const std::string& content);
    /// \throw Failure also when it is no content: the service would delete a comment of that identifier as well.
    void deleteContent(const std::string& content);
    /// The MIME type that the service gives for the file behind a URL.
    std::string mimeType(const std::string& url);

    /// \return the new content, as far as the service describes it.
    W::WContent upload(const UploadOrder& order, const Session::ProgressFunction& progress);
    void download(const DownloadOrder& order, const Session::ProgressFunction& progress);

    void createComment(const std::string& content, const std::string& text);
    W::WComment viewComment(const std::string& comment);
    /// \throw Failure also when it is no comment: the service would delete a content of that identifier as well.
    void deleteComment(const std::string& comment);

private:
    Session& m_session;
};

} // namespace kinloom

#endif
