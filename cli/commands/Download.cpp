// SPDX-License-Identifier: MIT
// Downloads.
#include "commands/Download.h"
#include "commands/Command.h"
#include "core/Text.h"
#include "files/FileName.h"
#include "output/Progress.h"

namespace kinloom {

namespace {

struct DownloadOptions {
    std::string url;
    std::string folder;
    std::string name;
    bool force = false;
};

Exit download(Context& context, const DownloadOptions& options)
{
    if (!options.name.empty())
        requireFileName(options.name);
    const std::string name = options.name.empty() ? nameFromUrl(options.url, "download") : options.name;
    const TargetFolder folder(options.folder);
    const std::string path = folder.path() + "/" + name;
    // Told before anything is transferred; what appears meanwhile is seen when the file takes its name.
    const auto taken = [&] { return Failure(Exit::LOCAL_FILE, path + ": is there already. --force replaces it."); };
    if (!options.force && folder.has(name))
        throw taken();

    context.signIn();
    Staging staging(folder);
    fetch(context, options.url, staging, name);
    if (!staging.publish(name, options.force))
        throw taken();
    const std::uint64_t size = folder.sizeOf(name).value_or(0);
    context.say({{"url", options.url}, {"path", path}, {"name", name}, {"size", size}},
                "Downloaded " + neutralised(path) + " (" + sizeText(static_cast<double>(size)) + ").");
    return Exit::OK;
}

} // namespace

void fetch(Context& context, const std::string& url, const Staging& staging, const std::string& name)
{
    Progress progress(name);
    context.call(DownloadFile{url, staging.folder(), Staging::FILE_NAME, name},
                 [&](double done, double total) { progress.update(done, total); });
}

void addDownloadCommands(CLI::App& app, Action& action)
{
    CLI::App* const command = app.add_subcommand("download", "Downloads a file");
    const auto options = onCommand(*command, action, download);
    command->add_option("URL", options->url, "Its address, as 'content show' gives it")->required();
    command->add_option("DIR", options->folder, "The folder it goes to")->required();
    command->add_option("--name", options->name, "Its name there; without it, the one in the address")->type_name("NAME");
    command->add_flag("--force", options->force, "Replaces a file of that name");
}

} // namespace kinloom
