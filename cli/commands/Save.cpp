// SPDX-License-Identifier: MIT
// Mirrors of groups.
#include "commands/Command.h"
#include "commands/Feed.h"
#include "commands/Jobs.h"
#include "commands/Lookup.h"
#include "core/LocalDate.h"
#include "core/Text.h"
#include "core/Waiting.h"
#include "core/Window.h"
#include "files/FileName.h"
#include "files/SaveState.h"
#include "kinloom/Media.h"
#include "kinloom/Route.h"
#include "output/Bars.h"
#include "output/Records.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

namespace kinloom {

namespace {

constexpr unsigned int SAVE_PAGE = 100;
constexpr unsigned int MOST_NUMBERS = 100'000; // names tried for one file

struct SaveOptions {
    std::string group;
    std::string folder;
    std::string since;
    std::string until;
    unsigned int jobs = DEFAULT_JOBS;
};

/// What became of the contents.
struct Tally {
    std::size_t saved = 0;
    std::size_t present = 0;
    std::size_t failed = 0;
    std::optional<Exit> first;
    Json files = Json::array();

    bool empty() const { return saved + present + failed == 0; }
};

/// A content on its way into the folder.
struct Arrival {
    Arrival(const W::WContent& what, const TargetFolder& folder) : content(what), staging(folder) {}

    W::WContent content;
    std::string wanted; ///< the name that it should have
    Staging staging;
    std::unique_ptr<Bars::Bar> bar;
};

/// One run over a group. Contents arrive beside each other, and take their names one after the other, in the feed's order: so each
/// run gives the same names.
class Mirror {
public:
    Mirror(Context& context, const SaveOptions& options)
        : m_context(context),
          m_folder(TargetFolder::made(options.folder)),
          m_state(m_folder, options.group),
          m_bars(0, 0),
          m_window(options.jobs, [this](Arrival& arrival, const Outcome<MediaReply>& outcome) { arrived(arrival, outcome); })
    {
        Staging::sweep(m_folder);
    }

    /// Saves one content unless it is there already. A failure of this content alone is recorded.
    /// \return false when the next contents would fail too.
    bool take(const W::WContent& content)
    {
        if (isPresent(content)) {
            ++m_tally.present;
            return true;
        }
        if (content.getResourceURL().empty()) {
            noteFailure(content, Failure(Exit::FAILED, "content " + content.getUID() + " has no usable address"));
            return true;
        }
        auto arrival = std::make_unique<Arrival>(content, m_folder);
        arrival->wanted = nameFromUrl(content.getResourceURL(), "content-" + content.getUID() + extensionOf(content.getFormat()));
        arrival->bar = std::make_unique<Bars::Bar>(m_bars, arrival->wanted, 0);
        m_window.add(std::move(arrival), [this](Arrival& one) { return fetch(one); });
        return !m_stop;
    }

    /// Waits for what is on its way. \throw Failure when the contents to come would have failed too; Interrupted.
    void finish()
    {
        m_window.finish();
        m_context.interrupt.check();
        if (m_stop)
            throw Failure(*m_stop);
    }

    const Tally& tally() const { return m_tally; }
    const std::string& path() const { return m_folder.path(); }

private:
    static bool concernsAll(const Failure& failure)
    {
        return failure.exitCode() == Exit::LOCAL_FILE || failure.exitCode() == Exit::NOT_SIGNED_IN ||
               failure.status() == W::WSTATUS_UNREACHABLE;
    }

    /// Whether what cannot be reached is another host than the service: that says nothing of the contents to come.
    bool isElsewhere(const W::WContent& content, const Failure& failure) const
    {
        return failure.status() == W::WSTATUS_UNREACHABLE &&
               addressOf(m_context.settings().client, content.getResourceURL()) != m_context.lane().address();
    }

    bool isPresent(const W::WContent& content) const
    {
        const SaveState::Entry* const entry = m_state.find(content.getUID());
        return entry != nullptr && m_folder.sizeOf(entry->name) == entry->size;
    }

    Call<MediaReply> fetch(Arrival& arrival)
    {
        MediaOrder order;
        order.url = arrival.content.getResourceURL();
        order.file = arrival.staging.file();
        order.name = arrival.wanted;
        // One byte more than was announced is one too much: whoever sends it may send on until the disk is full.
        if (const auto announced = wholeNumber(arrival.content.getSize()))
            order.fileLimit = std::max<std::uint64_t>(*announced, 1);
        return m_media.fetch(
            std::move(order),
            m_context.callOptions([bar = arrival.bar.get()](double done, double total) { bar->update(done, total); },
                                  [this](const std::string& text) { m_bars.above([&] { Output::hint(text); }); }));
    }

    void arrived(Arrival& arrival, const Outcome<MediaReply>& outcome)
    {
        arrival.bar->end(outcome.ok());
        if (!outcome)
            failed(arrival.content, outcome.failure());
        else if (!m_stop)
            keep(arrival);
    }

    void failed(const W::WContent& content, const CallFailure& failure)
    {
        if (m_stop)
            return; // given up together with the first
        const Failure meaning = fetchFailure(m_context, content.getUID(), wholeNumber(content.getSize()), failure);
        const bool interrupted = failure.kind == FailureKind::INTERRUPTED;
        if (!interrupted && isElsewhere(content, meaning)) {
            noteFailure(content, Failure(Exit::UNREACHABLE,
                                         failure.text() + ". The service names that address for content " + content.getUID() +
                                             "; it is another one than its own.",
                                         failure.status));
        } else if (interrupted || concernsAll(meaning) || muchLater(failure)) {
            if (!interrupted)
                countFailure(content, meaning);
            m_stop = meaning;
            m_window.cancel();
        } else {
            noteFailure(content, meaning);
        }
    }

    void keep(Arrival& arrival)
    {
        const W::WContent& content = arrival.content;
        try {
            const std::uint64_t size = std::filesystem::file_size(arrival.staging.file());
            if (const auto announced = wholeNumber(content.getSize()); announced && *announced != size)
                throw sizeFailure(content.getUID(), *announced, size);
            if (adopt(arrival, size)) {
                ++m_tally.present;
                return;
            }
            const std::string name = publish(arrival, size);
            ++m_tally.saved;
            m_tally.files.push_back({{"id", content.getUID()}, {"name", name}, {"ok", true}});
            if (!m_context.options.json && !m_context.options.quiet)
                m_bars.above([&] { m_context.output.line("Saved " + name); });
        } catch (const OutputClosed&) {
            throw;
        } catch (const Failure& failure) {
            if (!concernsAll(failure)) {
                noteFailure(content, failure);
                return;
            }
            m_stop = failure;
            m_window.cancel();
        }
    }

    /// Takes over a file that is the content already, although the note does not say so: the note may have been lost, or another
    /// member may have sent the same picture.
    bool adopt(const Arrival& arrival, std::uint64_t size)
    {
        const std::string& uid = arrival.content.getUID();
        const auto isIt = [&](const std::string& name) {
            return m_folder.sizeOf(name) == size && isBeginningOf(m_folder.path() + "/" + name, arrival.staging.file());
        };
        const SaveState::Entry* const noted = m_state.find(uid);
        std::string found = noted != nullptr && isIt(noted->name) ? noted->name : "";
        if (found.empty()) {
            const std::vector<std::string> names = m_state.namesOfSize(size);
            const auto same = std::find_if(names.begin(), names.end(),
                                           [&](const std::string& name) { return isFormOf(name, arrival.wanted) && isIt(name); });
            found = same == names.end() ? "" : *same;
        }
        for (unsigned int number = firstNumber(arrival.wanted, uid); found.empty() && number <= MOST_NUMBERS; ++number) {
            const std::string name = numberedName(arrival.wanted, number);
            if (!m_folder.has(name))
                break;
            const std::string owner = m_state.ownerOf(name);
            if ((owner.empty() || owner == uid) && isIt(name))
                found = name;
        }
        if (!found.empty())
            m_state.note(uid, {found, size});
        return !found.empty();
    }

    /// The first of a name's numbers that is not another content's.
    unsigned int firstNumber(const std::string& wanted, const std::string& uid)
    {
        return m_numbers.firstFree(wanted, [&](const std::string& name) {
            const std::string owner = m_state.ownerOf(name);
            return !owner.empty() && owner != uid && m_folder.has(name);
        });
    }

    /// The first of a name's numbered forms that nothing has in the folder, and that no other content is noted for.
    std::string freeName(const std::string& wanted, const std::string& uid)
    {
        for (unsigned int number = firstNumber(wanted, uid); number <= MOST_NUMBERS; ++number) {
            const std::string name = numberedName(wanted, number);
            const std::string owner = m_state.ownerOf(name);
            if (!m_folder.has(name) && (owner.empty() || owner == uid))
                return name;
        }
        throw fileFailure(m_folder.path(), "has no name left for " + wanted);
    }

    /// Gives what has arrived its name. \return it.
    std::string publish(Arrival& arrival, std::uint64_t size)
    {
        const W::WContent& content = arrival.content;
        if (const W::WDateTime& made = madeAt(content); made.isSet())
            arrival.staging.setTime(static_cast<std::time_t>(made.getSeconds()));
        if (replaceTruncated(content, arrival.staging, size))
            return m_state.find(content.getUID())->name;
        // A file that has appeared under the name meanwhile is not replaced; the next number is tried instead.
        while (true) {
            const std::string name = freeName(arrival.wanted, content.getUID());
            m_state.note(content.getUID(), {name, size});
            if (arrival.staging.publish(name, false))
                return name;
        }
    }

    /// Replaces a file of an earlier run that holds only the beginning of the content. A file that was changed in any other way is
    /// left alone. \return whether the file was replaced.
    bool replaceTruncated(const W::WContent& content, Staging& staging, std::uint64_t size)
    {
        const SaveState::Entry* const entry = m_state.find(content.getUID());
        if (entry == nullptr || !m_folder.sizeOf(entry->name) || *m_folder.sizeOf(entry->name) >= size)
            return false;
        if (!isBeginningOf(m_folder.path() + "/" + entry->name, staging.file()))
            return false;
        m_state.note(content.getUID(), {std::string(entry->name), size});
        return staging.publish(m_state.find(content.getUID())->name, true);
    }

    void countFailure(const W::WContent& content, const Failure& failure)
    {
        ++m_tally.failed;
        m_tally.first = m_tally.first.value_or(failure.exitCode());
        m_tally.files.push_back({{"id", content.getUID()},
                                 {"ok", false},
                                 {"error", {{"message", failure.what()}, {"status", statusOrNull(failure.status())}}}});
    }

    void noteFailure(const W::WContent& content, const Failure& failure)
    {
        countFailure(content, failure);
        m_bars.above([&] { Output::note(failure.what()); });
    }

    Context& m_context;
    TargetFolder m_folder;
    SaveState m_state;
    TakenNumbers m_numbers;
    Tally m_tally;
    std::optional<Failure> m_stop; ///< what all contents to come would meet
    Bars m_bars;
    Media m_media;
    Window<MediaReply, Arrival> m_window; ///< the first to end
};

void print(Context& context, const SaveOptions& options, const Mirror& mirror)
{
    const Tally& tally = mirror.tally();
    const Json document = {{"group", options.group}, {"path", mirror.path()},    {"files", tally.files},
                           {"saved", tally.saved},   {"present", tally.present}, {"failed", tally.failed}};
    context.confirm(document, std::to_string(tally.saved) + " saved, " + std::to_string(tally.present) + " already there, " +
                                  std::to_string(tally.failed) + " failed.");
}

Exit save(Context& context, const SaveOptions& given)
{
    SaveOptions options = given;
    const LocalDates dates(options.since, options.until);
    options.group = groupNumber(context, given.group);
    Mirror mirror(context, options);
    context.signIn();
    ReadFeed query;
    query.group = options.group;
    // The oldest identifier first: contents that are shared while this runs come last, so the walk reaches them too.
    query.after = FEED_END;
    query.base = W::KL_BASE_CONTENT_ID;
    query.count = SAVE_PAGE;
    try {
        forEachContent(context, query, [&](const W::WContent& content) {
            const W::WDateTime& made = madeAt(content);
            const bool wanted = dates.open() || (made.isSet() && dates.hold(static_cast<std::time_t>(made.getSeconds())));
            return !wanted || mirror.take(content);
        });
        mirror.finish();
    } catch (const Failure&) {
        if (!mirror.tally().empty())
            print(context, options, mirror);
        throw;
    }
    print(context, options, mirror);
    return mirror.tally().first.value_or(Exit::OK);
}

} // namespace

void addSaveCommands(commandline::Command program, Action& action)
{
    const commandline::Command command =
        program.command("save", "Mirrors a group's originals in a folder; skips what is there already");
    const auto options = onCommand(command, action, save);
    command.option("GROUP", options->group, "The group's name or number").required();
    command.option("DIR", options->folder, "The folder; it is made when it is missing").required();
    command.option("--since", options->since, "Only what was taken on this day or later, such as 2024-07-14").typeName("DATE");
    command.option("--until", options->until, "Only what was taken on this day or earlier").typeName("DATE");
    addJobsOption(command, options->jobs);
}

} // namespace kinloom
