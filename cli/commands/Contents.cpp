// SPDX-License-Identifier: MIT
// Single contents.
#include "commands/Command.h"
#include "core/Text.h"
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

Exit show(Context& context, const ContentOptions& options)
{
    const W::WContent content = context.call(ViewContent{options.uid});
    context.result(toJson(content), [&] {
        contentSheet(content).print(context.output);
        const Table comments = commentTable(content.getComments());
        if (!comments.empty()) {
            context.output.line("");
            comments.print(context.output);
        }
    });
    return Exit::OK;
}

Exit remove(Context& context, const ContentOptions& options)
{
    context.call(DeleteContent{options.uid});
    context.say({{"deleted", options.uid}}, "Deleted content " + neutralised(options.uid) + ".");
    return Exit::OK;
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

void addContentCommands(CLI::App& app, Action& action)
{
    CLI::App* const content = app.add_subcommand("content", "Shows and deletes contents");
    content->require_subcommand(1);

    CLI::App* const showCommand = content->add_subcommand("show", "Shows a content with its comments");
    showCommand->add_option("UID", onCommand(*showCommand, action, show)->uid, "The content's identifier")->required();

    CLI::App* const deleteCommand = content->add_subcommand("delete", "Deletes a content");
    deleteCommand->add_option("UID", onCommand(*deleteCommand, action, remove)->uid, "The content's identifier")->required();

    CLI::App* const mimeCommand = content->add_subcommand("mime", "Asks the service for the MIME type of a content's file");
    const auto mimeOptions = onCommand(*mimeCommand, action, mime);
    mimeCommand->add_option("UID", mimeOptions->uid, "The content's identifier")->required();
    mimeCommand->add_flag("--thumbnail", mimeOptions->thumbnail, "Asks for its thumbnail instead");
}

} // namespace kinloom
