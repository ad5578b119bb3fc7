// SPDX-License-Identifier: MIT
// Comments.
#include "commands/Command.h"
#include "core/Text.h"
#include "output/Records.h"

namespace kinloom {

namespace {

struct AddOptions {
    std::string content;
    std::string text;
};
struct CommentOptions {
    std::string uid;
};

/// The newest comment with that text; null when there is none. The plugin does not say which identifier a new comment got.
const W::WComment* newest(const std::list<W::WComment>& comments, const std::string& text)
{
    const W::WComment* found = nullptr;
    for (const W::WComment& comment : comments) {
        const bool later = found == nullptr || comment.getRegisterDate() >= found->getRegisterDate();
        if (comment.getComment() == text && later)
            found = &comment;
    }
    return found;
}

Exit add(Context& context, const AddOptions& options)
{
    if (options.text.empty())
        throw Failure(Exit::USAGE, "a comment needs a text");
    context.call(CreateComment{options.content, options.text});
    const W::WContent content = context.call(ViewContent{options.content});
    const W::WComment* const comment = newest(content.getComments(), options.text);
    const std::string uid = comment == nullptr ? "" : comment->getUID();
    Json document = {{"content", options.content}, {"text", options.text}, {"id", uid.empty() ? Json(nullptr) : Json(uid)}};
    context.say(document, uid.empty() ? "Commented on " + neutralised(options.content) + "."
                                      : "Commented on " + neutralised(options.content) + ": comment " + neutralised(uid) + ".");
    return Exit::OK;
}

Exit show(Context& context, const CommentOptions& options)
{
    const W::WComment comment = context.call(ViewComment{options.uid});
    context.result(toJson(comment), [&] { commentSheet(comment).print(context.output); });
    return Exit::OK;
}

Exit remove(Context& context, const CommentOptions& options)
{
    context.call(DeleteComment{options.uid});
    context.say({{"deleted", options.uid}}, "Deleted comment " + neutralised(options.uid) + ".");
    return Exit::OK;
}

} // namespace

void addCommentCommands(CLI::App& app, Action& action)
{
    CLI::App* const comment = app.add_subcommand("comment", "Writes, shows and deletes comments");
    comment->require_subcommand(1);

    CLI::App* const addCommand = comment->add_subcommand("add", "Comments on a content");
    const auto addOptions = onCommand(*addCommand, action, add);
    addCommand->add_option("CONTENT", addOptions->content, "The content's identifier")->required();
    addCommand->add_option("TEXT", addOptions->text, "What to say")->required();

    CLI::App* const showCommand = comment->add_subcommand("show", "Shows a comment");
    showCommand->add_option("UID", onCommand(*showCommand, action, show)->uid, "The comment's identifier")->required();

    CLI::App* const deleteCommand = comment->add_subcommand("delete", "Deletes a comment");
    deleteCommand->add_option("UID", onCommand(*deleteCommand, action, remove)->uid, "The comment's identifier")->required();
}

} // namespace kinloom
