// SPDX-License-Identifier: MIT
// Uploads.
#include "commands/Command.h"
#include "core/Text.h"
#include "files/LocalFile.h"
#include "files/Mime.h"
#include "output/Progress.h"

#include <optional>

namespace kinloom {

namespace {

struct UploadOptions {
    std::string group;
    std::vector<std::string> files;
    std::string description;
    std::string mimeType;
};

/// A file on its way, and what became of it.
struct Item {
    std::string path;
    std::optional<SourceFile> source;
    std::string mimeType;
    std::optional<Failure> failure;
    std::string uid;
};

/// The type to upload a file as. \throw Failure when it is none that the service takes.
std::string uploadTypeOf(const SourceFile& source, const std::string& chosen)
{
    const std::string type = chosen.empty() ? mimeTypeOf(source.firstBytes, source.name) : chosen;
    if (type.empty())
        throw Failure(Exit::FAILED, source.path + ": is of an unknown kind. --type names it, if it is a photo.");
    if (contentTypeOf(type) != W::KL_CONTENT_PHOTO)
        throw Failure(Exit::FAILED, source.path + ": is no photo but " + type + ", and the service takes photos only");
    return type;
}

/// Checks a file as far as that is possible without the service, and records what is wrong with it.
Item prepared(const std::string& path, const std::string& chosenType)
{
    Item item;
    item.path = path;
    try {
        SourceFile source = inspectSource(path);
        item.mimeType = uploadTypeOf(source, chosenType);
        item.source = std::move(source);
    } catch (const Failure& failure) {
        item.failure = failure;
    }
    return item;
}

void send(Context& context, Item& item, const UploadOptions& options)
{
    try {
        Progress progress(item.source->name);
        const UploadPhoto order{options.group, item.source->path, item.mimeType, options.description};
        const W::WContent content = context.call(order, [&](double done, double total) { progress.update(done, total); });
        item.uid = content.getUID();
    } catch (const Interrupted&) {
        throw;
    } catch (const Failure& failure) {
        item.failure = failure;
    }
}

void report(Context& context, const Item& item)
{
    if (item.failure)
        Output::note(item.failure->what());
    else if (!context.options.json)
        context.output.line("Uploaded " + neutralised(item.path) + " as content " + neutralised(item.uid) + ".");
}

Json toJson(const Item& item)
{
    Json document = {{"file", item.path}, {"ok", !item.failure}};
    if (item.failure)
        document["error"] = {{"message", item.failure->what()}, {"status", item.failure->status()}};
    else
        document.update({{"id", item.uid}, {"type", item.mimeType}, {"size", item.source->size}});
    return document;
}

/// What became of all files so far.
class Outcome {
public:
    void add(const Item& item)
    {
        m_files.push_back(toJson(item));
        if (item.failure) {
            ++m_failed;
            m_first = m_first.value_or(item.failure->exitCode());
        }
    }
    bool empty() const { return m_files.empty(); }
    /// The exit code of the first failure.
    Exit exitCode() const { return m_first.value_or(Exit::OK); }

    void print(Context& context, const UploadOptions& options) const
    {
        const std::size_t uploaded = m_files.size() - m_failed;
        if (context.options.json)
            context.output.json({{"group", options.group}, {"files", m_files}, {"uploaded", uploaded}, {"failed", m_failed}});
        else if (options.files.size() > 1)
            context.output.line(std::to_string(uploaded) + " of " + std::to_string(options.files.size()) + " files uploaded.");
    }

private:
    Json m_files = Json::array();
    std::size_t m_failed = 0;
    std::optional<Exit> m_first;
};

Exit upload(Context& context, const UploadOptions& options)
{
    if (!options.mimeType.empty() && !isMimeType(options.mimeType))
        throw Failure(Exit::USAGE, "'" + options.mimeType + "' is no MIME type: it should look like image/jpeg");
    std::vector<Item> items;
    for (const std::string& path : options.files)
        items.push_back(prepared(path, options.mimeType));

    Outcome outcome;
    try {
        for (Item& item : items) {
            if (item.source) {
                context.signIn(); // throws when it fails: no other file could be sent either
                send(context, item, options);
            }
            report(context, item);
            outcome.add(item);
        }
    } catch (const Failure&) {
        if (!outcome.empty())
            outcome.print(context, options);
        throw;
    }
    outcome.print(context, options);
    return outcome.exitCode();
}

} // namespace

void addUploadCommands(CLI::App& app, Action& action)
{
    CLI::App* const command = app.add_subcommand("upload", "Shares photos with a group");
    const auto options = onCommand(*command, action, upload);
    command->add_option("GROUP", options->group, "The group's identifier")->required();
    command->add_option("FILE", options->files, "Photos")->required();
    command->add_option("--desc", options->description, "What to say of them")->type_name("TEXT");
    command->add_option("--type", options->mimeType, "Their MIME type, in place of what they look like")->type_name("MIME");
}

} // namespace kinloom
