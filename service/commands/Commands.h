// SPDX-License-Identifier: MIT
/// \file What the program can be asked to do. Each command prints its result on standard output and throws std::exception, with a
/// sentence for a person, when it fails.
#ifndef KINLOOMD_COMMANDS_COMMANDS_H
#define KINLOOMD_COMMANDS_COMMANDS_H

#include "commands/Confirm.h"
#include "commands/ListForm.h"
#include "httpd/Settings.h"
#include "operations/Options.h"

#include <chrono>

namespace kinloomd {

/// The exit codes of the program.
enum ExitCode : int {
    EXIT_DONE = 0,
    EXIT_FAILED = 1,       ///< the command could not be carried out
    EXIT_USAGE = 2,        ///< the command line is wrong, or lacks the --yes that nobody can be asked for
    EXIT_INCONSISTENT = 3, ///< "check" has found something
};

/// Throws std::system_error when what was printed so far cannot be written.
void requirePrinted();

/// What "serve" can be told.
struct ServeArguments {
    std::string listenAddress = "127.0.0.1:8750";
    httpd::Settings http; ///< the chunkedBytes of its limits follow from the service's limits
    Options service;
};
/// Serves until SIGTERM or SIGINT; reads certificate and key again at SIGHUP.
int serve(const ServeArguments& arguments);

/// What is said of a person.
struct PersonArguments {
    std::string name;
    std::string phone;
    bool again = false; ///< also when another one has the name
};
void addPerson(const DataPlace& data, const PersonArguments& person);
void listPeople(const DataPlace& data, ListForm form);
void renamePerson(const DataPlace& data, const std::string& person, const PersonArguments& name);
/// Puts a person into the trash, and his or her groups that have no other members.
void removePerson(const DataPlace& data, const std::string& person, const Deletion& deletion);
void setPersonImage(const DataPlace& data, const std::string& person, const std::string& file);

/// An invitation to sign a browser in.
struct InvitationArguments {
    std::string name;      ///< of a person, who is made when there is none
    std::string group;     ///< that the person becomes a member of; empty for none
    std::string publicUrl; ///< scheme and host that browsers reach the service at; empty takes those of the service itself
};
/// Prints the invitation's address and its QR code.
void invitePerson(const DataPlace& data, const InvitationArguments& invitation);
void listSessions(const DataPlace& data, ListForm form);
/// Signs out the browser that has that number in the list.
void endSession(const DataPlace& data, const std::string& number);
/// Takes in a device that shows a code, for a person.
void approveDevice(const DataPlace& data, const std::string& code, const std::string& person);

void addDevice(const DataPlace& data, const std::string& person);
void removeDevice(const DataPlace& data, const std::string& duid);
void listDevices(const DataPlace& data, ListForm form);

void listGroups(const DataPlace& data, ListForm form);
/// Makes a member of the group its master.
void handOverGroup(const DataPlace& data, const std::string& group, const std::string& person);
void listMembers(const DataPlace& data, const std::string& group, ListForm form);
void addMember(const DataPlace& data, const std::string& group, const std::string& person);
void removeMember(const DataPlace& data, const std::string& group, const std::string& person);

/// An event to be linked to a content.
struct EventArguments {
    std::string content;
    std::string person;
    std::string title;
    std::string type;
    std::string description;
    std::string starts;
    std::string ends;
};
void addEvent(const DataPlace& data, const EventArguments& event);

/// A picture to be put into a group without an upload.
struct ContentArguments {
    std::string group;
    std::string person;
    std::string file;
    std::string description;
    std::string timeZone; ///< of a picture whose camera noted none; empty takes the system's
    unsigned copies = 1;
};
void addContent(const DataPlace& data, const ContentArguments& content);

void listTrash(const DataPlace& data, ListForm form);
/// Brings back what has that number in the list.
void restoreFromTrash(const DataPlace& data, const std::string& number);
/// Deletes for good what has been in the trash for so long.
void emptyTrash(const DataPlace& data, unsigned olderThanDays, const Deletion& deletion);

/// Compares records, files and totals, of a service's folder or of a backup. \return EXIT_DONE or EXIT_INCONSISTENT.
int check(const DataPlace& data);

/// How old a medium without a record is at least when it is removed unasked: its record may still be on its way.
inline constexpr std::chrono::hours COLLECTED_AGE{25};
/// Removes media that have no record and are older than that; zero takes those of any age, and is only for when no service takes
/// uploads. What is in the folder of one service is swept up when it begins.
void collect(const DataPlace& data, std::chrono::seconds age);

/// Brings a backup up to the present state of a service, which may be running. \return EXIT_DONE, or EXIT_INCONSISTENT when the
/// service itself lacks files.
int backup(const DataPlace& data, const std::string& to);
/// Makes a service's folder of a backup. \return EXIT_DONE, or EXIT_INCONSISTENT when the backup lacks files.
int restore(const std::string& from, const std::string& data);

struct MoveTarget;
/// Moves records and media to another place, goes on with that, or looks once more at what was moved. \return EXIT_DONE, or
/// EXIT_INCONSISTENT when something was wrong at the source already.
int migrate(const DataPlace& from, const MoveTarget& to);
/// Gives a move up: what is at the source can be changed again.
int cancelMove(const DataPlace& from, const MoveTarget& to);

} // namespace kinloomd

#endif
