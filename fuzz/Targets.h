// SPDX-License-Identifier: MIT
/// \file What is fuzzed: routines that take any bytes. The fuzzers call them, and so do the tests, with the inputs of corpus/.
#ifndef FUZZ_TARGETS_H
#define FUZZ_TARGETS_H

#include <stdexcept>
#include <string>
#include <string_view>

namespace fuzz {

/// Takes any input, and throws when a promise is broken that a crash or a sanitizer would not show.
using Routine = void (*)(std::string_view input);

struct Target {
    const char* name; ///< also of its folder in corpus/
    Routine routine;
    const char* dictionary; ///< of dictionaries/
};

void contents(std::string_view input);
void groups(std::string_view input);
void comments(std::string_view input);
void galleries(std::string_view input);
void uploadSlot(std::string_view input);
void identity(std::string_view input);
void account(std::string_view input);
/// The records of all lists beside those of another reader.
void records(std::string_view input);
void plainError(std::string_view input);
void date(std::string_view input);
/// The file that a download goes to: a URL, and behind a newline a name.
void downloadPath(std::string_view input);
/// The file names that the command line makes of texts and URLs.
void fileName(std::string_view input);
/// What the command line shows of texts that others wrote.
void shownText(std::string_view input);
/// The file of the stand-alone host.
void configuration(std::string_view input);
/// What the host's client makes of a URL, and of a redirect: a URL, and behind a newline where it leads.
void url(std::string_view input);
/// The address of a service, as the command line is given it.
void serviceUrl(std::string_view input);
/// What the client library takes out of the body of a refusal.
void errorDocument(std::string_view input);
/// What a program and its helper processes say to each other.
void helperMessage(std::string_view input);
/// What a service answers to a device that is being paired.
void pairingReply(std::string_view input);

/// A request to the service: its first line and its headers.
void request(std::string_view input);
/// Headers of a browser: the lines are the cookie, the origin, the host, what it accepts, the path, and its name for itself.
void browser(std::string_view input);
/// The bytes of a connection to the service: a head, and a body in chunks behind it.
void http(std::string_view input);
/// A query or a body of a request, and documents with what it holds.
void form(std::string_view input);
/// The body of an upload: a line with its type, a line whose bytes are the sizes of the pieces that it comes in, and the body.
void multipart(std::string_view input);
/// Texts, dates, file names and faults that the service is given.
void serviceText(std::string_view input);
/// What a store of objects answers.
void storeReply(std::string_view input);
/// The header of a file that is said to be a picture: a letter for the format, and the file.
void pictureHeader(std::string_view input);

constexpr Target TARGETS[] = {
#include "TargetTable.inc" // made of the list in TargetList.cmake
};

class BrokenPromise : public std::logic_error {
public:
    using std::logic_error::logic_error;
};

inline void require(bool kept, const std::string& promise)
{
    if (!kept)
        throw BrokenPromise(promise);
}

} // namespace fuzz

#endif
