// SPDX-License-Identifier: MIT
// Single contents.
#include "commands/Command.h"
#include "commands/Deletion.h"
#include "core/Text.h"
#include "output/Openable.h"
#include "output/Records.h"

namespace kinloom {

namespace {

struct ContentOptions {
    std::string uid;
};
struct MimeOptions {
    std::string uid;
    bool thumbnail = false;
};

Exit showContent(Context& context, const ContentOptions& options)
{
    W::WContent content = context.call(ViewContent{options.uid});
    makeOpenable(content, context.lane().address());
    context.result(toJson(content), [&] {
        contentSheet(content).print(context.output);
        const std::string comments =
            commentTexts(content.getComments(), context.output.tables() ? context.output.size().columns : 0);
        if (!comments.empty())
            context.output.write("\n" + comments);
    });
    return Exit::OK;
}

Doomed doomedContent(Context& context, const std::string& uid)
{
    W::WContent content = context.callTo("cannot delete the content", ViewContent{uid});
    makeOpenable(content, context.lane().address());
    std::string sentence = "content " + uid;
    if (!content.getDescription().empty())
        sentence += " " + quoted(content.getDescription());
    if (const std::string date = dateText(madeAt(content)); !date.empty())
        sentence += " of " + date;
    if (!content.getUser().getName().empty())
        sentence += " by " + content.getUser().getName();
    return {"content", uid, sentence + " with " + counted(content.getCommentCount(), "comment"), toJson(content)};
}

Exit deleteContent(Context& context, const DeletionOptions& options)
{
    return deleteAsked(
        context, options, [&] { return doomedContent(context, options.what); },
        [&](const Doomed& content) { context.call(DeleteContent{content.uid}); });
}

/// The address of a content's first thumbnail; empty when it has none.
std::string firstThumbnailOf(const W::WContent& content)
{
    return content.getThumbnails().empty() ? std::string() : content.getThumbnails().front().getResourceURL();
}

Exit mime(Context& context, const MimeOptions& options)
{
    const W::WContent content = context.call(ViewContent{options.uid});
    const std::string url = options.thumbnail ? firstThumbnailOf(content) : content.getResourceURL();
    if (url.empty())
        throw Failure(Exit::FAILED, "content " + options.uid + " has no usable address");
    const std::string type = context.call(AskMimeType{url});
    if (type.empty())
        throw Failure(Exit::FAILED, "the service names no type for content " + options.uid);
    context.say({{"id", options.uid}, {"mime_type", type}}, neutralised(type));
    return Exit::OK;
}

} // namespace

void addContentCommands(commandline::Command program, Action& action)
{
    const commandline::Command content = program.command("content", "Shows and deletes contents");
    content.needsCommand();

    const commandline::Command showCommand = content.command("show", "Shows a content with its comments");
    showCommand.option("UID", onCommand(showCommand, action, showContent)->uid, "The content's identifier").required();

    const commandline::Command deleteCommand = content.command("delete", "Deletes a content");
    addDeletionOptions(deleteCommand, *onCommand(deleteCommand, action, deleteContent), "UID", "The content's identifier");

    const commandline::Command mimeCommand = content.command("mime", "Asks the service for the MIME type of a content's file");
    const auto mimeOptions = onCommand(mimeCommand, action, mime);
    mimeCommand.option("UID", mimeOptions->uid, "The content's identifier").required();
    mimeCommand.flag("--thumbnail", mimeOptions->thumbnail, "Asks for its thumbnail instead");
}

} // namespace kinloom
