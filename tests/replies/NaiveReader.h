// SPDX-License-Identifier: MIT
/// \file The same records read in another way: with libxml++ alone, field by field, as its manual shows it.
///
/// Tests compare the plugin's records with these; benchmarks show what the detour costs.
#ifndef REPLIES_NAIVEREADER_H
#define REPLIES_NAIVEREADER_H

#include "W/WContainer.h"
#include "W/WGroup.h"
#include "W/WKLGallery.h"

#include <libxml++/libxml++.h>
#include <string>

namespace test {

class NaiveReader {
public:
    /// What every record gets beside the reply's values.
    struct Context {
        W::WContentProvider provider;
        W::WDownloader downloader;
        void* downloaderArg;
    };
    enum class LookUp {
        BY_NAME,  ///< libxml++'s own, which takes a CDATA section for an element of any name
        ELEMENTS, ///< elements only
    };

    explicit NaiveReader(Context context, LookUp lookUp = LookUp::ELEMENTS) : m_context(std::move(context)), m_lookUp(lookUp) {}

    /// 0 or -16; \p count and the container as the plugin leaves them. Malformed replies give -16.
    int read(const std::string& body, W::WContainer<W::WContent>& contents, unsigned int& count) const;
    int read(const std::string& body, W::WContainer<W::WGroup>& groups, unsigned int& count) const;
    int read(const std::string& body, W::WContainer<W::WComment>& comments, unsigned int& count) const;
    int read(const std::string& body, W::WContainer<W::WKLGallery>& galleries, unsigned int& count) const;

private:
    using Node = xmlpp::Node;

    template <class List> int walk(const std::string& body, bool below, List&& list) const;
    Node::NodeList elements(Node* node, const char* name) const;
    Node* first(Node* node, const char* name) const;
    std::string childText(Node* node, const char* name) const;
    std::string entry(Node* node, const char* name) const;
    W::WDateTime date(Node* node, const char* name) const;
    long number(Node* node, const char* name) const;
    W::WSize size(Node* node, const char* width, const char* height) const;
    void hook(W::WMediaResource& resource) const;

    void contents(Node* data, W::WContainer<W::WContent>& contents, unsigned int& count) const;
    void content(Node* node, W::WContent& content) const;
    void galleryItem(Node* node, W::WContent& content) const;
    void detail(Node* node, W::WContent& content) const;
    std::list<W::WMediaResource> thumbnails(Node* node) const;
    W::WEvent event(Node* node, W::WEvent event) const;
    W::WMessage message(Node* node) const;
    W::WGroup group(Node* node) const;
    void groups(Node* data, W::WContainer<W::WGroup>& groups, unsigned int& count) const;
    void galleries(Node* root, W::WContainer<W::WKLGallery>& galleries, unsigned int& count) const;
    W::WPerson shortUser(Node* node) const;
    W::WMediaResource image(Node* node, const char* field) const;
    std::list<W::WPerson> fullUsers(Node* node, const char* name) const;
    void comments(Node* node, W::WContainer<W::WComment>& comments, unsigned int& count) const;
    std::list<W::WComment> commentsOf(Node* node) const;

    Context m_context;
    LookUp m_lookUp;
};

} // namespace test

#endif
