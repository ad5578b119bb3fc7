// SPDX-License-Identifier: MIT
#include "objects/Replies.h"

#include <charconv>
#include <functional>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <limits>
#include <memory>

namespace objects {

namespace {

struct DocumentEnd {
    void operator()(xmlDoc* document) const { ::xmlFreeDoc(document); }
};

std::string_view nameOf(const xmlNode* node) { return reinterpret_cast<const char*>(node->name); }

/// A document, and what stands in it. Namespaces do not matter: stores differ in them.
class Document {
public:
    Document(std::string_view text, std::string_view root) : Document(text)
    {
        if (nameOf(m_root) != root)
            throw MalformedReply("the store's answer is a document " + std::string(nameOf(m_root)) + " in place of " +
                                 std::string(root));
    }
    explicit Document(std::string_view text)
    {
        if (text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
            throw MalformedReply("the store's answer is too large");
        // Nothing is fetched, and no entity is put in the place of its name.
        constexpr int OPTIONS = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NOBLANKS;
        m_document.reset(::xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, OPTIONS));
        m_root = m_document ? ::xmlDocGetRootElement(m_document.get()) : nullptr;
        // No store declares anything; who does wants something else.
        if (m_root == nullptr || m_document->intSubset != nullptr)
            throw MalformedReply("the store's answer is no document that can be read");
    }

    const xmlNode* root() const { return m_root; }

    static std::string text(const xmlNode* parent, std::string_view name)
    {
        std::string found;
        forEach(parent, name, [&](const xmlNode* node) {
            const std::unique_ptr<xmlChar, decltype(xmlFree)> content(::xmlNodeGetContent(node), xmlFree);
            found = content ? reinterpret_cast<const char*>(content.get()) : "";
        });
        return found;
    }

    static void forEach(const xmlNode* parent, std::string_view name, const std::function<void(const xmlNode*)>& visit)
    {
        for (const xmlNode* node = parent->children; node != nullptr; node = node->next) {
            if (node->type == XML_ELEMENT_NODE && nameOf(node) == name)
                visit(node);
        }
    }

private:
    std::unique_ptr<xmlDoc, DocumentEnd> m_document;
    const xmlNode* m_root = nullptr;
};

int digitOf(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    const char small = static_cast<char>(c | 0x20);
    return small >= 'a' && small <= 'f' ? small - 'a' + 10 : -1;
}

std::string decoded(std::string_view text)
{
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool escape = text[i] == '%' && i + 2 < text.size() && digitOf(text[i + 1]) >= 0 && digitOf(text[i + 2]) >= 0;
        if (escape) {
            result += static_cast<char>(digitOf(text[i + 1]) * 16 + digitOf(text[i + 2]));
            i += 2;
        } else {
            result += text[i] == '+' ? ' ' : text[i];
        }
    }
    return result;
}

/// Keys are asked for in escapes, since documents cannot hold every character; a store that cannot do it does not say that it has.
std::string keyText(const xmlNode* root, const xmlNode* parent, std::string_view name)
{
    std::string text = Document::text(parent, name);
    return Document::text(root, "EncodingType") == "url" ? decoded(text) : text;
}

std::int64_t requireSize(const std::string& text)
{
    std::int64_t size = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), size);
    if (error != std::errc() || end != text.data() + text.size() || size < 0)
        throw MalformedReply("the store's list has an object without a size");
    return size;
}

std::string requireText(std::string text, const char* what)
{
    if (text.empty())
        throw MalformedReply(std::string("the store's answer lacks ") + what);
    return text;
}

bool isTruncated(const xmlNode* root) { return Document::text(root, "IsTruncated") == "true"; }

} // namespace

StoreComplaint readComplaint(std::string_view text)
try {
    const Document document(text, "Error");
    return {Document::text(document.root(), "Code"), Document::text(document.root(), "Message")};
} catch (const MalformedReply&) {
    return {};
}

ObjectPage readObjectPage(std::string_view text)
{
    const Document document(text, "ListBucketResult");
    const xmlNode* const root = document.root();
    ObjectPage page;
    Document::forEach(root, "Contents", [&](const xmlNode* node) {
        page.objects.push_back({requireText(keyText(root, node, "Key"), "a key"), requireSize(Document::text(node, "Size")),
                                parseListTime(Document::text(node, "LastModified"))});
    });
    if (isTruncated(root))
        page.next = requireText(Document::text(root, "NextContinuationToken"), "the place where it goes on");
    return page;
}

UploadPage readUploadPage(std::string_view text)
{
    const Document document(text, "ListMultipartUploadsResult");
    const xmlNode* const root = document.root();
    UploadPage page;
    Document::forEach(root, "Upload", [&](const xmlNode* node) {
        page.uploads.push_back({requireText(keyText(root, node, "Key"), "a key"),
                                requireText(Document::text(node, "UploadId"), "an upload's number"),
                                parseListTime(Document::text(node, "Initiated"))});
    });
    if (isTruncated(root)) {
        page.nextKey = requireText(keyText(root, root, "NextKeyMarker"), "the place where it goes on");
        page.nextUpload = Document::text(root, "NextUploadIdMarker");
    }
    return page;
}

std::string readBegunUpload(std::string_view text)
{
    const Document document(text, "InitiateMultipartUploadResult");
    return requireText(Document::text(document.root(), "UploadId"), "an upload's number");
}

std::time_t parseListTime(std::string_view text)
{
    std::tm parts{};
    const std::string copy(text);
    const char* const rest = ::strptime(copy.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
    return rest != nullptr && (*rest == '.' || *rest == 'Z') ? ::timegm(&parts) : 0;
}

} // namespace objects
