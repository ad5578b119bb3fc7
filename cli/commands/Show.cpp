// SPDX-License-Identifier: MIT
// Pictures in the terminal.
#include "commands/Command.h"
#include "commands/Download.h"
#include "core/Text.h"
#include "output/Picture.h"
#include "pictures/PictureProgram.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace kinloom {

namespace {

constexpr Word<PictureMode> MODE_WORDS[] = {
    {"auto", PictureMode::AUTO},   {"symbols", PictureMode::SYMBOLS}, {"sixels", PictureMode::SIXELS},
    {"kitty", PictureMode::KITTY}, {"iterm", PictureMode::ITERM},
};

/// Thumbnails by how well they suit a terminal.
constexpr const char* THUMBNAILS[] = {"contentThumbnail_540X405", "contentThumbnail_1920X1080", "contentThumbnail_116X87"};

constexpr int MOST_PIXELS = 1920;

struct ShowOptions {
    std::string uid;
    unsigned int width = 0;
    unsigned int height = 0;
    PictureMode mode = PictureMode::AUTO;
};

constexpr const char* ORIGINAL = "original";

/// A name and an address of what is to be shown.
struct Source {
    std::string name;
    std::string url;
};

Source sourceOf(const W::WContent& content)
{
    for (const char* name : THUMBNAILS) {
        for (const W::WMediaResource& thumbnail : content.getThumbnails()) {
            if (thumbnail.getUID() == name && !thumbnail.getResourceURL().empty())
                return {name, thumbnail.getResourceURL()};
        }
    }
    if (content.getResourceURL().empty())
        throw Failure(Exit::FAILED, "content " + content.getUID() + " has no usable address");
    return {ORIGINAL, content.getResourceURL()};
}

Picture fetchPicture(Context& context, const std::string& uid, const Source& source)
{
    constexpr std::uint32_t NOT_FOUND = 404;
    const TargetFolder temporary(std::filesystem::temp_directory_path().string());
    const Staging staging(temporary);
    try {
        fetch(context, source.url, staging, source.name);
    } catch (const Failure& failure) {
        if (failure.httpCode() != NOT_FOUND || source.name == ORIGINAL)
            throw;
        throw Failure(
            Exit::FAILED,
            "content " + neutralised(uid) +
                " has no picture to show: the service cannot decode it, or is not ready with it yet. 'kinloom content show " +
                neutralised(uid) + "' gives the address of the original, which 'kinloom download' fetches.",
            failure.status(), failure.httpCode());
    }
    try {
        return readPicture(staging.file(), MOST_PIXELS, pictures::programBesideThis(),
                           [&context] { return context.interrupt.requested(); });
    } catch (const Failure&) {
        context.interrupt.check();
        throw;
    }
}

Json linesOf(const std::string& drawn)
{
    Json lines = Json::array();
    std::istringstream text(drawn);
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}

Exit show(Context& context, const ShowOptions& options)
{
    const Source source = sourceOf(context.call(ViewContent{options.uid}));
    const Picture picture = fetchPicture(context, options.uid, source);

    const Output::Size size = context.output.size();
    Frame frame;
    frame.columns = static_cast<int>(options.width > 0 ? options.width : size.columns);
    // The prompt needs a row below the picture.
    frame.rows = static_cast<int>(options.height > 0 ? options.height : std::max<std::size_t>(size.rows, 2) - 1);
    frame.mode = options.mode;
    frame.terminal = context.output.isTerminal();
    frame.colour = context.output.colour() || (!frame.terminal && !context.options.noColour);
    if (context.options.json) {
        frame.terminal = false;
        frame.mode = PictureMode::AUTO;
    }
    const std::string drawn = drawPicture(picture, frame);
    const Json document = {{"id", options.uid},
                           {"picture", source.name},
                           {"width", picture.width},
                           {"height", picture.height},
                           {"lines", context.options.json ? linesOf(drawn) : Json::array()}};
    context.result(document, [&] { context.output.line(drawn); });
    return Exit::OK;
}

} // namespace

void addShowCommands(commandline::Command program, Action& action)
{
    const commandline::Command command = program.command("show", "Shows a photo in the terminal");
    const auto options = onCommand(command, action, show);
    command.option("UID", options->uid, "The content's identifier").required();
    command.option("--width", options->width, "Columns to fill; without it, the terminal's").within(1, 1000);
    command.option("--height", options->height, "Rows to fill; without it, the terminal's").within(1, 1000);
    addWordOption(command, "--mode", options->mode, MODE_WORDS, "How to draw it");
}

} // namespace kinloom
