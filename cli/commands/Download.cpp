// SPDX-License-Identifier: MIT
// Downloads.
#include "commands/Download.h"
#include "commands/Command.h"
#include "core/Text.h"
#include "files/FileName.h"
#include "output/Bars.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <strings.h>

namespace kinloom {

namespace {

struct DownloadOptions {
    std::string url;
    std::string folder;
    std::string name;
    bool force = false;
};

bool isAddress(const std::string& text)
{
    constexpr std::string_view SCHEMES[] = {"http://", "https://"};
    return std::any_of(std::begin(SCHEMES), std::end(SCHEMES), [&](std::string_view scheme) {
        return text.size() > scheme.size() && strncasecmp(text.c_str(), scheme.data(), scheme.size()) == 0;
    });
}

Exit download(Context& context, const DownloadOptions& options)
{
    if (!isAddress(options.url))
        throw Failure(Exit::USAGE, "'" + neutralised(options.url) + "' is no address: it should begin with http:// or https://");
    if (!options.name.empty())
        requireFileName(options.name);
    const std::string name = options.name.empty() ? nameFromUrl(options.url, "download") : options.name;
    const TargetFolder folder(options.folder);
    const std::string path = folder.path() + "/" + name;
    // Checked before anything is transferred, and again by publish, because a file may appear under the name meanwhile.
    const auto taken = [&] { return Failure(Exit::LOCAL_FILE, path + ": is there already. --force replaces it."); };
    if (!options.force && folder.has(name))
        throw taken();

    context.signIn();
    Staging staging(folder);
    fetch(context, options.url, staging, name);
    if (!staging.publish(name, options.force))
        throw taken();
    const std::uint64_t size = folder.sizeOf(name).value_or(0);
    context.confirm({{"url", options.url}, {"path", path}, {"name", name}, {"size", size}},
                    "Downloaded " + neutralised(path) + " (" + sizeText(static_cast<double>(size)) + ").");
    return Exit::OK;
}

} // namespace

void fetch(Context& context, const std::string& url, const Staging& staging, const std::string& name)
{
    Bars bars(1, 0);
    Bars::Bar bar(bars, name, 0);
    context.call(DownloadFile{url, staging.folder(), Staging::FILE_NAME, name},
                 context.callOptions([&](double done, double total) { bar.update(done, total); },
                                     [&](const std::string& text) { bars.above([&] { Output::hint(text); }); }));
}

void addDownloadCommands(commandline::Command program, Action& action)
{
    const commandline::Command command = program.command("download", "Downloads a file");
    const auto options = onCommand(command, action, download);
    command.option("URL", options->url, "Its address, as 'content show' gives it").required();
    command.option("DIR", options->folder, "The folder it goes to").required();
    command.option("--name", options->name, "Its name there; without it, the one in the address").typeName("NAME");
    command.flag("--force", options->force, "Replaces a file of that name");
}

} // namespace kinloom
