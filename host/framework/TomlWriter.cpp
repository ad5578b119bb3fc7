// SPDX-License-Identifier: MIT
#include "framework/TomlWriter.h"

#include <algorithm>
#include <locale>
#include <sstream>
#include <string_view>

namespace W {

namespace {

constexpr std::string_view BARE = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";

std::string quoted(std::string_view text)
{
    static constexpr char HEX[] = "0123456789ABCDEF";
    std::string result = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F) {
            result += "\\u00";
            result += HEX[byte >> 4];
            result += HEX[byte & 15];
            continue;
        }
        if (c == '"' || c == '\\')
            result += '\\';
        result += c;
    }
    return result + '"';
}

std::string keyText(std::string_view key)
{
    return key.empty() || key.find_first_not_of(BARE) != std::string_view::npos ? quoted(key) : std::string(key);
}

bool isSection(const toml::node& node)
{
    const toml::table* const table = node.as_table();
    return table && !table->is_inline();
}

bool isListOfSections(const toml::node& node)
{
    const toml::array* const array = node.as_array();
    return array && !array->empty() && std::all_of(array->begin(), array->end(), isSection);
}

class Writer {
public:
    // The process's locale may group digits.
    Writer() { m_out.imbue(std::locale::classic()); }

    std::string text() const { return m_out.str(); }

    /// \param path of the table, empty for the root; \param header the line that begins it.
    void table(const toml::table& table, const std::string& path, const std::string& header)
    {
        const auto isOwn = [](const toml::node& node) { return !isSection(node) && !isListOfSections(node); };
        // A section that holds nothing but sections needs no line of its own, unless it is one of a list.
        const bool told = table.empty() || header.compare(0, 2, "[[") == 0 ||
                          std::any_of(table.begin(), table.end(), [&](const auto& entry) { return isOwn(entry.second); });
        if (!path.empty() && told)
            m_out << (m_out.tellp() > 0 ? "\n" : "") << header << '\n';
        for (const auto& [key, node] : table)
            if (isOwn(node)) {
                m_out << keyText(key.str()) << " = ";
                value(node);
                m_out << '\n';
            }
        for (const auto& [key, node] : table) {
            const std::string name = (path.empty() ? path : path + ".") + keyText(key.str());
            if (isSection(node))
                this->table(*node.as_table(), name, "[" + name + "]");
            else if (isListOfSections(node))
                for (const toml::node& element : *node.as_array())
                    this->table(*element.as_table(), name, "[[" + name + "]]");
        }
    }

private:
    void value(const toml::node& node)
    {
        if (const auto* const text = node.as_string()) {
            m_out << quoted(text->get());
        } else if (const toml::array* const array = node.as_array()) {
            const char* separator = "[";
            for (const toml::node& element : *array) {
                m_out << separator;
                value(element);
                separator = ", ";
            }
            m_out << (array->empty() ? "[]" : "]");
        } else if (const toml::table* const inlined = node.as_table()) {
            const char* separator = "{ ";
            for (const auto& [key, element] : *inlined) {
                m_out << separator << keyText(key.str()) << " = ";
                value(element);
                separator = ", ";
            }
            m_out << (inlined->empty() ? "{}" : " }");
        } else {
            m_out << toml::toml_formatter(node);
        }
    }

    std::ostringstream m_out;
};

} // namespace

std::string writeToml(const toml::table& root)
{
    Writer writer;
    writer.table(root, "", "");
    return writer.text();
}

} // namespace W
