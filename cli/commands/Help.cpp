// SPDX-License-Identifier: MIT
#include "commands/Help.h"

#include "commandline/Mistake.h"
#include "core/Text.h"

namespace kinloom {

namespace {

using commandline::CommandEntry;

constexpr const char* EXIT_CODES =
    "\nExit codes: 0 done, 1 failed, 2 bad usage, 3 not configured or not signed in, 4 service unreachable or failing,\n"
    "5 a local file cannot be used, 130 interrupted. 'man kinloom' tells all.";

constexpr const char* MEMBERS = "the Open API has no operation for members; where the service runs, 'kinloomd member list GROUP' "
                                "shows them, 'kinloomd member add GROUP PERSON' adds one";

/// Words that people may look for here, and where they are. The Open API has no operation for these.
const std::vector<commandline::Elsewhere>& elsewhere()
{
    static const std::vector<commandline::Elsewhere> all = {
        {{"group", "rename"},
         "a group keeps its name: the Open API has no operation for that, nor has kinloomd. 'kinloom group create' makes one of "
         "another name"},
        {{"group", "describe"},
         "a group keeps its description: the Open API has no operation for that, nor has kinloomd. 'kinloom group create --desc "
         "TEXT' makes one with another"},
        {{"group", "hand-over"},
         "the Open API has no operation for that; where the service runs, 'kinloomd group hand-over GROUP PERSON' does it"},
        {{"group", "list"}, "'kinloom groups' lists groups"},
        {{"group", "show"}, "'kinloom groups' lists groups, 'kinloom feed GROUP' shows what is in one"},
        {{"group", "members"}, MEMBERS},
        {{"group", "leave"},
         "the Open API has no operation for that; where the service runs, 'kinloomd member remove GROUP PERSON' does it"},
        {{"rename"},
         "the Open API has no operation for that; where the service runs, 'kinloomd person rename' gives a person another name"},
        {{"help"}, "'kinloom --help' shows all commands, 'kinloom COMMAND --help' tells of one, 'man kinloom' of everything"},
        {{"version"}, "'kinloom --version' prints it"},
        {{"content", "list"}, "'kinloom feed GROUP' lists contents"},
        {{"content", "edit"},
         "a content stays as it is: the Open API has no operation for that. 'kinloom comment add CONTENT TEXT' says more"},
        {{"comment", "list"}, "'kinloom content show UID' shows a content's comments"},
        {{"content", "describe"},
         "a content keeps its description: the Open API has no operation for that. 'kinloom upload --desc TEXT' gives "
         "one, 'kinloom comment add CONTENT TEXT' says more"},
        {{"content", "rename"},
         "a content keeps its name and description: the Open API has no operation for that. 'kinloom comment add "
         "CONTENT TEXT' says more"},
        {{"comment", "edit"},
         "a comment stays as it is: 'kinloom comment delete UID' and 'kinloom comment add CONTENT TEXT' replace it"},
        {{"member", "add"},
         "the Open API has no operation for members; where the service runs, 'kinloomd member add GROUP PERSON' does it"},
        {{"member", "remove"},
         "the Open API has no operation for members; where the service runs, 'kinloomd member remove GROUP PERSON' does it"},
        {{"member"}, MEMBERS},
        {{"members"}, MEMBERS},
        {{"person"},
         "the Open API has no operation for people; where the service runs, 'kinloomd person --help' shows what there is: add, "
         "list, rename, remove"},
        {{"device"},
         "the Open API has no operation for devices; where the service runs, 'kinloomd device add --person NAME' prints what "
         "'kinloom config import' takes"},
        {{"trash"},
         "the Open API has no operation for what was deleted; where the service runs, 'kinloomd trash list' shows it and 'kinloomd "
         "trash restore' brings it back"},
    };
    return all;
}

} // namespace

const std::vector<Example>& examples()
{
    static const std::vector<Example> all = {
        {"", "kinloom groups\nkinloom upload Summer lake.jpg --desc \"At the lake\"\nkinloom save Summer /media/backup/summer"},
        {"pair", "kinloom pair http://127.0.0.1:8750\nkinloom pair http://127.0.0.1:8750 --name \"Living room\""},
        {"config", "kinloom config set service http://127.0.0.1:8750\nkinloom config show"},
        {"config set", "kinloom config set service http://127.0.0.1:8750\nkinloom config set AuthToken -"},
        {"config get", "kinloom config get service"},
        {"config show", "kinloom config show\nkinloom config show --json"},
        {"config import", "kinloomd device add --data ~/family --person Ada | kinloom config import"},
        {"register", "kinloom register"},
        {"login", "kinloom login\nkinloom login --service http://127.0.0.1:8750"},
        {"groups",
         "kinloom groups\nkinloom groups --all --sort recent\nkinloom groups --person Ben\nkinloom groups --all | cut -f2"},
        {"group", "kinloom group create \"Summer & sea\"\nkinloom group delete Winter --dry-run"},
        {"group create",
         "kinloom group create \"Summer & sea\" --desc \"Two weeks at the lake\"\nkinloom --quiet group create Winter"},
        {"group delete", "kinloom group delete Winter\nkinloom group delete Winter --dry-run\nkinloom group delete 12 --yes\n"
                         "kinloom group delete name:2024"},
        {"feed", "kinloom feed Summer\nkinloom feed Summer --since 2024-07-01 --until 2024-07-14 --all\n"
                 "kinloom feed 12 --after 0 --base uploaded\nkinloom feed 12 --before 345 --count 10"},
        {"content", "kinloom content show 345\nkinloom content delete 345 --dry-run"},
        {"content show", "kinloom content show 345\nkinloom content show 345 --json"},
        {"content delete", "kinloom content delete 345\nkinloom content delete 345 --dry-run\nkinloom content delete 345 --yes"},
        {"content mime", "kinloom content mime 345\nkinloom content mime 345 --thumbnail"},
        {"upload", "kinloom upload Summer lake.jpg hills.jpg --desc \"At the lake & on the hills\"\n"
                   "kinloom upload Summer photos --exclude '*.png' --dry-run\nkinloom upload 12 scan --type image/png"},
        {"download", "kinloom download http://127.0.0.1:8750/media/4f/345/lake.jpg .\n"
                     "kinloom download http://127.0.0.1:8750/media/4f/345/lake.jpg ~/photos --name evening.jpg --force"},
        {"save", "kinloom save Summer /media/backup/summer\nkinloom save Summer july --since 2024-07-01 --until 2024-07-31"},
        {"comment", "kinloom comment add 345 \"What a sky!\"\nkinloom comment show 678"},
        {"comment add", "kinloom comment add 345 \"What a sky!\"\nkinloom comment add 345 -- \"-- said nobody\""},
        {"comment show", "kinloom comment show 678"},
        {"comment delete", "kinloom comment delete 678\nkinloom comment delete 678 --yes"},
        {"show", "kinloom show 345\nkinloom show 345 --height 20 --mode symbols"},
    };
    return all;
}

void addExamples(commandline::Program& program)
{
    for (const Example& example : examples()) {
        std::string text = "\nExamples:\n  ";
        for (const char* c = example.lines; *c != '\0'; ++c)
            text.append(1, *c).append(*c == '\n' ? "  " : "");
        const std::string path = example.command;
        program.at(path).footer(path.empty() ? text + "\n" + EXIT_CODES : text);
    }
}

std::string explainMistake(const CommandEntry& program, const std::vector<std::string>& arguments, const std::string& otherwise)
{
    return commandline::explainMistake(program, arguments, otherwise, elsewhere(), neutralised);
}

} // namespace kinloom
