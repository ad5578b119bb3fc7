// SPDX-License-Identifier: MIT
// Uploads: files, and all that is in folders.
#include "commands/Command.h"
#include "commands/GroupContents.h"
#include "commands/Jobs.h"
#include "commands/Lookup.h"
#include "core/Text.h"
#include "core/Waiting.h"
#include "core/Window.h"
#include "files/FileHash.h"
#include "files/FolderWalk.h"
#include "files/LocalFile.h"
#include "files/Mime.h"
#include "kinloom/Lanes.h"
#include "output/Bars.h"

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <sys/stat.h>

namespace kinloom {

namespace {

struct UploadOptions {
    std::string group;
    std::vector<std::string> files;
    std::string description;
    std::string mimeType;
    std::vector<std::string> excludes;
    unsigned int jobs = DEFAULT_JOBS;
    bool dryRun = false;
};

/// A file on its way, and what became of it.
struct Item {
    enum class Fate {
        OPEN,
        UPLOADED, ///< or would be
        PRESENT,  ///< in the group already
        TWIN,     ///< the same bytes as a file before it, whose fate it shares
        FAILED,
        NONE, ///< no picture, or not begun when the rest was given up
    };

    std::string path;
    bool fromFolder = false;
    std::uint64_t size = 0;
    std::optional<SourceFile> source;
    std::string mimeType;
    std::string hash;            ///< of files from folders
    const Item* first = nullptr; ///< of a twin
    std::unique_ptr<Bars::Bar> bar;
    Fate fate = Fate::OPEN;
    std::optional<Failure> failure;
    std::string uid;

    void fail(const Failure& why)
    {
        failure = why;
        fate = Fate::FAILED;
    }
};

bool isFolder(const std::string& path)
{
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

/// The type to upload a file as. \throw Failure when it is none that the service takes.
std::string uploadTypeOf(const SourceFile& source, const std::string& chosen)
{
    const std::string type = chosen.empty() ? mimeTypeOf(source.firstBytes, source.name) : chosen;
    if (type.empty())
        throw Failure(Exit::FAILED, source.path + ": is of an unknown kind. --type names it, if it is a photo.");
    if (const std::string refusal = refusalOf(source.firstBytes, type); !refusal.empty())
        throw Failure(Exit::FAILED, source.path + ": " + refusal);
    return type;
}

/// One run of the command.
class Uploads {
public:
    Uploads(Context& context, const UploadOptions& options) : m_context(context), m_options(options) { collect(); }

    Exit run()
    {
        const bool folders = std::any_of(m_items.begin(), m_items.end(), [](const auto& item) { return item->fromFolder; });
        try {
            if (folders)
                lookAtGroup();
            send();
        } catch (const Failure&) {
            if (m_reported > 0)
                print();
            throw;
        }
        if (m_stop && m_reported > 0)
            print();
        if (m_stop && m_interrupted)
            throw Interrupted(m_context.interrupt.exitCode(), m_unsettled);
        if (m_stop)
            throw Failure(*m_stop);
        print();
        return m_first.value_or(Exit::OK);
    }

private:
    using ItemPointer = std::unique_ptr<Item>;

    void collect();
    void lookAtGroup();
    void send();
    void settleAll(Bars& bars);
    static void settleTwin(Item& item);
    bool prepare(Item& item);
    void ended(Item& item, const Outcome<W::WContent>& outcome);
    void interrupt()
    {
        m_interrupted = true;
        m_stop = Interrupted(m_context.interrupt.exitCode());
    }
    void report(const Item& item) const;
    void count(const Item& item);
    void print() const;

    Item& add(const std::string& path)
    {
        Item& item = *m_items.emplace_back(std::make_unique<Item>());
        item.path = path;
        return item;
    }

    Context& m_context;
    const UploadOptions& m_options;
    FolderWalk m_walk;
    std::vector<ItemPointer> m_items;
    std::unique_ptr<GroupContents> m_contents;
    std::map<std::string, const Item*> m_seen; ///< hashes of what this run uploads from folders
    std::size_t m_reported = 0;                ///< items from the first on whose end was told
    std::optional<Failure> m_stop;             ///< what all items to come would meet
    bool m_interrupted = false;
    bool m_unsettled = false; ///< something that was interrupted may be in the group all the same

    Json m_files = Json::array();
    std::size_t m_uploaded = 0;
    std::size_t m_present = 0;
    std::size_t m_failed = 0;
    std::size_t m_noPicture = 0;
    std::optional<Exit> m_first; ///< exit code of the first failure
    bool m_hasFolder = false;
};

/// Looks at all that was named. Files are checked as far as that is possible without the service; those in folders when their turn
/// comes.
void Uploads::collect()
{
    for (const std::string& path : m_options.files) {
        if (!isFolder(path)) {
            Item& item = add(path);
            try {
                SourceFile source = inspectSource(path);
                item.mimeType = uploadTypeOf(source, m_options.mimeType);
                item.size = source.size;
                item.source = std::move(source);
            } catch (const Failure& failure) {
                item.fail(failure);
            }
            continue;
        }
        m_hasFolder = true;
        const std::size_t files = m_walk.files.size();
        const std::size_t failures = m_walk.failures.size();
        m_walk.add(path, m_options.excludes);
        for (std::size_t i = failures; i < m_walk.failures.size(); ++i)
            add(path).fail(m_walk.failures[i]);
        for (std::size_t i = files; i < m_walk.files.size(); ++i) {
            Item& item = add(m_walk.files[i].path);
            item.fromFolder = true;
            item.size = m_walk.files[i].size;
        }
    }
}

/// Finds out what of the folders may be in the group.
void Uploads::lookAtGroup()
{
    std::set<std::uint64_t> sizes;
    for (const ItemPointer& item : m_items)
        if (item->fromFolder && item->size > 0)
            sizes.insert(item->size);
    if (sizes.empty())
        return;
    m_contents = std::make_unique<GroupContents>(m_context, m_options.group);
    m_contents->look(sizes, m_options.jobs);
}

/// Looks at an item whose turn has come. \return whether it is to be sent.
bool Uploads::prepare(Item& item)
{
    if (!item.fromFolder || item.fate != Item::Fate::OPEN)
        return item.fate == Item::Fate::OPEN;
    try {
        if (item.size == 0) {
            item.fate = Item::Fate::NONE;
            ++m_noPicture;
            return false;
        }
        SourceFile source = inspectSource(item.path);
        // What is in a folder was not chosen by hand, so its name alone makes no picture of it.
        const std::string looks = mimeTypeOf(source.firstBytes, "");
        if (!refusalOf(source.firstBytes, looks).empty()) {
            item.fate = Item::Fate::NONE;
            ++m_noPicture;
            return false;
        }
        item.mimeType = m_options.mimeType.empty() ? looks : m_options.mimeType;
        item.hash = hashOfFile(source.path);
        item.uid = m_contents->find(item.hash, source.size);
        item.source = std::move(source);
        const auto [seen, isFirst] = m_seen.emplace(item.hash, &item);
        if (!item.uid.empty())
            item.fate = Item::Fate::PRESENT;
        else if (!isFirst) {
            item.first = seen->second;
            item.fate = Item::Fate::TWIN;
        }
    } catch (const Failure& failure) {
        item.fail(failure);
    }
    return item.fate == Item::Fate::OPEN;
}

void Uploads::send()
{
    const auto isOpen = [](const ItemPointer& item) { return item->fate == Item::Fate::OPEN; };
    const auto open = static_cast<std::size_t>(std::count_if(m_items.begin(), m_items.end(), isOpen));
    double bytes = 0;
    for (const ItemPointer& item : m_items)
        bytes += isOpen(item) ? static_cast<double>(item->size) : 0;
    Bars bars(open, bytes);
    // No item's bar outlives these, also when something is thrown.
    const std::shared_ptr<void> noBars(nullptr, [this](void*) {
        for (const ItemPointer& item : m_items)
            item->bar.reset();
    });
    const auto jobs = std::min<std::size_t>(m_options.jobs, open);
    std::optional<Lanes> lanes;
    Window<W::WContent, Item*> window(jobs, [&](Item*& item, const Outcome<W::WContent>& outcome) {
        ended(*item, outcome);
        if (m_stop)
            window.cancel();
        settleAll(bars);
    });
    for (const ItemPointer& pointer : m_items) {
        Item& item = *pointer;
        if (m_context.interrupt.requested())
            interrupt();
        if (m_stop)
            break;
        if (!prepare(item)) {
            settleAll(bars);
            continue;
        }
        if (m_options.dryRun) {
            item.fate = Item::Fate::UPLOADED;
            settleAll(bars);
            continue;
        }
        item.bar = std::make_unique<Bars::Bar>(bars, item.source->name, static_cast<double>(item.size));
        const UploadPhoto order{m_options.group, item.source->path, item.mimeType, m_options.description};
        const CallOptions options =
            m_context.callOptions([bar = item.bar.get()](double done, double total) { bar->update(done, total); },
                                  [&bars](const std::string& text) { bars.above([&] { Output::hint(text); }); });
        if (jobs > 1) {
            if (!lanes)
                lanes.emplace(m_context.settings(), jobs);
            window.add(std::make_unique<Item*>(&item), [&](Item*&) { return lanes->submit(order, options); });
        } else {
            m_context.signIn(); // throws when it fails: no other file could be sent either
            ended(item, m_context.lane().call(order, options));
            settleAll(bars);
        }
    }
    window.finish();
    settleAll(bars);
}

/// What became of a file that was sent.
void Uploads::ended(Item& item, const Outcome<W::WContent>& outcome)
{
    item.bar->end(true);
    if (outcome) {
        item.fate = Item::Fate::UPLOADED;
        item.uid = outcome.value().getUID();
        if (!isUnchanged(*item.source))
            item.fail(fileFailure(item.path,
                                  "has changed while it was sent: content " + item.uid + " may be neither the old nor the new"));
        else if (m_contents && !item.hash.empty())
            m_contents->add(item.uid, item.hash, item.size);
        return;
    }
    const CallFailure& failure = outcome.failure();
    item.fate = Item::Fate::NONE;
    if (failure.kind == FailureKind::INTERRUPTED) {
        m_unsettled = m_unsettled || failure.unsettled;
        interrupt();
        return;
    }
    if (m_stop)
        return; // given up together with the first
    // One that has become shorter is waited for in vain, and one that was written over is no picture any more.
    const bool mayBeTheFiles = failure.status == W::WSTATUS_FILE_ERROR || failure.status == W::WSTATUS_TIMED_OUT ||
                               failure.status == W::WSTATUS_CONNECTION_LOST || failure.reason == FailureReason::BAD_FILE;
    const bool changed = mayBeTheFiles && !isUnchanged(*item.source);
    const Failure meaning = changed ? fileFailure(item.path, "has changed while it was sent") : m_context.failureOf(failure);
    if (meaning.exitCode() == Exit::NOT_SIGNED_IN || failure.status == W::WSTATUS_UNREACHABLE ||
        failure.kind == FailureKind::LANE_NOT_STARTED || muchLater(failure))
        m_stop = meaning;
    else
        item.fail(meaning);
}

/// Lets a file have the fate of the one before it that is the same.
void Uploads::settleTwin(Item& item)
{
    const Item& first = *item.first;
    item.uid = first.uid;
    item.fate = first.fate == Item::Fate::UPLOADED ? Item::Fate::PRESENT : first.fate;
    if (first.failure)
        item.fail(Failure(first.failure->exitCode(), item.path + ": is the same as " + first.path + ", which was not uploaded",
                          first.failure->status(), first.failure->httpCode()));
}

/// Tells of all items whose turn has come, in their order.
void Uploads::settleAll(Bars& bars)
{
    for (; m_reported < m_items.size() && m_items[m_reported]->fate != Item::Fate::OPEN; ++m_reported) {
        Item& item = *m_items[m_reported];
        if (item.fate == Item::Fate::TWIN)
            settleTwin(item);
        if (item.fromFolder && !item.bar) // it was one of those to come
            Bars::Bar(bars, item.path, static_cast<double>(item.size)).end(true);
        item.bar.reset();
        count(item);
        bars.above([&] { report(item); });
    }
}

void Uploads::count(const Item& item)
{
    Json document = {{"file", item.path}, {"ok", !item.failure}};
    switch (item.fate) {
    case Item::Fate::UPLOADED:
        ++m_uploaded;
        document.update({{"id", item.uid.empty() ? Json(nullptr) : Json(item.uid)}, {"type", item.mimeType}, {"size", item.size}});
        break;
    case Item::Fate::PRESENT:
        ++m_present;
        document.update({{"present", true}, {"id", item.uid.empty() ? Json(nullptr) : Json(item.uid)}, {"size", item.size}});
        break;
    case Item::Fate::FAILED:
        ++m_failed;
        m_first = m_first.value_or(item.failure->exitCode());
        document["error"] = {{"message", item.failure->what()}, {"status", statusOrNull(item.failure->status())}};
        break;
    default:
        return;
    }
    m_files.push_back(std::move(document));
}

void Uploads::report(const Item& item) const
{
    if (item.fate == Item::Fate::FAILED)
        Output::note(item.failure->what());
    else if (m_context.options.json || m_context.options.quiet || item.fate != Item::Fate::UPLOADED)
        return;
    else if (m_options.dryRun)
        m_context.output.line("Would upload " + neutralised(item.path) + ".");
    else
        m_context.output.line("Uploaded " + neutralised(item.path) + " as content " + neutralised(item.uid) + ".");
}

void Uploads::print() const
{
    const LeftOut& left = m_walk.leftOut;
    if (m_context.options.json) {
        Json document = {{"group", m_options.group}, {"files", m_files}, {"uploaded", m_uploaded}, {"failed", m_failed}};
        document.update({{"present", m_present},
                         {"left_out",
                          {{"no_picture", m_noPicture},
                           {"hidden", left.hidden},
                           {"links", left.links},
                           {"special", left.special},
                           {"excluded", left.excluded}}},
                         {"dry_run", m_options.dryRun}});
        m_context.output.json(document);
        return;
    }
    if (m_context.options.quiet && !m_options.dryRun)
        return;
    if (!m_hasFolder) {
        if (m_options.files.size() > 1)
            m_context.output.line(std::to_string(m_uploaded) + " of " + std::to_string(m_options.files.size()) +
                                  (m_options.dryRun ? " files would be uploaded." : " files uploaded."));
        return;
    }
    std::string line = std::to_string(m_uploaded) + (m_options.dryRun ? " would be uploaded, " : " uploaded, ") +
                       std::to_string(m_present) + " already there, " + std::to_string(m_failed) + " failed.";
    const std::pair<std::size_t, const char*> reasons[] = {{m_noPicture, "no picture"},
                                                           {left.hidden, "hidden"},
                                                           {left.links, "links"},
                                                           {left.special, "no regular files"},
                                                           {left.excluded, "excluded"}};
    std::string leftOut;
    for (const auto& [number, reason] : reasons)
        if (number > 0)
            leftOut.append(leftOut.empty() ? " Left out: " : ", ").append(std::to_string(number)).append(" ").append(reason);
    m_context.output.line(line + leftOut + (leftOut.empty() ? "" : "."));
}

Exit upload(Context& context, const UploadOptions& given)
{
    UploadOptions options = given;
    requireText(options.description, "the description");
    if (!options.mimeType.empty() && !isMimeType(options.mimeType))
        throw Failure(Exit::USAGE, "'" + options.mimeType + "' is no MIME type: it should look like image/jpeg");
    options.group = groupNumber(context, given.group);
    return Uploads(context, options).run();
}

} // namespace

void addUploadCommands(commandline::Command program, Action& action)
{
    const commandline::Command command = program.command("upload", "Shares photos with a group");
    const auto options = onCommand(command, action, upload);
    command.option("GROUP", options->group, "The group's name or number").required();
    command.option("FILE", options->files, "Photos, and folders with photos in them").required();
    command.option("--desc", options->description, "What to say of them").typeName("TEXT");
    command.option("--type", options->mimeType, "Their MIME type, in place of what they look like").typeName("MIME");
    command.option("--exclude", options->excludes, "Leaves out what is called so in a folder; may be repeated")
        .typeName("PATTERN")
        .oneAtATime();
    addJobsOption(command, options->jobs);
    command.flag("--dry-run", options->dryRun, "Tells what would be uploaded, and uploads nothing");
}

} // namespace kinloom
