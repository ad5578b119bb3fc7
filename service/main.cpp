// SPDX-License-Identifier: MIT
// The program's command line.
#include "commands/Commands.h"
#include "operations/Faults.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <functional>

namespace {

using namespace kinloomd;

/// The command that was chosen; run when the whole command line is understood.
using Command = std::function<int()>;

template <typename Run> Command done(Run run)
{
    return [run] {
        run();
        return static_cast<int>(EXIT_DONE);
    };
}

std::string checkFault(const std::string& text)
{
    try {
        parseFault(text);
        return {};
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

std::string checkPublicUrl(const std::string& url)
{
    const bool known = url.compare(0, 7, "http://") == 0 || url.compare(0, 8, "https://") == 0;
    const auto authority = url.find("//") + 2;
    if (!known || url.size() == authority || url.find_first_of("/?# \"<>", authority) != std::string::npos)
        return "needs a scheme and a host, such as http://photos.example:8750, without a slash at its end";
    return {};
}

struct Arguments {
    ServeArguments serve;
    std::string name;
    std::string group;
    std::string phone;
    std::string file;
    EventArguments event;
    ContentArguments content;
    unsigned long long idleMs = 0;
    unsigned long long headerMs = 0;
    unsigned long long slotSeconds = 0;
};

void dataOption(CLI::App& app, Arguments& arguments)
{
    app.add_option("--data", arguments.serve.service.dataFolder, "the folder that holds everything")->required()->type_name("DIR");
}

void defineServe(CLI::App& program, Arguments& arguments, Command& command)
{
    auto& app = *program.add_subcommand("serve", "serve until SIGTERM or SIGINT");
    Options& options = arguments.serve.service;
    Limits& limits = options.limits;
    httpd::Limits& http = arguments.serve.http;
    dataOption(app, arguments);
    app.add_option("--listen", arguments.serve.listenAddress, "where to listen; port 0 takes a free one")
        ->type_name("ADDR:PORT")
        ->capture_default_str();
    app.add_option("--public-url", options.publicUrl, "scheme and host of addresses in replies [the host that each request names]")
        ->type_name("URL")
        ->check(checkPublicUrl);
    app.add_option("--reply-shape", options.replyShape, "how replies hold their fields")
        ->type_name("elements|attributes")
        ->transform(CLI::Transformer(
            std::map<std::string, ReplyShape>{{"elements", ReplyShape::ELEMENTS}, {"attributes", ReplyShape::ATTRIBUTES}}))
        ->check(CLI::IsMember({ReplyShape::ELEMENTS, ReplyShape::ATTRIBUTES}));
    app.add_option("--fault", options.faults, "misbehave, for tests: OPERATION:WHAT[,WHAT...][*TIMES]; may be repeated")
        ->type_name("RULE")
        ->check(checkFault)
        ->allow_extra_args(false);
    app.add_flag("--control", options.control, "let programs on this computer set faults and read hit counts under /control/");
    app.add_flag("--log-requests", options.logRequests, "write a line for each request on standard error");
    app.add_option("--max-upload", limits.uploadBytes, "largest file")->type_name("BYTES")->capture_default_str();
    app.add_option("--max-form", limits.formBytes, "largest other body")->type_name("BYTES")->capture_default_str();
    app.add_option("--max-headers", http.headerBytes, "largest headers")->type_name("BYTES")->capture_default_str();
    app.add_option("--max-pixels", limits.pixels, "largest picture")->type_name("PIXELS")->capture_default_str();
    app.add_option("--max-connections", http.connections, "connections in all")->type_name("N")->capture_default_str();
    app.add_option("--max-connections-per-address", http.connectionsPerAddress, "connections from one address")
        ->type_name("N")
        ->capture_default_str();
    app.add_option("--max-rate", http.requestsPerSecond, "requests a second from one address [no limit on loopback, else 500]")
        ->type_name("N");
    app.add_option("--idle-timeout", arguments.idleMs, "time without a byte before a connection is closed [30000]")
        ->type_name("MS");
    app.add_option("--request-timeout", arguments.headerMs, "time for the headers of a request [60000]")->type_name("MS");
    app.add_option("--min-rate", http.bytesPerSecond, "slowest transfer that is put up with, in bytes a second")
        ->type_name("N")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--slot-lifetime", arguments.slotSeconds, "time to keep a place for an upload that was announced [3600]")
        ->type_name("SECONDS");
    app.callback([&] {
        if (arguments.idleMs != 0)
            http.idleTime = std::chrono::milliseconds(arguments.idleMs);
        if (arguments.headerMs != 0)
            http.headerTime = std::chrono::milliseconds(arguments.headerMs);
        if (arguments.slotSeconds != 0)
            limits.slotTime = std::chrono::seconds(arguments.slotSeconds);
        command = [&arguments] { return serve(arguments.serve); };
    });
}

void definePerson(CLI::App& program, Arguments& arguments, Command& command)
{
    auto& person = *program.add_subcommand("person", "people")->require_subcommand(1);
    const std::string& data = arguments.serve.service.dataFolder;

    auto& add = *person.add_subcommand("add", "add a person");
    dataOption(add, arguments);
    add.add_option("NAME", arguments.name, "the person's name")->required();
    add.add_option("--phone", arguments.phone, "the person's telephone number")->type_name("NUMBER");
    add.callback([&] { command = done([&] { addPerson(data, arguments.name, arguments.phone); }); });

    auto& list = *person.add_subcommand("list", "list all people: number, name, since when");
    dataOption(list, arguments);
    list.callback([&] { command = done([&] { listPeople(data); }); });

    auto& image = *person.add_subcommand("image", "give a person a picture");
    dataOption(image, arguments);
    image.add_option("PERSON", arguments.name, "name or number")->required();
    image.add_option("FILE", arguments.file, "a JPEG, PNG, WebP or GIF file")->required();
    image.callback([&] { command = done([&] { setPersonImage(data, arguments.name, arguments.file); }); });
}

void defineDevice(CLI::App& program, Arguments& arguments, Command& command)
{
    auto& device = *program.add_subcommand("device", "devices")->require_subcommand(1);
    const std::string& data = arguments.serve.service.dataFolder;

    auto& add = *device.add_subcommand("add", "add a device and print the section for its host's configuration file");
    dataOption(add, arguments);
    add.add_option("--person", arguments.name, "whose device it is; added when new")->required()->type_name("NAME");
    add.callback([&] { command = done([&] { addDevice(data, arguments.name); }); });

    auto& remove = *device.add_subcommand("remove", "end the use of a device");
    dataOption(remove, arguments);
    remove.add_option("DUID", arguments.name, "as in the list")->required();
    remove.callback([&] { command = done([&] { removeDevice(data, arguments.name); }); });

    auto& list = *device.add_subcommand("list", "list all devices, without their secrets");
    dataOption(list, arguments);
    list.callback([&] { command = done([&] { listDevices(data); }); });
}

void defineGroup(CLI::App& program, Arguments& arguments, Command& command)
{
    auto& group = *program.add_subcommand("group", "groups")->require_subcommand(1);
    const std::string& data = arguments.serve.service.dataFolder;
    auto& list = *group.add_subcommand("list", "list all groups");
    dataOption(list, arguments);
    list.callback([&] { command = done([&] { listGroups(data); }); });
}

void defineMember(CLI::App& program, Arguments& arguments, Command& command)
{
    auto& member = *program.add_subcommand("member", "members of groups")->require_subcommand(1);
    const std::string& data = arguments.serve.service.dataFolder;
    const auto define = [&](const char* name, const char* description,
                            void (*run)(const std::string&, const std::string&, const std::string&)) {
        auto& app = *member.add_subcommand(name, description);
        dataOption(app, arguments);
        app.add_option("GROUP", arguments.group, "name or number")->required();
        app.add_option("PERSON", arguments.name, "name or number")->required();
        app.callback([&, run] { command = done([&, run] { run(data, arguments.group, arguments.name); }); });
    };
    define("add", "make a person a member of a group", &addMember);
    define("remove", "end a membership; addresses of the group's media change", &removeMember);
}

void defineContent(CLI::App& program, Arguments& arguments, Command& command)
{
    auto& content = *program.add_subcommand("content", "contents of groups")->require_subcommand(1);
    auto& add = *content.add_subcommand("add", "put a picture into a group without an upload");
    dataOption(add, arguments);
    add.add_option("--group", arguments.content.group, "name or number")->required()->type_name("GROUP");
    add.add_option("--person", arguments.content.person, "who it comes from")->required()->type_name("PERSON");
    add.add_option("--desc", arguments.content.description, "its description")->type_name("TEXT");
    add.add_option("--copies", arguments.content.copies, "how many contents to make of it")
        ->type_name("N")
        ->check(CLI::PositiveNumber);
    add.add_option("FILE", arguments.content.file, "a JPEG, PNG, WebP or GIF file")->required();
    add.callback([&] { command = done([&] { addContent(arguments.serve.service.dataFolder, arguments.content); }); });
}

void defineEvent(CLI::App& program, Arguments& arguments, Command& command)
{
    auto& event = *program.add_subcommand("event", "events linked to contents")->require_subcommand(1);
    auto& add = *event.add_subcommand("add", "link an event to a content");
    EventArguments& values = arguments.event;
    dataOption(add, arguments);
    add.add_option("CONTENT", values.content, "the content's number")->required();
    add.add_option("--person", values.person, "who enters it")->required()->type_name("PERSON");
    add.add_option("--title", values.title, "its title")->required()->type_name("TEXT");
    add.add_option("--type", values.type, "its type")->type_name("TEXT");
    add.add_option("--desc", values.description, "its description")->type_name("TEXT");
    add.add_option("--start", values.starts, "when it begins")->required()->type_name("TIME");
    add.add_option("--end", values.ends, "when it ends [when it begins]")->type_name("TIME");
    add.callback([&] { command = done([&] { addEvent(arguments.serve.service.dataFolder, values); }); });
}

void defineCheck(CLI::App& program, Arguments& arguments, Command& command)
{
    auto& app = *program.add_subcommand("check", "compare records, files and totals");
    dataOption(app, arguments);
    app.callback([&] { command = [&arguments] { return check(arguments.serve.service.dataFolder); }; });
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App program("The Kinloom service for development, demonstration and tests.", "kinloomd");
    program.require_subcommand(1);
    program.set_version_flag("--version", "kinloomd " KINLOOM_VERSION);
    program.footer("Exit codes: 0 done, 1 failed, 2 wrong command line, 3 'check' found something.");
    Arguments arguments;
    Command command;
    defineServe(program, arguments, command);
    definePerson(program, arguments, command);
    defineDevice(program, arguments, command);
    defineGroup(program, arguments, command);
    defineMember(program, arguments, command);
    defineContent(program, arguments, command);
    defineEvent(program, arguments, command);
    defineCheck(program, arguments, command);
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return program.exit(error) == 0 ? EXIT_DONE : EXIT_USAGE;
    }
    try {
        return command();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kinloomd: %s\n", error.what());
        return EXIT_FAILED;
    }
}
