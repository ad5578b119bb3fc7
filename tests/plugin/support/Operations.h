// SPDX-License-Identifier: MIT
/// \file Every operation that sends a request, for tests that hold all of them to the same rules.
#ifndef PLUGIN_SUPPORT_OPERATIONS_H
#define PLUGIN_SUPPORT_OPERATIONS_H

#include "WKLOAI/WKLOAI.h"
#include "plugin/support/Recorder.h"
#include "plugin/support/Records.h"

#include <ostream>
#include <vector>

namespace kinloom_test {

struct OperationCase {
    const char* name;
    W::UINT32 key;
    /// Starts the operation with arguments that are good, and a callback unless the recorder is null.
    W::WSTATUS (*start)(W::WKLOAI& oai, Recorder* recorder, const TempFolder& folder);
    /// A reply with records that the operation accepts.
    W::STRING (*goodReply)();

    bool needsSession = true; ///< refused with -202 when nobody is signed in
    bool sendsCredentials = true;
    bool isRegistered = true; ///< its command is in the facade's list while it runs
    bool readsReply = true;   ///< a malformed reply with HTTP 200 gives -16
    bool callsBack = true;    ///< its own callback is called
    bool flushesOnSuccess = false;
    bool isTransfer = false;       ///< progress and cancel refer to it
    bool asksFirst = false;        ///< a request on the calling thread goes before
    bool reportsOwnCancel = false; ///< a cancelled one reports to its own callback
    bool writesFile = false;
};

/// All fifteen.
const std::vector<OperationCase>& operations();
/// One of them.
const OperationCase& operationNamed(const W::STRING& name);

/// Where a download of a media resource puts its file, which is not in the folder.
W::STRING resourceFile(const TempFolder& folder);

std::ostream& operator<<(std::ostream& out, const OperationCase& operation);

} // namespace kinloom_test

#endif
