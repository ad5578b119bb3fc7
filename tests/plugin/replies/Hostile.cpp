// SPDX-License-Identifier: MIT
#include "plugin/replies/Hostile.h"

#include <cstdint>

namespace test {

namespace {

using namespace std::string_literals;

std::string inData(const std::string& content) { return "<rsp><result><stat>ok</stat></result><data>" + content + "</data></rsp>"; }

std::string inContent(const std::string& content) { return inData("<content contentId='1'>" + content + "</content>"); }

/// ASCII in units of so many bytes.
std::string widened(const std::string& text, std::size_t width, bool bigEndian)
{
    std::string out;
    for (const char c : text)
        for (std::size_t i = 0; i < width; ++i)
            out += i == (bigEndian ? width - 1 : 0) ? c : '\0';
    return out;
}

/// Everything but letters and digits as UTF-7 writes it.
std::string inUtf7(const std::string& text)
{
    static const char DIGITS[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (const char c : text) {
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) {
            out += c;
            continue;
        }
        const std::uint32_t bits = static_cast<std::uint32_t>(static_cast<unsigned char>(c)) << 2; // 16 bits in three digits
        out += '+';
        out += DIGITS[bits >> 12 & 63];
        out += DIGITS[bits >> 6 & 63];
        out += DIGITS[bits & 63];
        out += '-';
    }
    return out;
}

/// ASCII in code page 37.
std::string inEbcdic(const std::string& text)
{
    static const std::string ASCII =
        " .<(+|&!$*);-/,%_>?`:#@'=\"abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789[]\n";
    static const std::string EBCDIC =
        "\x40\x4B\x4C\x4D\x4E\x4F\x50\x5A\x5B\x5C\x5D\x5E\x60\x61\x6B\x6C\x6D\x6E\x6F\x79\x7A\x7B\x7C\x7D"
        "\x7E\x7F\x81\x82\x83\x84\x85\x86\x87\x88\x89\x91\x92\x93\x94\x95\x96\x97\x98\x99\xA2\xA3\xA4\xA5\xA6"
        "\xA7\xA8\xA9\xC1\xC2\xC3\xC4\xC5\xC6\xC7\xC8\xC9\xD1\xD2\xD3\xD4\xD5\xD6\xD7\xD8\xD9\xE2\xE3\xE4\xE5"
        "\xE6\xE7\xE8\xE9\xF0\xF1\xF2\xF3\xF4\xF5\xF6\xF7\xF8\xF9\xBA\xBB\x25";
    std::string out;
    for (const char c : text)
        out += EBCDIC[ASCII.find(c)];
    return out;
}

std::string attributeDefaults(std::size_t defaults, std::size_t elements)
{
    std::string body = "<!DOCTYPE rsp [<!ATTLIST a";
    for (std::size_t i = 0; i < defaults; ++i)
        body += " x" + std::to_string(i) + " CDATA 'v'";
    return body + ">]>" + inData(repeated("<a/>", 4 * elements));
}

std::string laughs(std::size_t levels)
{
    std::string body = "<!DOCTYPE rsp [<!ENTITY e0 'ha'>";
    for (std::size_t i = 1; i <= levels; ++i)
        body += "<!ENTITY e" + std::to_string(i) + " '" + repeated("&e" + std::to_string(i - 1) + ";", 40) + "'>";
    return body + "]>";
}

} // namespace

std::string repeated(const std::string& text, std::size_t size)
{
    std::string out;
    out.reserve(size + text.size());
    while (out.size() < size)
        out += text;
    return out;
}

std::vector<HostileBody> documentTypes(const std::string& file, const std::string& url)
{
    const std::string quadratic = "<!DOCTYPE rsp [<!ENTITY e '" + repeated("x", 50000) + "'>]>";
    std::vector<HostileBody> bodies = {
        {"a plain document type", "<!DOCTYPE rsp>" + inContent(""), true},
        {"behind a declaration", "<?xml version='1.0'?>\n<!DOCTYPE rsp>" + inContent(""), true},
        {"behind comments and instructions", "<!-- <rsp/> --><?x <rsp/>?>\n<!-- - --><!DOCTYPE rsp>" + inContent(""), true},
        {"an unfinished document type", "<!DOCTYPE rsp [", true},
        {"a document type alone", "<!DOCTYPE rsp>", true},
        {"a billion laughs in a text", laughs(9) + inContent("<contentDesc>&e9;</contentDesc>"), true},
        {"a billion laughs in an attribute", laughs(9) + inData("<content contentId='1' contentDesc='&e9;'/>"), true},
        {"a billion laughs that nobody tells", laughs(30) + inContent(""), true},
        {"a long entity, often", quadratic + inContent("<contentDesc>" + repeated("&e;", 60000) + "</contentDesc>"), true},
        {"a long entity, often in an attribute",
         quadratic + inData("<content contentId='1' contentDesc='" + repeated("&e;", 60000) + "'/>"), true},
        {"parameter entities",
         "<!DOCTYPE rsp [<!ENTITY % a '" + repeated("x", 100) +
             "'><!ENTITY % b '%a;%a;%a;%a;%a;%a;%a;%a;'><!ENTITY % c '%b;%b;%b;%b;%b;%b;%b;%b;'><!ENTITY % d '%c;%c;%c;%c;'>%d;]>" +
             inContent(""),
         true},
        {"an entity in itself", "<!DOCTYPE rsp [<!ENTITY e '&e;'>]>" + inContent("&e;"), true},
        {"attribute defaults", attributeDefaults(1000, 20000), true},
        {"an external entity from a file",
         "<!DOCTYPE rsp [<!ENTITY e SYSTEM '" + file + "'>]>" + inContent("<contentDesc>&e;</contentDesc>"), true},
        {"an external entity from a file URL",
         "<!DOCTYPE rsp [<!ENTITY e SYSTEM 'file://" + file + "'>]>" + inContent("<contentDesc>&e;</contentDesc>"), true},
        {"an external entity from the net",
         "<!DOCTYPE rsp [<!ENTITY e SYSTEM '" + url + "'>]>" + inContent("<contentDesc>&e;</contentDesc>"), true},
        {"an external parameter entity", "<!DOCTYPE rsp [<!ENTITY % e SYSTEM '" + file + "'>%e;]>" + inContent(""), true},
        {"an external subset from a file", "<!DOCTYPE rsp SYSTEM '" + file + "'>" + inContent(""), true},
        {"an external subset from the net", "<!DOCTYPE rsp PUBLIC '-//K//D' '" + url + "'>" + inContent(""), true},
        {"XInclude of a file",
         inContent("<contentDesc><xi:include xmlns:xi='http://www.w3.org/2001/XInclude' parse='text' href='" + file +
                   "'/></contentDesc>"),
         false},
        {"XInclude from the net",
         inContent("<contentDesc><xi:include xmlns:xi='http://www.w3.org/2001/XInclude' href='" + url + "'/></contentDesc>"),
         false},
        {"a style sheet", "<?xml-stylesheet href='" + url + "' type='text/xsl'?>" + inContent(""), false},
        {"a schema",
         "<rsp xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' xsi:noNamespaceSchemaLocation='" + url + "'><data/></rsp>",
         false},
    };
    // Once the parser has found an error it calls nobody, but still reads what follows.
    const std::string defaults = attributeDefaults(1000, 20000);
    for (const char* const error :
         {"<?xml version='1.0' bogus?>", "<?xml version='1.0' >", "<?<", "<?\?>", "<?xml?>", "<!-- -- -->", "<?XML x?>", "<!--->",
          "<!---->>", "<?x", "<!--", " <?xml version='1.0'?>", "<?xml version='9'?>", "\x01", "<!-- \x01 -->"})
        bodies.push_back({"a document type behind an error: "s + error, error + defaults, true});
    return bodies;
}

std::vector<HostileBody> disguises(const std::string& document, bool refused)
{
    const auto declared = [&](const char* encoding) { return R"(<?xml version="1.0" encoding=")"s + encoding + R"("?>)"; };
    return {
        {"UTF-8 with a mark", "\xEF\xBB\xBF" + document, refused},
        {"UTF-16, little end first", "\xFF\xFE" + widened(document, 2, false), refused},
        {"UTF-16, big end first", "\xFE\xFF" + widened(document, 2, true), refused},
        {"UTF-16 without a mark, little end first", widened(declared("UTF-16") + document, 2, false), refused},
        {"UTF-16 without a mark, big end first", widened(declared("UTF-16") + document, 2, true), refused},
        {"UTF-32 without a mark, little end first", widened(declared("UTF-32") + document, 4, false), refused},
        {"UTF-32 without a mark, big end first", widened(declared("UTF-32") + document, 4, true), refused},
        {"Latin-1", declared("ISO-8859-1") + document, refused},
        {"Windows", declared("windows-1252") + document, refused},
        {"Korean", declared("EUC-KR") + document, refused},
        {"Japanese", declared("Shift_JIS") + document, refused},
        {"Japanese with escapes", declared("ISO-2022-JP") + "\x1B(B" + document, refused},
        // No service speaks these; they are refused whatever they say.
        {"UTF-32 with a mark, little end first", "\xFF\xFE\0\0"s + widened(document, 4, false), true},
        {"UTF-32 with a mark, big end first", "\0\0\xFE\xFF"s + widened(document, 4, true), true},
        {"UTF-32 in an odd order", "\0\0<\0"s + widened(document, 4, true), true},
        {"UTF-7", declared("UTF-7") + inUtf7(document), true},
        {"EBCDIC", inEbcdic(R"(<?xml version="1.0" encoding="IBM037"?>)" + document), true},
        {"EBCDIC by name", declared("IBM037") + inEbcdic(document), true},
        {"UTF-16 by name only", declared("UTF-16") + document, true},
        {"an unknown encoding", declared("x-unknown") + document, true},
        {"a path for an encoding", declared("../../../../tmp/evil") + document, true},
    };
}

const std::vector<Growth>& growths()
{
    static const std::vector<Growth> all = {
        {"empty elements", [](std::size_t size) { return inData(repeated("<a/>", size)); }, false},
        {"elements with a text", [](std::size_t size) { return inData(repeated("<a>x</a>", size)); }, false},
        {"empty attributes", [](std::size_t size) { return inData(repeated("<a b='' c='' d=''/>", size)); }, false},
        {"elements of different names",
         [](std::size_t size) {
             std::string elements;
             for (std::size_t i = 0; elements.size() < size; ++i)
                 elements += "<a" + std::to_string(i) + "/>";
             return inData(elements);
         },
         false},
        {"nesting", [](std::size_t size) { return "<rsp><data>" + repeated("<a>", size); }, true},
        {"nesting that ends", [](std::size_t size) { return inData(repeated("<a>", size / 2) + repeated("</a>", size / 2)); },
         true},
        {"nesting of nonsense", [](std::size_t size) { return repeated("<a b='c'>d&lt;", size); }, true},
        {"nesting of fields", [](std::size_t size) { return inData(repeated("<content contentId='1'>", size)); }, true},
        {"attributes on one tag",
         [](std::size_t size) {
             std::string tag = "<content contentId='1'";
             for (std::size_t i = 0; tag.size() < size; ++i)
                 tag += " a" + std::to_string(i) + "='x'";
             return inData(tag + "/>");
         },
         false},
        {"attributes with blanks and greater-thans",
         [](std::size_t size) {
             std::string tag = "<content contentId='1'";
             for (std::size_t i = 0; tag.size() < size; ++i)
                 tag += "\n\ta" + std::to_string(i) + " =\r\n\" > />\"";
             return inData(tag + "/>");
         },
         false},
        {"a tag without an end", [](std::size_t size) { return inData("<content " + std::string(size, 'x')); }, true},
        {"a name without an end", [](std::size_t size) { return "<" + std::string(size, 'r'); }, true},
        {"a value without an end", [](std::size_t size) { return inData("<content contentId='" + std::string(size, 'x')); }, true},
        {"namespaces on one tag",
         [](std::size_t size) {
             std::string tag = "<a";
             for (std::size_t i = 0; tag.size() < size / 2; ++i)
                 tag += " xmlns:n" + std::to_string(i) + "='urn:" + std::to_string(i) + "'";
             return inData(tag + ">" + repeated("<n0:b/>", size / 2) + "</a>");
         },
         false},
        {"namespaces by depth",
         [](std::size_t size) {
             std::string open = "<a xmlns:n='urn:n'>";
             std::string close = "</a>";
             for (int depth = 0; depth < 100; ++depth) {
                 open += "<a";
                 close += "</a>";
                 for (int i = 0; i < 100; ++i)
                     open += " xmlns:n" + std::to_string(100 * depth + i) + "='urn:n'";
                 open += ">";
             }
             return inData(open + repeated("<n:b/>", size) + close);
         },
         false},
        {"undeclared prefixes",
         [](std::size_t size) {
             std::string tag = "<p:" + std::string(40000, 'n');
             for (int i = 0; i < 250; ++i)
                 tag += " p:a" + std::to_string(i) + "=''";
             return inData(repeated(tag + "/>", size));
         },
         false},
        {"ampersands", [](std::size_t size) { return inData(repeated("&", size)); }, true},
        {"unknown entities", [](std::size_t size) { return inData(repeated("&x;", size)); }, true},
        {"references",
         [](std::size_t size) { return inContent("<contentDesc>" + repeated("&amp;&#65;", size) + "</contentDesc>"); }, false},
        {"references in a value",
         [](std::size_t size) { return inData("<content contentId='1' contentDesc='" + repeated("&amp;&#65;", size) + "'/>"); },
         false},
        {"less-thans", [](std::size_t size) { return repeated("<", size); }, true},
        {"comments", [](std::size_t size) { return inData(repeated("<!---->", size)); }, false},
        {"comments before the root", [](std::size_t size) { return repeated("<!---->", size) + inData(""); }, false},
        {"comments behind the root", [](std::size_t size) { return inData("") + repeated("<!---->", size); }, false},
        {"instructions", [](std::size_t size) { return repeated("<?a?>", size / 2) + inData(repeated("<?a?>", size / 2)); }, false},
        {"instructions of different names",
         [](std::size_t size) {
             std::string instructions;
             for (std::size_t i = 0; instructions.size() < size; ++i)
                 instructions += "<?a" + std::to_string(i) + "?>";
             return instructions.substr(0, instructions.size() / 2) + inData(instructions);
         },
         false},
        {"instructions that name catalogs",
         [](std::size_t size) { return repeated("<?oasis-xml-catalog catalog='x'?>", size) + inData(""); }, false},
        {"CDATA sections",
         [](std::size_t size) { return inContent("<contentDesc>" + repeated("<![CDATA[x]]>", size) + "</contentDesc>"); }, false},
        {"CDATA sections and texts",
         [](std::size_t size) { return inContent("<contentDesc>" + repeated("x<![CDATA[x]]>", size) + "</contentDesc>"); }, false},
        {"texts and elements",
         [](std::size_t size) { return inContent("<contentDesc>" + repeated("x<b/>", size) + "</contentDesc>"); }, false},
        {"one long text", [](std::size_t size) { return inContent("<contentDesc>" + std::string(size, 'x') + "</contentDesc>"); },
         false},
        {"one long text of wide characters",
         [](std::size_t size) { return inContent("<contentDesc>" + repeated("\xEA\xB9\x80", size) + "</contentDesc>"); }, false},
        {"blanks", [](std::size_t size) { return inData(std::string(size, ' ')); }, false},
        {"blanks before everything", [](std::size_t size) { return std::string(size, ' ') + inData(""); }, false},
        {"a long instruction", [](std::size_t size) { return "<?x " + std::string(size, '?') + "?>" + inData(""); }, false},
        {"a long comment", [](std::size_t size) { return "<!--" + repeated("- ", size) + "-->" + inData(""); }, false},
        {"no end of a comment", [](std::size_t size) { return inData("<!--" + repeated("- ", size)); }, true},
        {"zeros", [](std::size_t size) { return std::string(size, '\0'); }, true},
        {"zeros behind the root", [](std::size_t size) { return inData("") + std::string(size, '\0'); }, false},
        {"letters", [](std::size_t size) { return std::string(size, 'x'); }, true},
        // The rules that make a record of each of these.
        {"contentId elements", [](std::size_t size) { return inData(repeated("<contentId>1</contentId>", size)); }, false},
        {"empty contentId elements behind many others",
         [](std::size_t size) { return inData(repeated("<x/>", size / 2) + repeated("<contentId/>", size / 2)); }, false},
        {"contentId elements of a long content",
         [](std::size_t size) {
             return inData("<contentId>1</contentId><contentDesc>" + std::string(size / 2, 'x') + "</contentDesc>" +
                           repeated("<contentId/>", size / 2));
         },
         false},
        {"groupId elements", [](std::size_t size) { return inData(repeated("<groupId/>", size)); }, false},
        {"groupId elements with a long text",
         [](std::size_t size) {
             return inData("<groupId>" + std::string(size / 2, 'x') + "</groupId>" + repeated("<groupId/>", size / 2));
         },
         false},
        {"contents without anything", [](std::size_t size) { return inData(repeated("<content contentId='1'/>", size)); }, false},
        {"contents without identifier", [](std::size_t size) { return inData(repeated("<content/>", size)); }, false},
        {"groups", [](std::size_t size) { return inData(repeated("<group/>", size)); }, false},
        {"groups in one group", [](std::size_t size) { return inData("<group>" + repeated("<group/>", size) + "</group>"); },
         false},
        {"comments as records",
         [](std::size_t size) { return "<rsp>" + repeated("<comment commentId='1'/>", size) + "<data/></rsp>"; }, false},
        {"comments of one content",
         [](std::size_t size) {
             return inData("<group><content id='1' galleryID='1'>" + repeated("<comment commentId='1'/>", size) +
                           "</content></group>");
         },
         false},
        {"galleries",
         [](std::size_t size) { return "<rsp><group>" + repeated("<gallery id='1'/>", size) + "</group><data/></rsp>"; }, false},
        {"contents of one gallery",
         [](std::size_t size) {
             return "<rsp><group><gallery id='1'>" + repeated("<content id='1'/>", size) + "</gallery></group><data/></rsp>";
         },
         false},
        {"details of a content with a long upload URL",
         [](std::size_t size) {
             return inData("<content contentId='1'><uploadUrl>" + std::string(size / 2, 'u') + "</uploadUrl>" +
                           repeated("<contentDetail/>", size / 2) + "</content>");
         },
         false},
        {"thumbnails with the URL of the first",
         [](std::size_t size) {
             return inContent("<contentDetail><thumbnail><contentThumbnail_116X87>" + std::string(size / 2, 'u') +
                              "</contentThumbnail_116X87>" + repeated("<contentThumbnail_116X87/>", size / 2) +
                              "</thumbnail></contentDetail>");
         },
         false},
        {"creators", [](std::size_t size) { return inContent(repeated("<contentCreator userName='n'/>", size)); }, false},
        {"pictures",
         [](std::size_t size) { return inContent("<contentCreator>" + repeated("<thumbnail/>", size) + "</contentCreator>"); },
         false},
        {"data elements", [](std::size_t size) { return "<rsp>" + repeated("<data/>", size) + "</rsp>"; }, false},
        {"results", [](std::size_t size) { return "<rsp>" + repeated("<result><stat>ok</stat></result>", size) + "<data/></rsp>"; },
         false},
        {"stat elements", [](std::size_t size) { return "<rsp><result>" + repeated("<stat/>", size) + "</result><data/></rsp>"; },
         false},
    };
    return all;
}

std::vector<HostileBody> brokenTexts()
{
    std::vector<HostileBody> bodies;
    const auto add = [&](const std::string& name, const std::string& bytes) {
        bodies.push_back({name + " in a text", inContent("<contentDesc>a" + bytes + "b</contentDesc>"), true});
        bodies.push_back({name + " in a value", inData("<content contentId='1' contentDesc='a" + bytes + "b'/>"), true});
        bodies.push_back({name + " in a name", inContent("<a" + bytes + "/>"), true});
        bodies.push_back({name + " in a comment", inContent("<!-- " + bytes + " -->"), true});
        bodies.push_back({name + " in a section", inContent("<![CDATA[" + bytes + "]]>"), true});
        bodies.push_back({name + " first", bytes + inData(""), true});
    };
    add("a zero", "\0"s);
    add("a control character", "\x01");
    add("a lone continuation", "\x80");
    add("a character cut short", "\xC3");
    add("a character cut short by a quote", "\xE2\x82'");
    add("an overlong slash", "\xC0\xAF");
    add("an overlong less-than", "\xC0\xBC");
    add("an overlong zero", "\xC0\x80");
    add("an overlong less-than of three bytes", "\xE0\x80\xBC");
    add("an overlong less-than of four bytes", "\xF0\x80\x80\xBC");
    add("half a pair", "\xED\xA0\x80");
    add("beyond the last character", "\xF4\x90\x80\x80");
    add("five bytes", "\xF8\x88\x80\x80\x80");
    add("a byte that never is", "\xFF");
    add("a non-character", "\xEF\xBF\xBE");
    bodies.push_back({"a zero reference", inContent("&#0;"), true});
    bodies.push_back({"a control reference", inContent("&#1;"), true});
    bodies.push_back({"half a pair by reference", inContent("&#xD800;"), true});
    bodies.push_back({"beyond the last by reference", inContent("&#x110000;"), true});
    bodies.push_back({"a huge reference", inContent("&#99999999999999999999;"), true});
    return bodies;
}

} // namespace test
