// SPDX-License-Identifier: MIT
/// \file Every command, and every operation that sends one, for tests that hold all of them to the same rules.
#ifndef PLUGIN_SUPPORT_OPERATIONS_H
#define PLUGIN_SUPPORT_OPERATIONS_H

#include "W/WStatus.h"
#include "WKLOAI/WKLOAI.h"
#include "plugin/support/Recorder.h"
#include "plugin/support/Records.h"

#include <functional>
#include <memory>
#include <ostream>
#include <vector>

namespace kinloom_test {

/// What operations are started with: good arguments, which a test may change before it starts one.
struct Arguments {
    explicit Arguments(const TempFolder& folder);

    W::WPerson person; ///< nobody but the user
    W::WGroup group;
    W::WGroup newGroup;
    W::WContent content;
    W::WContent newContent;
    W::WComment comment;
    W::WComment newComment;
    W::WMediaResource resource; ///< whose file is resourceFile(folder)
    W::STRING before;
    W::STRING after;
    W::KL_SEARCH_BASE base = W::KL_BASE_CREATED_TIME;
    W::KL_OPTION_INCLUDE include = W::KL_INCLUDE_NONE;
    W::STRING url;
    W::STRING folder;
    W::STRING fileName;
    W::STRING photo; ///< a file's path
};

/// The exchange in which an operation, started with good arguments, succeeds; see GoldenExchange.
struct Exchange {
    const char* family = "";
    const char* name = "";
    /// The files, in their order, when it takes several requests; one of the exchange's own name otherwise.
    std::vector<W::STRING> files = {};
    bool signedIn = true; ///< at its beginning
};

/// A kind of command record, and the operation that sends it.
struct OperationCase {
    const char* command; ///< what it does, in its record's words
    W::UINT32 key;
    /// Makes a command with its key, its owner, and a callback unless the recorder is null.
    /// \param file where a download has put its file.
    std::unique_ptr<W::KLServiceCMD> (*make)(W::WKLOAI* owner, Recorder* recorder, const W::STRING& file);
    /// Calls the handler of such a command directly, past the dispatcher.
    void (*handle)(W::WKLOAI& oai, W::SESSION_STATUS status, const W::HttpResponse& response, W::KLServiceCMD& command);
    /// A reply with HTTP 200 that the operation succeeds with.
    W::STRING (*goodReply)();
    /// The same with all that such a reply may hold, in texts too long for what a string object has in itself.
    W::STRING (*richReply)();

    /// The operation's function; null for a command that no operation sends.
    const char* name = nullptr;
    /// Starts the operation, with a callback unless the recorder is null. Allocates nothing itself.
    std::function<W::WSTATUS(W::WKLOAI& oai, const Arguments& arguments, Recorder* recorder)> startWith = nullptr;
    Exchange exchange = {};

    // Of the command
    W::WSTATUS ofSuccess = W::WSTATUS_OK;      ///< what is reported for a good reply to a record whose inputs are not set
    W::WSTATUS ofBadReply = W::WSTATUS_FAILED; ///< what is reported for a malformed reply with HTTP 200
    bool callsBack = true;                     ///< its own callback is called
    bool readsDocument = true;
    bool alwaysSucceeds = false; ///< reports 0 whatever became of the request
    bool readsRefusals = false;  ///< the body of a reply with another code may count
    bool flushesAlways = false;
    bool flushesOnSuccess = false;
    bool flushesOnFailure = true;  ///< when a reply with another code arrives
    bool reportsOwnCancel = false; ///< a cancelled one reports to its own callback

    // Of the operation
    bool needsSession = true; ///< refused with -202 when nobody is signed in
    bool sendsCredentials = true;
    bool isRegistered = true; ///< its command is in the facade's list while it runs
    bool isTransfer = false;  ///< progress and cancel refer to it
    bool asksFirst = false;   ///< a request on the calling thread goes before
    bool readsFile = false;   ///< the photo is to be there
    bool writesFile = false;

    /// Good arguments; makes the file that the operation reads.
    Arguments argumentsIn(const TempFolder& folder) const;
    /// The same with texts too long for what a string object has in itself.
    Arguments longArgumentsIn(const TempFolder& folder) const;
    /// Starts the operation with them.
    W::WSTATUS start(W::WKLOAI& oai, Recorder* recorder, const TempFolder& folder) const;
};

/// All commands, those that no operation sends among them.
const std::vector<OperationCase>& commands();
/// The commands that an operation sends.
const std::vector<OperationCase>& operations();
/// One of them, by its function. \throw std::out_of_range
const OperationCase& operationNamed(const W::STRING& name);

/// Where a download of a media resource puts its file, which is not in the folder.
W::STRING resourceFile(const TempFolder& folder);

std::ostream& operator<<(std::ostream& out, const OperationCase& operation);

} // namespace kinloom_test

#endif
