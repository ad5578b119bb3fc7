// SPDX-License-Identifier: MIT
/// \file What the program can be asked to do. Each command prints its result on standard output and throws std::exception, with a
/// sentence for a person, when it fails.
#ifndef KINLOOMD_COMMANDS_COMMANDS_H
#define KINLOOMD_COMMANDS_COMMANDS_H

#include "httpd/Limits.h"
#include "operations/Options.h"

namespace kinloomd {

/// The exit codes of the program.
enum ExitCode : int {
    EXIT_DONE = 0,
    EXIT_FAILED = 1,       ///< the command could not be carried out
    EXIT_USAGE = 2,        ///< the command line is wrong
    EXIT_INCONSISTENT = 3, ///< "check" has found something
};

/// What "serve" can be told.
struct ServeArguments {
    std::string listenAddress = "127.0.0.1:8750";
    httpd::Limits http; ///< its chunkedBytes follow from the service's limits
    Options service;
};
/// Serves until SIGTERM or SIGINT.
int serve(const ServeArguments& arguments);

void addPerson(const std::string& data, const std::string& name, const std::string& phone);
void listPeople(const std::string& data);
void setPersonImage(const std::string& data, const std::string& person, const std::string& file);
void addDevice(const std::string& data, const std::string& person);
void removeDevice(const std::string& data, const std::string& duid);
void listDevices(const std::string& data);
void listGroups(const std::string& data);
void addMember(const std::string& data, const std::string& group, const std::string& person);
void removeMember(const std::string& data, const std::string& group, const std::string& person);

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
void addEvent(const std::string& data, const EventArguments& event);

/// A picture to be put into a group without an upload.
struct ContentArguments {
    std::string group;
    std::string person;
    std::string file;
    std::string description;
    unsigned copies = 1;
};
void addContent(const std::string& data, const ContentArguments& content);

/// Compares records, files and totals. \return EXIT_DONE or EXIT_INCONSISTENT.
int check(const std::string& data);

} // namespace kinloomd

#endif
