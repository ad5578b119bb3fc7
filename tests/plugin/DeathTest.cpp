// SPDX-License-Identifier: MIT
// Programming errors end the process, and say which.
#include "plugin/support/Allocation.h"
#include "plugin/support/Operations.h"

#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>

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
class EachHandlerDeathTest : public PluginDeathTest, public testing::WithParamInterface<OperationCase> {};

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
    // The dispatcher would not let such a command through.
    WKLOAI oai;
    const std::unique_ptr<KLServiceCMD> command = GetParam().make(nullptr, nullptr, folder.file("none"));
    EXPECT_EXIT(GetParam().handle(oai, SESSION_DONE, HttpResponse(), *command), wasAborted, "`pOAI != __null' failed");
}

INSTANTIATE_TEST_SUITE_P(Every, EachOperationDeathTest, testing::ValuesIn(operations()),
                         [](const auto& test) { return STRING(test.param.name); });
INSTANTIATE_TEST_SUITE_P(Every, EachHandlerDeathTest, testing::ValuesIn(commands()),
                         [](const auto& test) { return STRING(test.param.command); });
