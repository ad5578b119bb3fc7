// SPDX-License-Identifier: MIT
// From a completed request to the handler of its command.
#include "plugin/support/Facade.h"
#include "plugin/support/Operations.h"

#include <algorithm>
#include <iterator>
#include <set>

using namespace W;
using namespace kinloom_test;

namespace {

/// unregisterKL's key: it sends nothing, so no command has it.
constexpr UINT32 NO_COMMAND = 4;

/// The commands of operations that refuse.
constexpr UINT32 NEVER_SENT[] = {
    CMD_LOGIN, CMD_LOGOUT, CMD_EXCEPTION_RESOLVE, CMD_GROUP_GALLERY_RETRIEVAL, CMD_CONTENT_UPDATE, CMD_COMMENT_UPDATE,
};

class Routing : public SignedInTest {};

class EachCommand : public SignedInTest, public testing::WithParamInterface<OperationCase> {
protected:
    std::unique_ptr<KLServiceCMD> make(WKLOAI* owner, Recorder* to)
    {
        return GetParam().make(owner, to, folder.write("file.jpg", "bytes"));
    }
    TempFolder folder;
};

HttpResponse replyWith(const STRING& payload)
{
    HttpResponse response;
    response.setHttpResponseCode(HTTP_OK);
    response.setPayload(payload);
    return response;
}

} // namespace

TEST_F(Routing, KnowsEveryKeyButTheOneThatSendsNothing)
{
    std::set<UINT32> keys;
    for (const OperationCase& command : commands())
        keys.insert(command.key);
    for (UINT32 key = 0; key < CMD_KEYS; ++key)
        EXPECT_EQ(keys.erase(key), key == NO_COMMAND ? 0u : 1u) << key;
    EXPECT_THAT(keys, testing::IsEmpty());
}

TEST_F(Routing, HasAnOperationForEveryCommandThatIsSent)
{
    std::multiset<UINT32> sent;
    for (UINT32 key = 0; key < CMD_KEYS; ++key)
        if (key != NO_COMMAND && std::count(std::begin(NEVER_SENT), std::end(NEVER_SENT), key) == 0)
            sent.insert(key);
    std::multiset<UINT32> started;
    for (const OperationCase& operation : operations())
        started.insert(operation.key);
    EXPECT_EQ(started, sent);
}

TEST_F(Routing, HasRowsThatAreWhole)
{
    std::set<STRING> names;
    std::set<STRING> exchanges;
    for (const OperationCase& row : commands()) {
        SCOPED_TRACE(row);
        EXPECT_TRUE(names.insert(row.command).second);
        EXPECT_TRUE(row.make && row.handle && row.goodReply && row.richReply);
        EXPECT_EQ(row.startWith != nullptr, row.name != nullptr);
        if (!row.name)
            continue;
        EXPECT_TRUE(names.insert(row.name).second);
        EXPECT_STRNE(row.exchange.family, "");
        EXPECT_STRNE(row.exchange.name, "");
        EXPECT_TRUE(exchanges.insert(STRING(row.exchange.family) + "/" + row.exchange.name).second);
        EXPECT_NE(row.richReply(), "");
    }
}

TEST_F(Routing, IgnoresKeysWithoutAHandler)
{
    // The record has a callback and an owner; only its key is wrong.
    for (const UINT32 key : {NO_COMMAND, UINT32{CMD_KEYS}, CMD_KEYS + 1u, 100u, 0x7FFFFFFFu, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
        AuthKLCMD command(provider());
        command.callback = Callback<>::call;
        command.userData = &recorder;
        command.owner = oai;
        command.setCMDKey(key);
        oai->addCMD(&command);
        cbFnRequestCompleted(SESSION_DONE, replyWith(documents::OK), &command);
        EXPECT_EQ(recorder.count(), 0u) << key;
        EXPECT_EQ(oai->countCMD(), 1u) << key;
        cbFnRequestDropped(&command);
        EXPECT_EQ(oai->countCMD(), 1u) << key;
        oai->cleanupCMD(&command);
    }
}

TEST_F(Routing, IgnoresACommandWhoseKeyWasNeverSet)
{
    AuthKLCMD command(provider());
    command.callback = Callback<>::call;
    command.userData = &recorder;
    command.owner = oai;
    cbFnRequestCompleted(SESSION_DONE, replyWith(documents::OK), &command);
    EXPECT_EQ(recorder.count(), 0u);
}

TEST_F(Routing, FreesARequestThatItIgnores)
{
    // Through the transport, which owns the command: nothing may be left of it.
    auto command = std::make_unique<AuthKLCMD>(provider());
    command->setCMDKey(NO_COMMAND);
    command->callback = Callback<>::call;
    command->userData = &recorder;
    command->owner = oai;
    ASSERT_EQ(service().getDataRequest("http://x.example/", {}, "", command.release()), 0);
    ASSERT_TRUE(fake::waitForCompletions(1));
    EXPECT_EQ(recorder.count(), 0u);
    EXPECT_EQ(fake::liveRequests(), 0u);
}

TEST_P(EachCommand, ReachesItsHandler)
{
    std::unique_ptr<KLServiceCMD> command = make(oai, &recorder);
    EXPECT_EQ(command->getCMDKey(), GetParam().key);
    oai->addCMD(command.get());
    cbFnRequestCompleted(SESSION_DONE, replyWith(GetParam().goodReply()), command.get());
    EXPECT_EQ(recorder.count(), GetParam().callsBack ? 1u : 0u);
    EXPECT_EQ(oai->countCMD(), 0u);
}

TEST_P(EachCommand, IsIgnoredWithoutAnOwner)
{
    std::unique_ptr<KLServiceCMD> command = make(nullptr, &recorder);
    oai->addCMD(command.get());
    cbFnRequestCompleted(SESSION_DONE, replyWith(GetParam().goodReply()), command.get());
    EXPECT_EQ(recorder.count(), 0u);
    EXPECT_EQ(oai->countCMD(), 1u);
    cbFnRequestDropped(command.get());
    EXPECT_EQ(oai->countCMD(), 1u);
    oai->cleanupCMD(command.get());
}

TEST_P(EachCommand, GoesToTheFacadeThatOwnsIt)
{
    auto* const other = static_cast<WKLOAI*>(createPlugin());
    std::unique_ptr<KLServiceCMD> command = make(other, &recorder);
    oai->addCMD(command.get());
    other->addCMD(command.get());
    cbFnRequestCompleted(SESSION_DONE, replyWith(GetParam().goodReply()), command.get());
    EXPECT_EQ(other->countCMD(), 0u);
    EXPECT_EQ(oai->countCMD(), 1u);
    oai->cleanupCMD(command.get());
    destroyPlugin(other);
}

TEST_P(EachCommand, LeavesTheListWhenItIsDropped)
{
    std::unique_ptr<KLServiceCMD> command = make(oai, &recorder);
    oai->addCMD(command.get());
    cbFnRequestDropped(command.get());
    EXPECT_EQ(oai->countCMD(), 0u);
    EXPECT_EQ(recorder.count(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Every, EachCommand, testing::ValuesIn(commands()),
                         [](const auto& test) { return STRING(test.param.command); });
