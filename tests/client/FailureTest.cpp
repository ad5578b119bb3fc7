// SPDX-License-Identifier: MIT
#include "kinloom/Failure.h"
#include "core/ErrorDocument.h"

#include <gmock/gmock.h>

using namespace kinloom;
using testing::HasSubstr;

namespace {

TEST(CallFailure, NamesAttemptMeaningAddressAndStatus)
{
    const CallFailure failure{FailureKind::FAILED, W::WSTATUS_UNREACHABLE, "cannot list the groups", "http://there:1", ""};
    EXPECT_EQ(failure.text(),
              "cannot list the groups: the service at http://there:1 cannot be reached (WSTATUS_UNREACHABLE, -100)");
}

TEST(CallFailure, TellsItsDetailInPlaceOfTheStatus)
{
    const CallFailure failure{FailureKind::LANE_DIED, W::WSTATUS_OK, "cannot comment", "", "the helper has died"};
    EXPECT_EQ(failure.text(), "cannot comment: the helper has died");
}

TEST(CallFailure, IsOneLineWhateverItHolds)
{
    const CallFailure failure{FailureKind::INVALID, W::WSTATUS_OK, "", "", "'a\n\x1b[2J' is none"};
    EXPECT_EQ(failure.text(), "'a??[2J' is none");
}

TEST(CallFailure, EveryKindHasANameOfItsOwn)
{
    std::set<std::string> names;
    for (int kind = 0; kind <= static_cast<int>(FailureKind::NOT_A_PLUGIN); ++kind)
        names.insert(nameOf(static_cast<FailureKind>(kind)));
    EXPECT_EQ(names.size(), static_cast<std::size_t>(FailureKind::NOT_A_PLUGIN) + 1);
    EXPECT_EQ(names.count("unknown"), 0U);
}

TEST(CallFailure, FindsTheServicesOwnWords)
{
    const auto descriptionIn = [](const std::string& document) { return ErrorDocument::read(document).sentence; };
    EXPECT_EQ(
        descriptionIn("<rsp><result><code>1</code><desc>Too many &amp; too &lt;large&gt; &quot;x&quot;</desc></result></rsp>"),
        "Too many & too <large> \"x\"");
    EXPECT_EQ(descriptionIn(R"(<rsp><result code="1" desc="It&apos;s full"/></rsp>)"), "It's full");
    EXPECT_EQ(descriptionIn("<desc>" + std::string(1000, 'x') + "</desc>").size(), 300U);
    for (const char* none : {"", "<html>502 Bad Gateway</html>", "<desc>cut", "<desc></desc>", " desc=\"cut"})
        EXPECT_EQ(descriptionIn(none), "") << none;
}

TEST(Outcome, ThrowsItsFailureInPlaceOfAValue)
{
    const Outcome<int> good(7);
    EXPECT_TRUE(good.ok());
    EXPECT_EQ(good.value(), 7);
    const Outcome<int> bad(CallFailure{FailureKind::DROPPED, W::WSTATUS_CANCELLED, "cannot do it", "", "gone"});
    EXPECT_FALSE(bad);
    try {
        bad.value();
        FAIL() << "there is no value";
    } catch (const CallError& error) {
        EXPECT_EQ(error.failure().kind, FailureKind::DROPPED);
        EXPECT_THAT(error.what(), HasSubstr("cannot do it: gone"));
    }
}

} // namespace
