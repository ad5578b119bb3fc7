// SPDX-License-Identifier: MIT
#include "commands/GroupContents.h"

#include "commands/Feed.h"
#include "core/Text.h"
#include "core/Window.h"
#include "files/FileHash.h"
#include "kinloom/Media.h"
#include "output/Bars.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>

namespace kinloom {

namespace {

constexpr unsigned int LISTING_PAGE = 500;
constexpr unsigned int GONE_CODE = 404;

/// A folder for what is only looked at.
class PassingFolder {
public:
    PassingFolder()
    {
        m_path = (std::filesystem::temp_directory_path() / "kinloom-XXXXXX").string();
        if (mkdtemp(m_path.data()) == nullptr)
            throw fileFailure(m_path, "cannot be made", errno);
    }
    ~PassingFolder()
    {
        std::error_code error;
        std::filesystem::remove_all(m_path, error);
    }
    PassingFolder(const PassingFolder&) = delete;
    PassingFolder& operator=(const PassingFolder&) = delete;

    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

/// What tells the notes of one group at one service from all others. A service whose data were begun anew counts its contents from
/// the beginning again, at the same address; its devices have other values then, so these are a part of it.
std::string keyOf(Context& context, const std::string& group)
{
    std::string key = context.lane().address() + "\n" + group;
    for (const auto& [name, value] : context.settings().options)
        key.append("\n").append(name).append("=").append(value);
    return key;
}

} // namespace

GroupContents::GroupContents(Context& context, std::string group)
    : m_context(context), m_group(std::move(group)), m_notes(ContentNotes::folderOfThisUser(), keyOf(context, m_group))
{
    if (!m_notes.trouble().empty())
        Output::note("note: what is compared cannot be remembered: " + m_notes.trouble());
}

void GroupContents::look(const std::set<std::uint64_t>& sizes, std::size_t jobs)
{
    ReadFeed query;
    query.group = m_group;
    query.after = FEED_END;
    query.base = W::KL_BASE_CONTENT_ID;
    query.count = LISTING_PAGE;
    std::vector<Candidate> unknown;
    forEachContent(m_context, query, [&](const W::WContent& content) {
        const auto size = wholeNumber(content.getSize());
        if (!size || sizes.count(*size) == 0)
            return true;
        m_contents.emplace(*size, content.getUID());
        if (m_notes.hashOf(content.getUID()).empty())
            unknown.push_back({content.getUID(), content.getResourceURL(), *size});
        return true;
    });
    if (!unknown.empty())
        fetch(unknown, jobs);
}

void GroupContents::fetch(const std::vector<Candidate>& candidates, std::size_t jobs)
{
    struct Fetched {
        const Candidate* candidate;
        std::string file;
        std::unique_ptr<Bars::Bar> bar;
    };
    const PassingFolder folder;
    Media media;
    Bars bars(candidates.size(), 0);
    std::optional<Failure> stop;
    Window<MediaReply, Fetched> window(jobs, [&](Fetched& fetched, const Outcome<MediaReply>& outcome) {
        fetched.bar->end(true);
        const std::string& content = fetched.candidate->content;
        if (outcome) {
            note(*fetched.candidate, fetched.file);
            std::filesystem::remove(fetched.file);
        } else if (outcome.failure().kind == FailureKind::INTERRUPTED || outcome.failure().status == W::WSTATUS_UNREACHABLE) {
            stop = stop.value_or(m_context.failureOf(outcome.failure()));
            window.cancel();
        } else if (outcome.failure().httpCode != GONE_CODE) { // what was deleted meanwhile is not there any more
            m_missing.insert_or_assign(content, fetchFailure(m_context, content, fetched.candidate->size, outcome.failure()));
        }
    });
    for (const Candidate& candidate : candidates) {
        if (stop)
            break;
        auto fetched = std::make_unique<Fetched>();
        fetched->candidate = &candidate;
        fetched->file = folder.path() + "/" + std::to_string(&candidate - candidates.data());
        fetched->bar = std::make_unique<Bars::Bar>(bars, "looking at content " + candidate.content, 0);
        window.add(std::move(fetched), [&](Fetched& one) {
            MediaOrder order;
            order.url = one.candidate->url;
            order.file = one.file;
            // It can only be what a file is when it has its size, and whoever sends more may send on until the disk is full.
            order.fileLimit = one.candidate->size;
            order.name = "content " + one.candidate->content;
            return media.fetch(
                std::move(order),
                m_context.callOptions([bar = one.bar.get()](double done, double total) { bar->update(done, total); },
                                      [&bars](const std::string& text) { bars.above([&] { Output::hint(text); }); }));
        });
    }
    window.finish();
    m_context.interrupt.check();
    if (stop)
        throw Failure(*stop);
}

/// Keeps the hash of a file that has arrived, if it is what was announced.
void GroupContents::note(const Candidate& candidate, const std::string& file)
{
    const std::uint64_t size = std::filesystem::file_size(file);
    if (size == candidate.size)
        m_notes.note(candidate.content, hashOfFile(file));
    else
        m_missing.insert_or_assign(candidate.content, sizeFailure(candidate.content, candidate.size, size));
}

std::string GroupContents::find(const std::string& hash, std::uint64_t size) const
{
    const Failure* missing = nullptr;
    const auto [first, last] = m_contents.equal_range(size);
    for (auto entry = first; entry != last; ++entry) {
        if (m_notes.hashOf(entry->second) == hash)
            return entry->second;
        if (const auto found = m_missing.find(entry->second); found != m_missing.end())
            missing = &found->second;
    }
    if (missing != nullptr)
        throw Failure(*missing);
    return {};
}

void GroupContents::add(const std::string& content, const std::string& hash, std::uint64_t size)
{
    m_notes.note(content, hash);
    m_contents.emplace(size, content);
}

} // namespace kinloom
