// SPDX-License-Identifier: MIT
// Queries and bodies of requests, and the documents that repeat what they hold.
#include "Targets.h"
#include "core/Failure.h"
#include "core/Text.h"
#include "operations/Parameters.h"
#include "wire/XmlWriter.h"

#include <libxml/parser.h>
#include <memory>

namespace fuzz {

namespace {

using namespace kinloomd;

/// Runs a step that may refuse a parameter. \return whether it did.
template <typename Step> bool refuses(Step step)
{
    try {
        step();
        return false;
    } catch (const ServiceError& error) {
        require(error.failure() == Failure::BAD_PARAMETER, "a parameter is read or refused");
        return true;
    }
}

void checkParameters(const Parameters& parameters)
{
    for (const auto& pair : parameters.pairs()) {
        const std::string& name = pair.first;
        if (name.find('\0') != std::string::npos)
            continue; // no parameter has such a name
        const std::string_view first = parameters.get(name);
        const bool isNumber = !first.empty() && first.find_first_not_of("0123456789") == std::string_view::npos;
        std::uint32_t number = 0;
        const bool refused = refuses([&] { number = numberParameter(parameters, name.c_str(), 7); });
        require(first.empty() ? number == 7 && !refused : isNumber || refused, "a number is all digits");
        require(refused || first.empty() || std::stoull(std::string(first)) == number, "a number is the one that is written");
        std::string text;
        if (!refuses([&] { text = textParameter(parameters, name.c_str(), 50); }))
            require(text == cleanText(first) && countCharacters(text) <= 50, "a text is valid and within its limit");
    }
    refuses([&] { includeParameter(parameters); });
}

std::string textOf(xmlChar* owned)
{
    const std::unique_ptr<xmlChar, void (*)(void*)> text(owned, xmlFree);
    return text ? reinterpret_cast<const char*>(text.get()) : "";
}

/// Writes texts into a document, and has another library read it.
void checkDocument(const Parameters& parameters, ReplyShape shape)
{
    XmlWriter writer(shape);
    writer.open("rsp");
    for (const auto& [name, value] : parameters.pairs()) {
        writer.open("pair");
        writer.field("name", name);
        writer.element("value", value);
        writer.open("text");
        writer.text(value);
        writer.close();
        writer.close();
    }
    writer.close();
    const std::string document = writer.finish();
    const int options = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
    const std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> read(
        xmlReadMemory(document.data(), static_cast<int>(document.size()), nullptr, "UTF-8", options), xmlFreeDoc);
    require(read != nullptr, "a document is well-formed, whatever it repeats");
    xmlNode* pair = xmlDocGetRootElement(read.get())->children;
    for (const auto& [name, value] : parameters.pairs()) {
        require(pair != nullptr, "a document holds all that was written");
        xmlNode* child = pair->children;
        if (shape == ReplyShape::ATTRIBUTES) {
            require(textOf(xmlGetProp(pair, BAD_CAST "name")) == cleanText(name), "a field holds its text");
        } else {
            require(textOf(xmlNodeGetContent(child)) == cleanText(name), "a field holds its text");
            child = child->next;
        }
        for (int i = 0; i < 2; ++i, child = child->next)
            require(child && textOf(xmlNodeGetContent(child)) == cleanText(value), "an element holds its text");
        require(child == nullptr, "no text adds to a document");
        pair = pair->next;
    }
}

} // namespace

void form(std::string_view input)
{
    require(decodeFormText(percentEncode(input)) == input && decodePathText(percentEncode(input)) == input,
            "an encoded text is decoded again");
    const Parameters read = decodeForm(input);
    std::string again;
    for (const auto& [name, value] : read.pairs())
        again += (again.empty() ? "" : "&") + percentEncode(name) + "=" + percentEncode(value);
    require(decodeForm(again).pairs() == read.pairs(), "pairs are read again as they are written");
    checkParameters(read);
    checkDocument(read, ReplyShape::ELEMENTS);
    checkDocument(read, ReplyShape::ATTRIBUTES);
}

} // namespace fuzz
