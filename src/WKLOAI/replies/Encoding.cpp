// SPDX-License-Identifier: MIT
#include "WKLOAI/replies/Encoding.h"

#include <cerrno>
#include <iconv.h>

namespace W::replies {

namespace {

using namespace std::string_view_literals;

void appendUtf8(STRING& out, std::uint32_t c)
{
    const auto put = [&out](std::uint32_t byte) { out += static_cast<char>(byte); };
    if (c < 0x80) {
        put(c);
    } else if (c < 0x800) {
        put(0xC0 | c >> 6);
        put(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        put(0xE0 | c >> 12);
        put(0x80 | (c >> 6 & 0x3F));
        put(0x80 | (c & 0x3F));
    } else {
        put(0xF0 | c >> 18);
        put(0x80 | (c >> 12 & 0x3F));
        put(0x80 | (c >> 6 & 0x3F));
        put(0x80 | (c & 0x3F));
    }
}

enum class Order { BIG_ENDIAN_UNITS, LITTLE_ENDIAN_UNITS };

template <std::size_t WIDTH> std::uint32_t unitAt(std::string_view text, std::size_t position, Order order)
{
    std::uint32_t unit = 0;
    for (std::size_t i = 0; i < WIDTH; ++i)
        unit = unit << 8 | static_cast<unsigned char>(text[position + (order == Order::BIG_ENDIAN_UNITS ? i : WIDTH - 1 - i)]);
    return unit;
}

bool isSurrogate(std::uint32_t c) { return c >= 0xD800 && c < 0xE000; }

bool decodeUtf16(std::string_view text, Order order, STRING& out)
{
    if (text.size() % 2 != 0)
        return false;
    out.reserve(text.size() / 2);
    for (std::size_t i = 0; i < text.size(); i += 2) {
        std::uint32_t c = unitAt<2>(text, i, order);
        if (isSurrogate(c)) {
            if (c >= 0xDC00 || (i += 2) >= text.size())
                return false;
            const std::uint32_t low = unitAt<2>(text, i, order);
            if (!isSurrogate(low) || low < 0xDC00)
                return false;
            c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
        }
        appendUtf8(out, c);
    }
    return true;
}

bool decodeUtf32(std::string_view text, Order order, STRING& out)
{
    if (text.size() % 4 != 0)
        return false;
    out.reserve(text.size() / 4);
    for (std::size_t i = 0; i < text.size(); i += 4) {
        const std::uint32_t c = unitAt<4>(text, i, order);
        if (c > 0x10FFFF || isSurrogate(c))
            return false;
        appendUtf8(out, c);
    }
    return true;
}

bool decodeLatin1(std::string_view text, STRING& out)
{
    out.reserve(text.size());
    for (const char c : text)
        appendUtf8(out, static_cast<unsigned char>(c));
    return true;
}

bool decodeByName(std::string_view text, const STRING& encoding, STRING& out)
{
    struct Converter {
        explicit Converter(const STRING& from) : handle(iconv_open("UTF-8", from.c_str())) {}
        ~Converter()
        {
            if (isOpen())
                iconv_close(handle);
        }
        // NOLINTNEXTLINE(performance-no-int-to-ptr): the value is iconv_open's for a failure
        bool isOpen() const { return handle != reinterpret_cast<iconv_t>(-1); }
        iconv_t handle;
    } converter(encoding);
    if (!converter.isOpen())
        return false;

    out.reserve(text.size());
    char* in = const_cast<char*>(text.data()); // iconv does not write there
    std::size_t left = text.size();
    char piece[4096];
    for (bool done = false; !done;) {
        char* to = piece;
        std::size_t room = sizeof piece;
        // At the end without an input: the converter may hold something back.
        const bool atEnd = left == 0;
        const std::size_t result = iconv(converter.handle, atEnd ? nullptr : &in, atEnd ? nullptr : &left, &to, &room);
        out.append(piece, static_cast<std::size_t>(to - piece));
        if (result == static_cast<std::size_t>(-1) && errno != E2BIG)
            return false;
        done = atEnd && result != static_cast<std::size_t>(-1);
    }
    return true;
}

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// The encoding that the XML declaration names, in lower case; empty when there is none.
STRING declaredEncoding(std::string_view body)
{
    if (body.substr(0, 5) != "<?xml")
        return {};
    const std::string_view declaration = body.substr(0, body.find("?>"));
    std::size_t begin = declaration.find("encoding");
    begin = begin == std::string_view::npos ? begin : declaration.find_first_of("\"'", begin);
    if (begin == std::string_view::npos)
        return {};
    const std::size_t end = declaration.find(declaration[begin], begin + 1);
    if (end == std::string_view::npos)
        return {};
    STRING name(declaration.substr(begin + 1, end - begin - 1));
    for (char& c : name)
        c = lower(c);
    return name;
}

/// Encodings of texts, by name or family. Those that no service uses, and converters are a burden to find, are not among them.
bool isKnown(std::string_view encoding)
{
    static constexpr std::string_view NAMES[] = {"us-ascii",       "ascii",       "koi8-r",      "koi8-u", "euc-kr",  "euc-jp",
                                                 "euc-cn",         "shift_jis",   "gb2312",      "gbk",    "gb18030", "big5",
                                                 "ks_c_5601-1987", "iso-2022-kr", "iso-2022-jp", "tis-620"};
    static constexpr std::string_view FAMILIES[] = {"iso-8859-", "iso8859-", "iso_8859-", "windows-", "cp125"};
    for (const std::string_view name : NAMES)
        if (encoding == name)
            return true;
    for (const std::string_view family : FAMILIES)
        if (encoding.substr(0, family.size()) == family)
            return encoding.find_first_not_of("0123456789", family.size()) == std::string_view::npos;
    return false;
}

enum class Kind { UTF_8, UTF_16, UTF_32, UNREADABLE };
struct Detected {
    Kind kind;
    Order order = Order::BIG_ENDIAN_UNITS;
    std::size_t mark = 0; ///< bytes to skip
};

/// The kind of encoding by the first bytes, as the XML parser would find it.
Detected detect(std::string_view body)
{
    static constexpr struct {
        std::string_view begin;
        Detected detected;
    } TABLE[] = {
        {"\xEF\xBB\xBF"sv, {Kind::UTF_8, Order::BIG_ENDIAN_UNITS, 3}}, {"\xFE\xFF"sv, {Kind::UTF_16, Order::BIG_ENDIAN_UNITS, 2}},
        {"\xFF\xFE"sv, {Kind::UTF_16, Order::LITTLE_ENDIAN_UNITS, 2}}, {"\0<\0?"sv, {Kind::UTF_16, Order::BIG_ENDIAN_UNITS}},
        {"<\0?\0"sv, {Kind::UTF_16, Order::LITTLE_ENDIAN_UNITS}},      {"\0\0\0<"sv, {Kind::UTF_32, Order::BIG_ENDIAN_UNITS}},
        {"<\0\0\0"sv, {Kind::UTF_32, Order::LITTLE_ENDIAN_UNITS}},     {"\x4C\x6F\xA7\x94"sv, {Kind::UNREADABLE}}, // EBCDIC
    };
    for (const auto& row : TABLE)
        if (body.substr(0, row.begin.size()) == row.begin)
            return row.detected;
    // The parser may take zeros at the beginning for an order of bytes that it knows; no text begins with one.
    return {body.substr(0, 4).find('\0') == std::string_view::npos ? Kind::UTF_8 : Kind::UNREADABLE};
}

bool decode(std::string_view body, const Detected& detected, const STRING& declared, STRING& out)
{
    switch (detected.kind) {
    case Kind::UTF_16:
        return decodeUtf16(body, detected.order, out);
    case Kind::UTF_32:
        return decodeUtf32(body, detected.order, out);
    case Kind::UTF_8:
        if (declared == "iso-8859-1" || declared == "latin1")
            return decodeLatin1(body, out);
        return isKnown(declared) && decodeByName(body, declared, out);
    case Kind::UNREADABLE:
        break;
    }
    return false;
}

} // namespace

std::optional<std::string_view> inUtf8(std::string_view body, STRING& storage)
{
    const Detected detected = detect(body);
    body.remove_prefix(detected.mark);
    const STRING declared = detected.kind == Kind::UTF_8 && detected.mark == 0 ? declaredEncoding(body) : STRING();
    const bool asItIs = detected.kind == Kind::UTF_8 && (declared.empty() || declared == "utf-8" || declared == "utf8");
    if (!asItIs) {
        storage.clear();
        if (!decode(body, detected, declared, storage))
            return std::nullopt;
        body = storage;
    }
    // The parser looks at the first bytes too, and must not find yet another encoding there.
    const Detected again = detect(body);
    if (again.kind != Kind::UTF_8 || again.mark != 0)
        return std::nullopt;
    return body;
}

} // namespace W::replies
