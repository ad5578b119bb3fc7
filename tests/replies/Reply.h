// SPDX-License-Identifier: MIT
/// \file Reply documents for tests and benchmarks: one description, written in every shape that the service may use.
#ifndef REPLIES_REPLY_H
#define REPLIES_REPLY_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace test {

/// Where a field stands: the format leaves it open.
enum class Shape { ATTRIBUTES, ELEMENTS };
enum class Layout { COMPACT, INDENTED };

constexpr Shape SHAPES[] = {Shape::ATTRIBUTES, Shape::ELEMENTS};
const char* nameOf(Shape shape);

/// An element of a reply: what it is called, its fields, and the elements in it.
struct Element {
    using Field = std::pair<std::string, std::string>;

    Element(std::string elementName, std::vector<Field> elementFields = {}, std::vector<Element> elementChildren = {})
        : name(std::move(elementName)), fields(std::move(elementFields)), children(std::move(elementChildren))
    {
    }

    std::string name;
    std::vector<Field> fields;     ///< attributes or child elements with a text
    std::vector<Element> children; ///< elements in either shape, behind the fields
    std::string text;              ///< stands before all children
};

/// The element as XML.
std::string write(const Element& element, Shape shape, Layout layout = Layout::COMPACT);
/// A whole reply: "rsp" with a "result" that says "ok" and the given elements behind it.
std::string reply(const std::vector<Element>& elements, Shape shape, Layout layout = Layout::COMPACT);
/// The same with one "data" around the elements.
std::string replyWithData(const std::vector<Element>& elements, Shape shape, Layout layout = Layout::COMPACT);

std::string escaped(std::string_view text);

} // namespace test

#endif
