// SPDX-License-Identifier: MIT
/// \file Every kind of command record, also those that no operation sends.
#ifndef PLUGIN_SUPPORT_COMMANDS_H
#define PLUGIN_SUPPORT_COMMANDS_H

#include "W/WStatus.h"
#include "WKLOAI/WKLOAI.h"
#include "plugin/support/Recorder.h"

#include <memory>
#include <ostream>
#include <vector>

namespace kinloom_test {

struct CommandCase {
    const char* name;
    W::UINT32 key;
    /// Makes a command with its key, its owner, and a callback unless the recorder is null.
    /// \param file where a download has put its file.
    std::unique_ptr<W::KLServiceCMD> (*make)(W::WKLOAI* owner, Recorder* recorder, const W::STRING& file);
    /// Calls the handler of such a command directly, past the dispatcher.
    void (*handle)(W::WKLOAI& oai, W::SESSION_STATUS status, const W::HttpResponse& response, W::KLServiceCMD& command);
    /// A reply with HTTP 200 that gives status 0.
    W::STRING (*goodReply)();

    W::WSTATUS ofSuccess = 0;
    W::WSTATUS ofBadReply = W::WSTATUS_FAILED; ///< what is reported for a malformed reply with HTTP 200
    bool isSent = true;                        ///< by an operation
    bool callsBack = true;
    bool readsDocument = true;
    bool alwaysSucceeds = false; ///< reports 0 whatever became of the request
    bool readsRefusals = false;  ///< the body of a reply with another code may count
    bool flushesAlways = false;
    bool flushesOnSuccess = false;
    bool flushesOnFailure = true; ///< when a reply with another code arrives
    bool reportsOwnCancel = false;
};

/// All.
const std::vector<CommandCase>& commands();

std::ostream& operator<<(std::ostream& out, const CommandCase& command);

} // namespace kinloom_test

#endif
