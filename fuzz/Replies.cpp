// SPDX-License-Identifier: MIT
// Replies: each of the entry points, and all lists beside another reader.
#include "Plugin.h"
#include "Targets.h"
#include "replies/Dump.h"
#include "replies/NaiveReader.h"

namespace fuzz {

namespace {

using namespace W;

void requireStatus(WSTATUS status, WSTATUS failure = WSTATUS_FAILED)
{
    require(status == WSTATUS_OK || status == WSTATUS_FAILED || status == failure, "a reply is read or refused");
}

template <class Record> void list(std::string_view input)
{
    constexpr unsigned int UNTOUCHED = 4711;
    WContainer<Record> parsed;
    unsigned int count = UNTOUCHED;
    const WSTATUS status = plugin().parseString(STRING(input), parsed, count);
    requireStatus(status);
    require(status == WSTATUS_OK || parsed.getData().empty(), "a refused reply has no records");
    require(count == UNTOUCHED ? parsed.getCount() == -1 : parsed.getCount() == static_cast<std::int32_t>(count),
            "the container's count is the one that is told");
    require(count == UNTOUCHED || count <= parsed.getData().size(), "what is counted is in the list");
}

template <class Record> void compare(const STRING& body)
{
    WContainer<Record> ours;
    unsigned int ourCount = 0;
    if (plugin().parseString(body, ours, ourCount) != WSTATUS_OK)
        return; // what is refused may be too much for the other reader
    static const test::NaiveReader reader({plugin().getContentProvider(), fnContentDownloader, &plugin()});
    WContainer<Record> theirs;
    unsigned int theirCount = 0;
    require(reader.read(body, theirs, theirCount) == WSTATUS_OK, "what is read is a reply");
    require(ourCount == theirCount, "the counts are the same");
    require(test::dump(ours) == test::dump(theirs), "the records are the same");
}

} // namespace

void contents(std::string_view input) { list<WContent>(input); }
void groups(std::string_view input) { list<WGroup>(input); }
void comments(std::string_view input) { list<WComment>(input); }
void galleries(std::string_view input) { list<WKLGallery>(input); }

void uploadSlot(std::string_view input)
{
    WContent content;
    requireStatus(plugin().parseString(STRING(input), content));
}

void identity(std::string_view input)
{
    static const STRING BEFORE = "before";
    plugin().service()->setUserID(BEFORE);
    const WSTATUS status = plugin().parseString(STRING(input));
    requireStatus(status);
    require(status == WSTATUS_OK || plugin().service()->getUserID() == BEFORE, "a refused reply changes nothing");
}

void account(std::string_view input)
{
    requireStatus(plugin().parseAuthStatus(STRING(input), nullptr), WSTATUS_AUTH_FAILED);
    requireStatus(plugin().parseLoginStatus(STRING(input), nullptr), WSTATUS_AUTH_FAILED);
    requireStatus(plugin().parseRegisterStatus(STRING(input), nullptr));
}

void records(std::string_view input)
{
    // The other reader leaves encodings to libxml2, which knows fewer of them.
    if (input.empty() || input.front() != '<' || input.substr(0, 100).find("encoding") != std::string_view::npos ||
        input.substr(0, 4).find('\0') != std::string_view::npos)
        return;
    const STRING body(input);
    compare<WContent>(body);
    compare<WGroup>(body);
    compare<WComment>(body);
    compare<WKLGallery>(body);
}

} // namespace fuzz
