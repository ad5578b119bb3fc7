// SPDX-License-Identifier: MIT
// What every reply carries beside its records: a status, and on failure a code and a description.
#include "KLService/KLService.h"
#include "KLService/Xml.h"

#include <libxml++/nodes/node.h>
#include <stdexcept>

namespace W {

STRING KLService::getReponseStatus(const xmlpp::Node* node) { return node ? xml::childText(node->cobj(), "stat") : ""; }

STRING KLService::extractRespInfo(const xmlpp::Node* node, STRING& status)
{
    status = getReponseStatus(node);
    return node ? xml::childText(node->cobj(), "desc") : "";
}

STRING KLService::extractErrorString(const xmlpp::Node* node, STRING& code)
{
    code.clear();
    STRING description;
    if (!node)
        return description;

    const xmlNode* const element = node->cobj();
    const auto read = [element](const char* name, STRING& value) {
        if (xml::isElement(element))
            value = xml::attribute(element, name).text();
        if (value.empty()) // an empty attribute does not hide a child, unlike in a record's fields
            value = xml::childText(element, name);
    };
    read("code", code);
    read("desc", description);
    return description;
}

STRING KLService::extractErrorString(const STRING& body)
{
    static const STRING MARK = "Error=";
    // Without the mark the position is npos, and the unsigned sums wrap to bytes 5 and 6: what a body without the mark reads as is
    // kept. So is that the newline is looked for behind the value's first byte.
    const std::size_t mark = body.find(MARK);
    const std::size_t begin = mark + MARK.size();
    const std::size_t end = body.find('\n', mark + MARK.size() + 1);
    return body.substr(begin, end - begin);
}

STRING KLService::plainErrorCode(const STRING& body)
{
    try {
        return extractErrorString(body);
    } catch (const std::out_of_range&) {
        return STRING();
    }
}

STRING KLService::getEntryContent(STRING name, xmlpp::Node* node)
{
    return node ? STRING(xml::entry(node->cobj(), name.c_str()).text()) : STRING();
}

} // namespace W
