// SPDX-License-Identifier: MIT
#include "commands/Deletion.h"

#include "core/Text.h"
#include "output/Question.h"

namespace kinloom {

namespace {

constexpr const char* KEPT_IN_TRASH = "The service keeps it for 30 days; 'kinloomd trash restore NUMBER' brings it back.";
constexpr std::size_t LONGEST_QUOTE = 300; // columns

Json documentOf(const Doomed& doomed, bool gone)
{
    Json document = {{"deleted", gone ? Json(doomed.uid) : Json(nullptr)}, {"dry_run", !gone}};
    document[doomed.kind] = doomed.record;
    return document;
}

} // namespace

void addDeletionOptions(commandline::Command command, DeletionOptions& options, const std::string& place,
                        const std::string& description)
{
    command.option(place, options.what, description).required();
    command.flag("--yes", options.yes, "Does not ask");
    command.flag("--dry-run", options.dryRun, "Tells what would be deleted, and deletes nothing");
}

Exit deleteAsked(Context& context, const DeletionOptions& options, const std::function<Doomed()>& look,
                 const std::function<void(const Doomed& doomed)>& remove)
{
    const bool asks = !options.yes && !options.dryRun;
    if (asks && !canAsk())
        throw Failure(Exit::USAGE,
                      "nothing was deleted: there is no terminal to ask on. --yes deletes without asking, --dry-run tells "
                      "what would go.");
    const Doomed doomed = look();
    const std::string sentence = neutralised(doomed.sentence);
    if (options.dryRun) {
        context.result(documentOf(doomed, false), [&] { context.output.line("This would delete " + sentence + "."); });
        return Exit::OK;
    }
    if (asks) {
        const std::string question = "This deletes " + sentence + ".\n" + KEPT_IN_TRASH + "\nDelete it? Only y or yes means yes: ";
        if (!asksForYes(question, context.interrupt))
            throw Failure(Exit::FAILED, "nothing was deleted");
    }
    remove(doomed);
    context.confirm(documentOf(doomed, true), "Deleted " + sentence + ". " + KEPT_IN_TRASH);
    return Exit::OK;
}

std::string counted(std::size_t number, const std::string& thing)
{
    return (number == 0 ? "no" : std::to_string(number)) + " " + thing + (number == 1 ? "" : "s");
}

std::string quoted(const std::string& text) { return "\"" + clipped(neutralised(text), LONGEST_QUOTE) + "\""; }

} // namespace kinloom
