// SPDX-License-Identifier: MIT
// Mirrors of groups.
#include "commands/Command.h"
#include "commands/Download.h"
#include "commands/Feed.h"
#include "core/Text.h"
#include "files/FileName.h"
#include "files/SaveState.h"

#include <filesystem>

namespace kinloom {

namespace {

constexpr unsigned int PAGE = 100;
constexpr unsigned int MOST_NUMBERS = 100'000; // names tried for one file

struct SaveOptions {
    std::string group;
    std::string folder;
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

/// One run over a group.
class Mirror {
public:
    Mirror(Context& context, const SaveOptions& options)
        : m_context(context), m_folder(TargetFolder::made(options.folder)), m_state(m_folder, options.group)
    {
        Staging::sweep(m_folder);
    }

    /// Sees to one content. What concerns all contents is thrown; what concerns this one is noted.
    void take(const W::WContent& content)
    {
        if (isPresent(content)) {
            ++m_tally.present;
            return;
        }
        try {
            const std::string name = save(content);
            ++m_tally.saved;
            m_tally.files.push_back({{"id", content.getUID()}, {"name", name}, {"ok", true}});
            if (!m_context.options.json)
                m_context.output.line("Saved " + name);
        } catch (const Interrupted&) {
            throw;
        } catch (const Failure& failure) {
            if (concernsAll(failure))
                throw;
            noteFailure(content, failure);
        }
    }

    const Tally& tally() const { return m_tally; }
    const std::string& path() const { return m_folder.path(); }

private:
    static bool concernsAll(const Failure& failure)
    {
        return failure.exitCode() == Exit::LOCAL_FILE || failure.exitCode() == Exit::NOT_SIGNED_IN ||
               failure.status() == W::WSTATUS_UNREACHABLE;
    }

    bool isPresent(const W::WContent& content) const
    {
        const SaveState::Entry* const entry = m_state.find(content.getUID());
        return entry != nullptr && m_folder.sizeOf(entry->name) == entry->size;
    }

    /// The first of a name's numbered forms that nothing has in the folder, and that no other content is noted for.
    std::string freeName(const std::string& wanted, const std::string& uid) const
    {
        for (unsigned int number = 1; number <= MOST_NUMBERS; ++number) {
            const std::string name = numberedName(wanted, number);
            const std::string owner = m_state.ownerOf(name);
            if (!m_folder.has(name) && (owner.empty() || owner == uid))
                return name;
        }
        throw fileFailure(m_folder.path(), "has no name left for " + wanted);
    }

    std::string save(const W::WContent& content)
    {
        if (content.getResourceURL().empty())
            throw Failure(Exit::FAILED, "content " + content.getUID() + " has no usable address");
        const std::string wanted =
            nameFromUrl(content.getResourceURL(), "content-" + content.getUID() + extensionOf(content.getFormat()));
        Staging staging(m_folder);
        fetch(m_context, content.getResourceURL(), staging, wanted);
        const std::uint64_t size = requireWhole(content, staging);
        if (replaceTruncated(content, staging, size))
            return m_state.find(content.getUID())->name;
        // Whatever appears under the name meanwhile stays, and the next number is tried.
        while (true) {
            const std::string name = freeName(wanted, content.getUID());
            m_state.note(content.getUID(), {name, size});
            if (staging.publish(name, false))
                return name;
        }
    }

    static std::uint64_t requireWhole(const W::WContent& content, const Staging& staging)
    {
        const std::uint64_t size = std::filesystem::file_size(staging.file());
        const auto announced = wholeNumber(content.getSize());
        if (announced && *announced != size) {
            throw Failure(Exit::FAILED, "content " + content.getUID() + " has arrived with " + std::to_string(size) +
                                            " bytes instead of " + std::to_string(*announced));
        }
        return size;
    }

    /// A file of an earlier run that has lost its end is made whole where it is. One that was changed otherwise is not this
    /// program's to replace.
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

    void noteFailure(const W::WContent& content, const Failure& failure)
    {
        ++m_tally.failed;
        m_tally.first = m_tally.first.value_or(failure.exitCode());
        m_tally.files.push_back(
            {{"id", content.getUID()}, {"ok", false}, {"error", {{"message", failure.what()}, {"status", failure.status()}}}});
        Output::note(failure.what());
    }

    Context& m_context;
    TargetFolder m_folder;
    SaveState m_state;
    Tally m_tally;
};

void print(Context& context, const SaveOptions& options, const Mirror& mirror)
{
    const Tally& tally = mirror.tally();
    const Json document = {{"group", options.group}, {"path", mirror.path()},    {"files", tally.files},
                           {"saved", tally.saved},   {"present", tally.present}, {"failed", tally.failed}};
    context.say(document, std::to_string(tally.saved) + " saved, " + std::to_string(tally.present) + " already there, " +
                              std::to_string(tally.failed) + " failed.");
}

Exit save(Context& context, const SaveOptions& options)
{
    Mirror mirror(context, options);
    context.signIn();
    ReadFeed query;
    query.group = options.group;
    // In the order of identifiers, what is shared meanwhile comes last.
    query.after = FEED_END;
    query.base = W::KL_BASE_CONTENT_ID;
    query.count = PAGE;
    try {
        forEachContent(context, query, [&](const W::WContent& content) {
            mirror.take(content);
            return true;
        });
    } catch (const Failure&) {
        if (!mirror.tally().empty())
            print(context, options, mirror);
        throw;
    }
    print(context, options, mirror);
    return mirror.tally().first.value_or(Exit::OK);
}

} // namespace

void addSaveCommands(CLI::App& app, Action& action)
{
    CLI::App* const command = app.add_subcommand("save", "Mirrors a group's originals in a folder; skips what is there already");
    const auto options = onCommand(*command, action, save);
    command->add_option("GROUP", options->group, "The group's identifier")->required();
    command->add_option("DIR", options->folder, "The folder; it is made when it is missing")->required();
}

} // namespace kinloom
