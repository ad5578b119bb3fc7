// SPDX-License-Identifier: MIT
#include "Administration.h"

#include "store/postgresql/PostgresqlEngine.h"

#include <utility>

namespace kinloomd {

namespace {

constexpr int LONGEST_AGE = 36'500; ///< days

} // namespace

std::string checkPublicUrl(const std::string& url)
{
    const bool known = url.compare(0, 7, "http://") == 0 || url.compare(0, 8, "https://") == 0;
    const auto authority = url.find("//") + 2;
    if (!known || url.size() == authority || url.find_first_of("/?# \"<>", authority) != std::string::npos)
        return "needs a scheme and a host, such as http://photos.example:8750, without a slash at its end";
    return {};
}

/// Says what is wrong with the address of a database; empty when nothing is.
std::string checkDatabase(const std::string& address)
{
    return isPostgresqlAddress(address) ? "" : "needs an address such as postgresql://db.example/kinloom";
}

void databaseOption(commandline::Command command, const char* name, std::string& address, const char* description)
{
    command.option(name, address, description).typeName("URL").check(checkDatabase);
}

void dataOption(commandline::Command command, DataPlace& data)
{
    command.option("--data", data.folder, "the folder that holds everything").required().typeName("DIR");
    databaseOption(command, "--database", data.database, "a PostgreSQL database that holds the records [the folder does]");
}

void Administration::define(commandline::Program& program)
{
    program.flag("--json", m_json, "print a list as one array of objects");
    definePeople(program.command("person", "people").needsCommand());
    defineDevices(program.command("device", "devices").needsCommand());
    defineGroups(program.command("group", "groups").needsCommand());
    defineMembers(program.command("member", "members of groups").needsCommand());
    defineSessions(program.command("session", "browsers that are signed in").needsCommand());
    defineTrash(program.command("trash", "what was deleted in the last 30 days").needsCommand());
}

void Administration::requireFormOfList() const
{
    if (m_json)
        throw UsageError("--json is for commands that list something");
}

void Administration::definePeople(Command person)
{
    const Command add = act(person, "add", "add a person", [this] { addPerson(m_data, m_person); });
    add.option("NAME", m_person.name, "the person's name").required();
    add.option("--phone", m_person.phone, "the person's telephone number").typeName("NUMBER");
    add.flag("--again", m_person.again, "also when someone has that name already; numbers then tell them apart");

    const Command invite = act(person, "invite", "print an invitation, by which a person signs a browser in once, within 48 hours",
                               [this] { invitePerson(m_data, m_invitation); });
    invite.option("NAME", m_invitation.name, "name or number; a new name is added").required();
    invite.option("--group", m_invitation.group, "make the person a member of a group too").typeName("GROUP");
    invite.option("--public-url", m_invitation.publicUrl, "where browsers reach the service [where it was started]")
        .typeName("URL")
        .check(checkPublicUrl);

    list(person, "list all people: number, name, since when", [this](ListForm form) { listPeople(m_data, form); });

    const Command rename = act(person, "rename", "give a person another name", [this] { renamePerson(m_data, m_name, m_person); });
    rename.option("PERSON", m_name, "name or number").required();
    rename.option("NAME", m_person.name, "the new name").required();
    rename.flag("--again", m_person.again, "also when someone else has that name");

    const Command remove =
        erase(person, "remove", "remove a person, with devices, memberships and groups that have no other member",
              [this] { removePerson(m_data, m_name, m_deletion); });
    remove.option("PERSON", m_name, "name or number").required();

    const Command image = act(person, "image", "give a person a picture", [this] { setPersonImage(m_data, m_name, m_file); });
    image.option("PERSON", m_name, "name or number").required();
    image.option("FILE", m_file, "a JPEG, PNG, WebP, GIF or HEIC file").required();
}

void Administration::defineDevices(Command device)
{
    const Command add = act(device, "add", "add a device and print the section for its host's configuration file",
                            [this] { addDevice(m_data, m_name); });
    add.option("--person", m_name, "whose device it is, by name or number; a new name is added").required().typeName("PERSON");

    const Command approve =
        act(device, "approve", "take in a device that shows a code", [this] { approveDevice(m_data, m_code, m_name); });
    approve.option("CODE", m_code, "what the device shows, such as BCDF-GHJK").required();
    approve.option("--person", m_name, "whose device it is, by name or number").required().typeName("PERSON");

    const Command remove = act(device, "remove", "end the use of a device", [this] { removeDevice(m_data, m_name); });
    remove.option("DUID", m_name, "as in the list").required();

    list(device, "list all devices, without their secrets", [this](ListForm form) { listDevices(m_data, form); });
}

void Administration::defineGroups(Command group)
{
    list(group, "list all groups", [this](ListForm form) { listGroups(m_data, form); });
    join(group, "hand-over", "make a member of a group its master", &handOverGroup);
}

void Administration::defineMembers(Command member)
{
    const Command members =
        list(member, "list the members of a group", [this](ListForm form) { listMembers(m_data, m_group, form); });
    members.option("GROUP", m_group, "name or number").required();
    join(member, "add", "make a person a member of a group", &addMember);
    join(member, "remove", "end a membership; addresses of the group's media change", &removeMember);
}

void Administration::defineSessions(Command session)
{
    list(session, "list them: number, person, browser, address, since when, last use",
         [this](ListForm form) { listSessions(m_data, form); });

    const Command end = act(session, "end", "sign a browser out", [this] { endSession(m_data, m_name); });
    end.option("NUMBER", m_name, "as in the list").required();
}

void Administration::defineTrash(Command trash)
{
    list(trash, "list it: number, kind, name, by whom, when, until when it is kept",
         [this](ListForm form) { listTrash(m_data, form); });

    const Command restore = act(trash, "restore", "bring something back as it was", [this] { restoreFromTrash(m_data, m_name); });
    restore.option("NUMBER", m_name, "as in the list").required();

    const Command empty = erase(trash, "empty", "remove it for good", [this] { emptyTrash(m_data, m_olderThanDays, m_deletion); });
    empty.option("--older-than", m_olderThanDays, "only what was deleted so long ago [0]").typeName("DAYS").within(0, LONGEST_AGE);
}

Administration::Command Administration::list(Command family, const std::string& description, std::function<void(ListForm)> print)
{
    const Command command = family.command("list", description);
    dataOption(command, m_data);
    command.flag("--json", m_listJson, "print one array of objects");
    command.whenChosen([this, print = std::move(print)] {
        m_listJson = m_listJson || std::exchange(m_json, false);
        m_action = done([this, print] { print(m_listJson ? ListForm::JSON : ListForm::LINES); });
    });
    return command;
}

Administration::Command Administration::act(Command family, const std::string& name, const std::string& description,
                                            std::function<void()> run)
{
    const Command command = family.command(name, description);
    dataOption(command, m_data);
    command.whenChosen([this, run = std::move(run)] { m_action = done(run); });
    return command;
}

Administration::Command Administration::erase(Command family, const std::string& name, const std::string& description,
                                              std::function<void()> run)
{
    const Command command = act(family, name, description, std::move(run));
    command.flag("--yes", m_deletion.yes, "do not ask");
    command.flag("--dry-run", m_deletion.dryRun, "tell what would be removed, and remove nothing");
    return command;
}

void Administration::join(Command family, const std::string& name, const std::string& description,
                          void (*run)(const DataPlace& data, const std::string& group, const std::string& person))
{
    const Command command = act(family, name, description, [this, run] { run(m_data, m_group, m_name); });
    command.option("GROUP", m_group, "name or number").required();
    command.option("PERSON", m_name, "name or number").required();
}

} // namespace kinloomd
