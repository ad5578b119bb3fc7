// SPDX-License-Identifier: MIT
// Programming errors end the process, and say which.
#include "plugin/support/Allocation.h"
#include "plugin/support/Commands.h"
#include "plugin/support/Facade.h"
#include "plugin/support/Operations.h"

#include <sys/wait.h>

using namespace W;
using namespace kinloom_test;

namespace {

/// True for a process that abort() ended; a sanitizer may turn the signal into an exit of its own.
bool wasAborted(int status)
{
    return (WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT) || (WIFEXITED(status) && WEXITSTATUS(status) != 0);
}

class PluginDeathTest : public testing::Test {
protected:
    // The worker's thread does not survive a fork, so each of these processes starts from the beginning.
    PluginDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    /// A plugin for which there was no memory left.
    static WKLOAI* withoutService()
    {
        const NoMemory noMemory;
        return static_cast<WKLOAI*>(createPlugin());
    }

    test::TempRoot root;
    TempFolder folder;
};

class EachOperationDeathTest : public PluginDeathTest, public testing::WithParamInterface<OperationCase> {};
class EachHandlerDeathTest : public PluginDeathTest, public testing::WithParamInterface<CommandCase> {};

/// Calls the handler of a command directly, past the dispatcher, which would not let a command without an owner through.
void callHandler(WKLOAI& oai, KLServiceCMD& command)
{
    const HttpResponse response;
    const auto call = [&](auto* typed, auto handler) { (oai.*handler)(SESSION_DONE, response, typed); };
    switch (command.getCMDKey()) {
    case CMD_LOGIN:
        return call(static_cast<KLLoginCMD*>(&command), &WKLOAI::cbLoginDone);
    case CMD_LOGOUT:
        return call(static_cast<KLLogoutCMD*>(&command), &WKLOAI::cbLogoutDone);
    case CMD_EXCEPTION_RESOLVE:
        return call(static_cast<KLExceptionResolveCMD*>(&command), &WKLOAI::cbExceptionResolveDone);
    case CMD_REGISTER:
        return call(static_cast<RegisterKLCMD*>(&command), &WKLOAI::cbRegisterDone);
    case CMD_AUTH:
        return call(static_cast<AuthKLCMD*>(&command), &WKLOAI::cbAuthDone);
    case CMD_GROUP_LIST_RETRIEVAL:
        return call(static_cast<GroupListRetrievalCMD*>(&command), &WKLOAI::cbGroupListRetrievalDone);
    case CMD_GROUP_CREATION:
        return call(static_cast<GroupCreationCMD*>(&command), &WKLOAI::cbGroupCreationDone);
    case CMD_GROUP_DELETION:
        return call(static_cast<GroupDeletionCMD*>(&command), &WKLOAI::cbGroupDeletionDone);
    case CMD_GROUP_FEEDS_RETRIEVAL:
        return call(static_cast<GroupFeedsRetrievalCMD*>(&command), &WKLOAI::cbGroupFeedsRetrievalDone);
    case CMD_GROUP_GALLERY_RETRIEVAL:
        return call(static_cast<GroupGalleryRetrievalCMD*>(&command), &WKLOAI::cbGroupGalleryRetrievalDone);
    case CMD_CONTENT_CREATION:
        return call(static_cast<ContentCreationCMD*>(&command), &WKLOAI::cbContentCreationDone);
    case CMD_CONTENT_DELETION:
        return call(static_cast<ContentDeletionCMD*>(&command), &WKLOAI::cbContentDeletionDone);
    case CMD_CONTENT_UPDATE:
        return call(static_cast<ContentUpdateCMD*>(&command), &WKLOAI::cbContentUpdateDone);
    case CMD_CONTENT_VIEW:
        return call(static_cast<ContentViewCMD*>(&command), &WKLOAI::cbContentViewDone);
    case CMD_DOWNLOAD:
        return call(static_cast<KLDownloadCMD*>(&command), &WKLOAI::cbDownloadDone);
    case CMD_COMMENTS_RETRIEVAL:
        return call(static_cast<CommentsRetrievalCMD*>(&command), &WKLOAI::cbCommentRetrievalDone);
    case CMD_COMMENT_CREATION:
        return call(static_cast<CommentCreationCMD*>(&command), &WKLOAI::cbCommentCreationDone);
    case CMD_COMMENT_DELETION:
        return call(static_cast<CommentDeletionCMD*>(&command), &WKLOAI::cbCommentDeletionDone);
    case CMD_COMMENT_UPDATE:
        return call(static_cast<CommentUpdateCMD*>(&command), &WKLOAI::cbCommentUpdateDone);
    case CMD_COMMENT_VIEW:
        return call(static_cast<CommentViewCMD*>(&command), &WKLOAI::cbCommentViewDone);
    case CMD_DIRECT_DOWNLOAD:
        return call(static_cast<KLDirectDownloadCMD*>(&command), &WKLOAI::cbKLDownloadDone);
    default:
        FAIL() << "no handler for key " << command.getCMDKey();
    }
}

} // namespace

TEST_F(PluginDeathTest, NullCommandEndsTheProcess)
{
    EXPECT_EXIT(cbFnRequestCompleted(SESSION_DONE, HttpResponse(), nullptr), wasAborted, "`pCmd != __null' failed");
    EXPECT_EXIT(cbFnRequestDropped(nullptr), wasAborted, "`pCmd != __null' failed");
}

TEST_F(PluginDeathTest, DownloaderWithoutItsArgumentEndsTheProcess)
{
    const WMediaResource resource;
    EXPECT_EXIT(fnContentDownloader(resource, onDownloaded, nullptr, nullptr), wasAborted, "`pDownloaderArg != __null' failed");
}

TEST_F(PluginDeathTest, MIMETypeWithoutAServiceEndsTheProcess)
{
    WContent content;
    WMediaResource resource;
    EXPECT_EXIT(withoutService()->retrieveContentMIMEType(content), wasAborted, "`m_pService != __null' failed");
    EXPECT_EXIT(withoutService()->retrieveThumbMIMEType(resource), wasAborted, "`m_pService != __null' failed");
}

TEST_F(PluginDeathTest, CancelAndProgressWithoutAServiceEndTheProcess)
{
    double done = 0;
    double total = 0;
    EXPECT_EXIT(withoutService()->cancel(kinloomProvider(), nullptr, nullptr), wasAborted, "`m_pService != __null' failed");
    EXPECT_EXIT(withoutService()->progressStatus(kinloomProvider(), done, total, nullptr), wasAborted,
                "`m_pService != __null' failed");
}

TEST_P(EachOperationDeathTest, EndsTheProcessWithoutAService)
{
    EXPECT_EXIT(GetParam().start(*withoutService(), nullptr, folder), wasAborted, "`m_pService != __null' failed");
}

TEST_P(EachHandlerDeathTest, EndsTheProcessForACommandWithoutAnOwner)
{
    WKLOAI oai;
    const std::unique_ptr<KLServiceCMD> command = GetParam().make(nullptr, nullptr, folder.file("none"));
    EXPECT_EXIT(callHandler(oai, *command), wasAborted, "`pOAI != __null' failed");
}

INSTANTIATE_TEST_SUITE_P(Every, EachOperationDeathTest, testing::ValuesIn(operations()),
                         [](const auto& test) { return STRING(test.param.name); });
INSTANTIATE_TEST_SUITE_P(Every, EachHandlerDeathTest, testing::ValuesIn(commands()),
                         [](const auto& test) { return STRING(test.param.name); });
