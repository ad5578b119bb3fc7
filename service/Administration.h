// SPDX-License-Identifier: MIT
/// \file The words for people, devices, groups and the trash on the program's command line.
#ifndef KINLOOMD_ADMINISTRATION_H
#define KINLOOMD_ADMINISTRATION_H

#include "commandline/Command.h"
#include "commands/Commands.h"

#include <functional>
#include <string>

namespace kinloomd {

/// The command that was chosen; run when the whole command line is understood.
using Action = std::function<int()>;

/// An action that either throws or is done.
template <typename Run> Action done(Run run)
{
    return [run] {
        run();
        return static_cast<int>(EXIT_DONE);
    };
}

/// Says what is wrong with the scheme and host of a service; empty when nothing is.
std::string checkPublicUrl(const std::string& url);

/// Adds an option that takes the address of a database.
void databaseOption(commandline::Command command, const char* name, std::string& address, const char* description);

/// Adds "--data" and "--database" to a command.
void dataOption(commandline::Command command, DataPlace& data);

/// The commands of whoever runs a service. It must outlive the program that it is defined for.
class Administration {
public:
    /// \param data what "--data" names; \param action takes the command that is chosen.
    Administration(DataPlace& data, Action& action) : m_data(data), m_action(action) {}

    void define(commandline::Program& program);
    /// Once the command line is read: throws UsageError when it wants JSON of a command that prints no list.
    void requireFormOfList() const;

private:
    using Command = commandline::Command;

    void definePeople(Command person);
    void defineDevices(Command device);
    void defineGroups(Command group);
    void defineMembers(Command member);
    void defineSessions(Command session);
    void defineTrash(Command trash);
    /// A command that prints a list.
    Command list(Command family, const std::string& description, std::function<void(ListForm)> print);
    /// A command that does something.
    Command act(Command family, const std::string& name, const std::string& description, std::function<void()> run);
    /// The same, and it deletes.
    Command erase(Command family, const std::string& name, const std::string& description, std::function<void()> run);
    /// A command on a group and a person.
    void join(Command family, const std::string& name, const std::string& description,
              void (*run)(const DataPlace& data, const std::string& group, const std::string& person));

    DataPlace& m_data;
    Action& m_action;
    std::string m_name; ///< of a person, a device or an entry of the trash
    std::string m_group;
    std::string m_file;
    std::string m_code;
    PersonArguments m_person;
    InvitationArguments m_invitation;
    Deletion m_deletion;
    unsigned m_olderThanDays = 0;
    bool m_json = false;     ///< before the command
    bool m_listJson = false; ///< behind it
};

} // namespace kinloomd

#endif
