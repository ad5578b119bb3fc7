// SPDX-License-Identifier: MIT
// Comments.
#include "commands/Command.h"
#include "commands/Deletion.h"
#include "core/Naming.h"
#include "output/Openable.h"
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

/// The identifier of a comment that was made just now; empty when it is not to be had. That is no failure: whoever is told of one
/// comments again.
std::string numberOf(Context& context, const AddOptions& options)
{
    try {
        const W::WContent content = context.call(ViewContent{options.content});
        const W::WComment* const comment = newest(content.getComments(), options.text);
        return comment == nullptr ? "" : comment->getUID();
    } catch (const Failure&) {
        return {};
    }
}

Exit addComment(Context& context, const AddOptions& options)
{
    if (options.text.empty())
        throw Failure(Exit::USAGE, "a comment needs a text");
    requireText(options.text, "the comment");
    context.call(CreateComment{options.content, options.text});
    const std::string uid = numberOf(context, options);
    Json document = {{"content", options.content}, {"text", options.text}, {"id", uid.empty() ? Json(nullptr) : Json(uid)}};
    context.confirm(document, "Commented on " + options.content + (uid.empty() ? "." : ": comment " + uid + "."));
    return Exit::OK;
}

Exit showComment(Context& context, const CommentOptions& options)
{
    W::WComment comment = context.call(ViewComment{options.uid});
    makeOpenable(comment, context.lane().address());
    context.result(toJson(comment), [&] { commentSheet(comment).print(context.output); });
    return Exit::OK;
}

Doomed doomedComment(Context& context, const std::string& uid)
{
    W::WComment comment = context.callTo("cannot delete the comment", ViewComment{uid});
    makeOpenable(comment, context.lane().address());
    std::string sentence = "comment " + uid + " " + quoted(comment.getComment());
    if (!comment.getUser().getName().empty())
        sentence += " by " + comment.getUser().getName();
    if (const std::string date = dateText(comment.getRegisterDate()); !date.empty())
        sentence += " of " + date;
    return {"comment", uid, sentence, toJson(comment)};
}

Exit deleteComment(Context& context, const DeletionOptions& options)
{
    return deleteAsked(
        context, options, [&] { return doomedComment(context, options.what); },
        [&](const Doomed& comment) { context.call(DeleteComment{comment.uid}); });
}

} // namespace

void addCommentCommands(commandline::Command program, Action& action)
{
    const commandline::Command comment = program.command("comment", "Writes, shows and deletes comments");
    comment.needsCommand();

    const commandline::Command addCommand = comment.command("add", "Comments on a content");
    const auto addOptions = onCommand(addCommand, action, addComment);
    addCommand.option("CONTENT", addOptions->content, "The content's identifier").required();
    addCommand.option("TEXT", addOptions->text, "What to say").required();

    const commandline::Command showCommand = comment.command("show", "Shows a comment");
    showCommand.option("UID", onCommand(showCommand, action, showComment)->uid, "The comment's identifier").required();

    const commandline::Command deleteCommand = comment.command("delete", "Deletes a comment");
    addDeletionOptions(deleteCommand, *onCommand(deleteCommand, action, deleteComment), "UID", "The comment's identifier");
}

} // namespace kinloom
