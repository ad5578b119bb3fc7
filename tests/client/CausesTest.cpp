// SPDX-License-Identifier: MIT
// From what the host tells of an exchange to why a call failed.
#include "core/Causes.h"
#include "core/ErrorDocument.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace kinloom;
using testing::AnyOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

constexpr const char* ADDRESS = "http://there:1";

CallFailure plain(W::WSTATUS status = W::WSTATUS_FAILED) { return {FailureKind::FAILED, status, "cannot do it", ADDRESS, ""}; }

W::HttpExchange answer(W::UINT32 code, const std::string& body = "")
{
    W::HttpExchange exchange;
    exchange.code = code;
    exchange.body = body;
    return exchange;
}

std::string document(const std::string& code, const std::string& sentence)
{
    return "<?xml version=\"1.0\"?><rsp><result><code>" + code + "</code><desc>" + sentence +
           "</desc><stat>fail</stat></result></rsp>";
}

CallFailure explained(const Operation& operation, const W::HttpExchange& exchange)
{
    CallFailure failure = plain();
    explain(failure, operation, exchange);
    return failure;
}

struct CauseCase {
    Operation operation;
    W::UINT32 code;
    const char* serviceCode;
    FailureReason reason;
    const char* says;
};

const CauseCase CASES[] = {
    {ListGroups(), 401, "206", FailureReason::DEVICE_REFUSED, "does not accept this device"},
    {ListGroups(), 403, "206", FailureReason::DEVICE_REFUSED, "does not accept this device"},
    {ListGroups(), 401, "", FailureReason::DEVICE_REFUSED, "does not accept this device"},
    {SignIn(), 401, "206", FailureReason::DEVICE_REFUSED, "does not accept this device"},
    {SignIn(), 403, "206", FailureReason::DEVICE_REFUSED, "does not accept this device"},
    {SignIn(), 401, "", FailureReason::UNEXPECTED_ANSWER, "HTTP 401"},
    {SignIn(), 403, "", FailureReason::UNEXPECTED_ANSWER, "HTTP 403"},
    {SignIn(), 404, "", FailureReason::UNEXPECTED_ANSWER, "HTTP 404"},
    {RegisterDevice(), 400, "", FailureReason::UNEXPECTED_ANSWER, "HTTP 400"},
    {SignIn(), 500, "500", FailureReason::SERVICE_FAILED, "has failed"},
    {RegisterDevice(), 503, "501", FailureReason::UNAVAILABLE, "cannot do it right now"},
    {DeleteGroup{"12"}, 403, "204", FailureReason::FORBIDDEN, "the group '12' is not yours to touch"},
    {DeleteGroup{"12"}, 404, "203", FailureReason::NOT_FOUND, "there is no group '12'"},
    {ViewContent{"999"}, 404, "203", FailureReason::NOT_FOUND, "there is no content '999'"},
    {DeleteContent{"999"}, 410, "", FailureReason::NOT_FOUND, "there is no content '999'"},
    {ViewComment{"9"}, 404, "203", FailureReason::NOT_FOUND, "there is no comment '9'"},
    {CreateComment{"9", "x"}, 404, "203", FailureReason::NOT_FOUND, "there is no content '9'"},
    {DownloadFile{"u", "d", "f", ""}, 404, "203", FailureReason::NOT_FOUND, "no file at that address"},
    {ReadFeed{"1", "soon", ""}, 400, "101", FailureReason::BAD_MARKER, "marker"},
    {CreateGroup{"x", ""}, 403, "204", FailureReason::NOT_ALLOWED, "the service does not allow it"},
    {CreateGroup{"x", ""}, 400, "101", FailureReason::BAD_VALUE, "cannot use what was asked"},
    {UploadPhoto{"2", "a", "image/tiff", ""}, 400, "103", FailureReason::BAD_FILE, "does not take this file"},
    {UploadPhoto{"2", "a", "image/jpeg", ""}, 400, "104", FailureReason::BAD_FILE, "does not take this file"},
    {UploadPhoto{"2", "a", "image/jpeg", ""}, 403, "204", FailureReason::NOT_ALLOWED, "the service does not allow it"},
    {UploadPhoto{"2", "a", "image/jpeg", ""}, 404, "203", FailureReason::NO_PLACE, "Is '2' a group of yours?"},
    {UploadPhoto{"2", "a", "image/jpeg", ""}, 413, "108", FailureReason::TOO_LARGE, "larger than the service takes"},
    {UploadPhoto{"2", "a", "image/jpeg", ""}, 500, "500", FailureReason::SERVICE_FAILED, "has failed"},
    {UploadPhoto{"2", "a", "image/jpeg", ""}, 503, "501", FailureReason::UNAVAILABLE, "cannot do it right now"},
    {UploadPhoto{"2", "a", "image/jpeg", ""}, 429, "208", FailureReason::TOO_MANY, "too many requests"},
    {ListGroups(), 409, "205", FailureReason::CONFLICT, "done already"},
    {ListGroups(), 429, "208", FailureReason::TOO_MANY, "too many requests"},
    {ListGroups(), 502, "", FailureReason::GATEWAY, "what stands before the service"},
    {ListGroups(), 504, "", FailureReason::GATEWAY, "what stands before the service"},
    {ListGroups(), 507, "", FailureReason::UNAVAILABLE, "cannot do it right now"},
    {ListGroups(), 599, "", FailureReason::SERVICE_FAILED, "has failed"},
    {ListGroups(), 302, "", FailureReason::UNEXPECTED_ANSWER, "HTTP 302"},
    {ListGroups(), 418, "", FailureReason::UNEXPECTED_ANSWER, "HTTP 418"},
};

TEST(Causes, EveryAnswerHasItsCauseAndWords)
{
    for (const CauseCase& entry : CASES) {
        const std::string body = *entry.serviceCode != '\0' ? document(entry.serviceCode, "Words of the service.") : "";
        const CallFailure failure = explained(entry.operation, answer(entry.code, body));
        EXPECT_EQ(failure.reason, entry.reason) << entry.code << " " << entry.says;
        EXPECT_EQ(failure.httpCode, entry.code);
        EXPECT_THAT(failure.text(), HasSubstr(entry.says));
        EXPECT_THAT(failure.text(), HasSubstr("HTTP " + std::to_string(entry.code)));
        EXPECT_THAT(failure.text(), Not(AnyOf(HasSubstr("{"), HasSubstr("?."))));
        EXPECT_EQ(failure.detail.find("It says: \"Words of the service.\"") != std::string::npos, !body.empty());
    }
}

TEST(Causes, AConnectionThatCannotBeMadeSaysWhy)
{
    W::HttpExchange exchange;
    exchange.status = W::SESSION_PROTOCOL_ERROR;
    exchange.cause = "its certificate is not trusted";
    const CallFailure failure = explained(ListGroups(), exchange);
    EXPECT_EQ(failure.reason, FailureReason::NO_CONNECTION);
    EXPECT_EQ(failure.detail, "there is no way to the service at http://there:1: its certificate is not trusted");
}

TEST(Causes, AnAddressThatLeavesTlsIsAReasonOfItsOwn)
{
    W::HttpExchange exchange;
    exchange.status = W::SESSION_PROTOCOL_ERROR;
    exchange.explained = true;
    exchange.cause = "the service leads from https to http://there, which is not encrypted: nothing goes there";
    for (const bool told : {false, true}) {
        CallFailure failure = plain();
        if (told)
            tell(failure, exchange);
        explain(failure, UploadPhoto{"2", "a", "image/jpeg", ""}, exchange);
        EXPECT_EQ(failure.reason, FailureReason::LEAVES_TLS);
        EXPECT_EQ(failure.detail, exchange.cause);
    }
}

TEST(Causes, WithoutAnAddressTheSentenceIsWholeAllTheSame)
{
    CallFailure failure = plain();
    failure.address.clear();
    explain(failure, ListGroups(), answer(500));
    EXPECT_EQ(failure.detail, "the service has failed");
}

TEST(Causes, WhatTheExchangeDoesNotTellStaysAsItIs)
{
    for (const W::HttpExchange& exchange : {W::HttpExchange(), answer(200), answer(206)})
        EXPECT_THAT(explained(ListGroups(), exchange).detail, IsEmpty());
    W::HttpExchange cut;
    cut.status = W::SESSION_CUT_OFF;
    cut.cause = "Recv failure: Connection reset by peer";
    EXPECT_EQ(explained(ListGroups(), cut).reason, FailureReason::UNKNOWN);
}

TEST(Causes, FailuresOfTheProgramsOwnAreNotExplainedAway)
{
    for (const FailureKind kind : {FailureKind::CANCELLED, FailureKind::INTERRUPTED, FailureKind::INVALID, FailureKind::DROPPED}) {
        CallFailure failure{kind, W::WSTATUS_CANCELLED, "cannot do it", ADDRESS, "cancelled"};
        explain(failure, ListGroups(), answer(503));
        EXPECT_EQ(failure.detail, "cancelled");
        EXPECT_EQ(failure.httpCode, 0U);
    }
}

TEST(Causes, TheWaitThatTheServiceAsksForIsKept)
{
    W::HttpExchange exchange = answer(429);
    exchange.retryAfter = 12;
    EXPECT_EQ(explained(ListGroups(), exchange).retryAfter, 12);
}

TEST(Causes, AChangeMayHaveTakenEffectUnlessItWasNotSentOrRefused)
{
    const auto broken = [](W::SESSION_STATUS status, W::UINT32 code = 0) {
        W::HttpExchange exchange = answer(code);
        exchange.status = status;
        return exchange;
    };
    for (const FailureKind kind : {FailureKind::INTERRUPTED, FailureKind::CANCELLED, FailureKind::TIMED_OUT, FailureKind::DROPPED})
        EXPECT_TRUE(mayHaveTakenEffect({kind, W::WSTATUS_CANCELLED, "", "", ""}, {})) << nameOf(kind);
    for (const FailureKind kind : {FailureKind::REFUSED, FailureKind::INVALID})
        EXPECT_FALSE(mayHaveTakenEffect({kind, W::WSTATUS_INVALID_ARGUMENT, "", "", ""}, {})) << nameOf(kind);
    for (const W::HttpExchange& exchange :
         {broken(W::SESSION_CUT_OFF), broken(W::SESSION_CUT_OFF, 200), broken(W::SESSION_PROTOCOL_ERROR),
          broken(W::SESSION_TIMED_OUT), answer(200), answer(502), answer(504)})
        EXPECT_TRUE(mayHaveTakenEffect(plain(), exchange)) << exchange.status << " " << exchange.code;
    for (const W::HttpExchange& exchange :
         {broken(W::SESSION_UNREACHABLE), broken(W::SESSION_NOT_CREATED), broken(W::SESSION_FILE_ERROR), answer(0), answer(302),
          answer(400), answer(403), answer(404), answer(429), answer(500), answer(503)})
        EXPECT_FALSE(mayHaveTakenEffect(plain(), exchange)) << exchange.status << " " << exchange.code;
}

TEST(Causes, PlaceholdersThatAPersonTypesAreNoPlaceholders)
{
    EXPECT_THAT(explained(DeleteGroup{"{address}{code}"}, answer(404)).detail, HasSubstr("group '{address}{code}'"));
}

TEST(ErrorDocument, ReadsElementsAndAttributes)
{
    for (const char* body :
         {"<rsp><result><code>104</code><desc>No &quot;picture&quot; &amp; so on.</desc><stat>fail</stat></result></rsp>",
          R"(<rsp><result code="104" desc="No &quot;picture&quot; &amp; so on."><stat>fail</stat></result></rsp>)",
          "<rsp><result code='104' desc='No \"picture\" &amp; so on.'/></rsp>"}) {
        const ErrorDocument document = ErrorDocument::read(body);
        EXPECT_EQ(document.code, "104") << body;
        EXPECT_EQ(document.sentence, "No \"picture\" & so on.") << body;
    }
}

TEST(ErrorDocument, IsEmptyForWhatIsNone)
{
    for (const char* body : {"", "<html><body><code>x</code></body></html>", "<rsp>", "<rsp><desc>cut off", "<rsp desc=\"cut off"})
        EXPECT_THAT(ErrorDocument::read(body).sentence, IsEmpty()) << body;
}

TEST(ErrorDocument, KeepsASentenceShortAndItsCharactersWhole)
{
    std::string text;
    for (int i = 0; i < 500; ++i)
        text += "ü";
    const std::string sentence = ErrorDocument::read(document("1", text)).sentence;
    EXPECT_EQ(sentence.size(), 300U);
    EXPECT_EQ(ErrorDocument::read(document("1", "x" + text)).sentence.size(), 299U);
}

} // namespace
