// SPDX-License-Identifier: MIT
// Short texts: plain errors, dates, the names of files, and what a terminal shows.
#include "Plugin.h"
#include "Targets.h"
#include "core/Errors.h"
#include "core/Text.h"
#include "files/FileName.h"
#include "kinloom/Encode.h"
#include "whost/FakeClient.h"

#include <ostream>

namespace fuzz {

namespace {

using namespace W;

/// The code in a plain error, found in another way than the plugin does: character by character.
STRING errorCodeOf(std::string_view body, bool& tooShort)
{
    static constexpr std::string_view MARK = "Error=";
    std::size_t begin = 5;
    for (std::size_t i = 0; i + MARK.size() <= body.size(); ++i)
        if (body.substr(i, MARK.size()) == MARK) {
            begin = i + MARK.size();
            break;
        }
    tooShort = begin > body.size();
    STRING code;
    for (std::size_t i = begin; i < body.size() && (i == begin || body[i] != '\n'); ++i)
        code += body[i];
    return code;
}

STRING lastSegment(const STRING& text)
{
    STRING segment;
    for (const char c : text) {
        if (c == '/')
            segment.clear();
        else
            segment += c;
    }
    return segment;
}

/// The path of the one request that the client has refused since it began afresh.
STRING refusedPath()
{
    const std::vector<fake::Seen> refused = fake::refusals();
    require(refused.size() == 1, "a download is one request");
    return refused.front().path;
}

void startAfresh()
{
    fake::reset();
    fake::refuseAll(WSTATUS_UNREACHABLE);
    fake::checkRequests(false);
}

void requireSafe(const STRING& name)
{
    require(!name.empty() && name.size() <= 255, "a name has a length that a file may have");
    require(name.find('/') == STRING::npos && name.find('\0') == STRING::npos, "a name stays in its folder");
    require(name.front() != '.', "a name is neither hidden nor a folder's own");
    for (const char c : name)
        require(static_cast<unsigned char>(c) >= 0x20 && c != 0x7F, "a name has no controls");
}

} // namespace

void plainError(std::string_view input)
{
    const STRING body(input);
    bool tooShort = false;
    const STRING expected = errorCodeOf(body, tooShort);
    require(KLService::plainErrorCode(body) == (tooShort ? STRING() : expected), "the code is what stands behind the mark");
    try {
        require(KLService::extractErrorString(body) == expected && !tooShort, "the code is what stands behind the mark");
    } catch (const std::out_of_range&) {
        require(tooShort, "only a body that is too short is out of range");
    }
    KLService::getWlibSTATUS(KLService::getKLSTATUS(expected));
}

void date(std::string_view input)
{
    const STRING text(input);
    for (const WDateTime::TIMEZONE zone : {WDateTime::ZONE_LOCAL, WDateTime::ZONE_UTC}) {
        const WDateTime read = WDateTime::fromString(text, WDateTime::FORMAT_ISO8601, zone);
        if (!read.isSet()) {
            require(read == WDateTime(), "an unreadable date is the unset one");
            continue;
        }
        require(read.getNanoseconds() < 1'000'000'000, "a fraction is less than a second");
        require(WDateTime::fromString(read.toString(), WDateTime::FORMAT_ISO8601, zone) == read,
                "a date reads back what it prints");
    }
    WDateTime::fromString(text, static_cast<WDateTime::DATEFORMAT>(input.size()), static_cast<WDateTime::TIMEZONE>(input.size()));
}

void downloadPath(std::string_view input)
{
    const STRING url(input.substr(0, input.find('\n')));
    const STRING name(input.size() > url.size() ? input.substr(url.size() + 1) : std::string_view());
    WKLOAI& oai = plugin();

    startAfresh();
    const WSTATUS direct = oai.download(oai.getContentProvider(), url, "/folder", name, nullptr, nullptr);
    require(direct == (url.empty() ? WSTATUS_INVALID_ARGUMENT : WSTATUS_UNREACHABLE), "a download is refused by the client alone");
    if (!url.empty())
        require(refusedPath() == "/folder/" + (name.empty() ? lastSegment(url.substr(0, url.rfind('?'))) : name),
                "a download goes to its folder");

    startAfresh();
    WMediaResource resource;
    resource.setResourceURL(url);
    const WSTATUS hooked = fnContentDownloader(resource, nullptr, &oai, nullptr);
    require(hooked == direct, "both downloads are refused alike");
    if (!url.empty()) {
        const STRING segment = lastSegment(url);
        require(refusedPath() == "/tmp/" + segment.substr(0, segment.find('?')), "a resource goes to the temporary folder");
    }
}

void fileName(std::string_view input)
{
    const STRING safe = kinloom::safeFileName(input);
    requireSafe(safe);
    require(safe.size() <= 200, "a safe name leaves room for a number");
    requireSafe(kinloom::nameFromUrl(input, "otherwise"));
    requireSafe(kinloom::nameFromUrl("", input));
    requireSafe(kinloom::numberedName(safe, 4'000'000'000));
    kinloom::extensionOf(input);
    kinloom::requireFileName(safe);
    try {
        kinloom::requireFileName(STRING(input));
        requireSafe(STRING(input));
    } catch (const kinloom::Failure&) {
        // refused with a reason
    }
}

void shownText(std::string_view input)
{
    const STRING shown = kinloom::neutralised(input);
    for (std::size_t i = 0; i < shown.size();)
        require(!kinloom::isControl(kinloom::nextCharacter(shown, i)), "a text cannot steer the terminal");
    require(kinloom::neutralised(shown) == shown, "a neutralised text is neutral");
    for (const std::size_t width : {std::size_t{0}, std::size_t{1}, std::size_t{7}, input.size()}) {
        const STRING cut = kinloom::clipped(shown, width);
        require(kinloom::displayWidth(cut) <= width, "a text is cut to its columns");
        require(kinloom::displayWidth(kinloom::padded(cut, width)) == width, "a text fills its columns");
    }
    const STRING encoded = kinloom::percentEncode(input);
    require(encoded.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~%") == STRING::npos,
            "an encoded text may stand anywhere in a URL");
    require(kinloom::percentDecode(encoded) == input, "an encoded text is decoded again");
}

} // namespace fuzz
