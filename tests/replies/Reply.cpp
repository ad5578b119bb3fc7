// SPDX-License-Identifier: MIT
#include "replies/Reply.h"

namespace test {

namespace {

const char* referenceTo(char c)
{
    switch (c) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\n': // as they are, these would be read as blanks from an attribute
        return "&#10;";
    case '\r':
        return "&#13;";
    case '\t':
        return "&#9;";
    default:
        return nullptr;
    }
}

void append(std::string& out, const Element& element, Shape shape, Layout layout, std::size_t depth)
{
    const auto newLine = [&](std::size_t indent) {
        if (layout == Layout::INDENTED)
            out.append("\n").append(2 * indent, ' ');
    };
    out.append("<").append(element.name);
    if (shape == Shape::ATTRIBUTES)
        for (const auto& [name, value] : element.fields)
            out.append(" ").append(name).append("=\"").append(escaped(value)).append("\"");
    const bool hasElements = !element.children.empty() || (shape == Shape::ELEMENTS && !element.fields.empty());
    if (!hasElements && element.text.empty()) {
        out.append("/>");
        return;
    }
    out.append(">").append(escaped(element.text));
    if (shape == Shape::ELEMENTS)
        for (const auto& [name, value] : element.fields) {
            newLine(depth + 1);
            out.append("<").append(name).append(">").append(escaped(value)).append("</").append(name).append(">");
        }
    for (const Element& child : element.children) {
        newLine(depth + 1);
        append(out, child, shape, layout, depth + 1);
    }
    if (hasElements)
        newLine(depth);
    out.append("</").append(element.name).append(">");
}

} // namespace

const char* nameOf(Shape shape) { return shape == Shape::ATTRIBUTES ? "attributes" : "elements"; }

std::string escaped(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        if (const char* const reference = referenceTo(c))
            out += reference;
        else
            out += c;
    }
    return out;
}

std::string write(const Element& element, Shape shape, Layout layout)
{
    std::string out;
    append(out, element, shape, layout, 0);
    return out;
}

std::string reply(const std::vector<Element>& elements, Shape shape, Layout layout)
{
    Element result("result");
    Element stat("stat"); // the verdict is an element in either shape
    stat.text = "ok";
    result.children.push_back(std::move(stat));
    Element root("rsp");
    root.children.push_back(std::move(result));
    root.children.insert(root.children.end(), elements.begin(), elements.end());
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + write(root, shape, layout) + "\n";
}

std::string replyWithData(const std::vector<Element>& elements, Shape shape, Layout layout)
{
    return reply({Element("data", {}, elements)}, shape, layout);
}

} // namespace test
