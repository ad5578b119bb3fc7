// SPDX-License-Identifier: MIT
#include "ServiceFixture.h"
#include "TestPictures.h"

#include <fstream>
#include <set>

namespace {

using namespace kinloomd_test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Ids = std::vector<std::string>;

class Feed : public ServiceFixture {
protected:
    void SetUp() override { start(); }

    HttpReply page(const std::string& query) { return anna().get(ServiceClient::path(m_group + "/feeds?&" + query)); }
    Ids ids(const std::string& query) { return Xml(page(query).body).texts("//contentId|//@contentId"); }
    std::string upload(const std::string& taken = {})
    {
        return anna().uploadPhoto(m_group, anotherPicture(makePicture(16, 12, ".jpg", 1, taken)));
    }
    std::string newGroup() { return anna().createGroup("Family"); }

    std::string m_group;
};

TEST_F(Feed, TellsEverythingAboutAContent)
{
    m_group = newGroup();
    const TestPicture picture = makePicture(60, 40, ".jpg", 6, "2010:05:05 07:04:09");
    const std::string id = anna().uploadPhoto(m_group, picture, "By the <sea> & sun");
    const Xml xml(
        page("search_before=latest&search_count=30&search_base=created_time&option_item=all&option_include=creator").body);
    const std::string content = "/rsp/data/content";
    EXPECT_EQ(xml.text(content + "/contentId"), id);
    EXPECT_EQ(xml.text(content + "/contentType"), "photo");
    EXPECT_EQ(xml.text(content + "/contentDesc"), "By the <sea> & sun");
    EXPECT_EQ(xml.text(content + "/commentCount"), "0");
    EXPECT_THAT(xml.text(content + "/contentRegisterTime"), ::testing::MatchesRegex("20..-..-..T..:..:.*Z"));
    EXPECT_EQ(xml.text(content + "/contentCreator/userName"), "Anna");
    const std::string detail = content + "/contentDetail";
    EXPECT_EQ(xml.text(detail + "/size"), std::to_string(picture.bytes.size()));
    EXPECT_EQ(xml.text(detail + "/format"), "jpeg");
    EXPECT_EQ(xml.text(detail + "/width"), "40") << "as it is looked at";
    EXPECT_EQ(xml.text(detail + "/height"), "60");
    EXPECT_EQ(xml.text(detail + "/createTime"), "2010-05-05T07:04:09Z");
    EXPECT_EQ(xml.count(detail + "/thumbnail/*"), 3U);
    EXPECT_EQ(xml.text("/rsp/result/following-sibling::*[1]/self::data/content/contentId"), id) << "the outcome stands first";
}

TEST_F(Feed, NamesTheCreatorOnlyWhenAsked)
{
    m_group = newGroup();
    upload();
    EXPECT_EQ(Xml(page("search_before=latest&option_include=none").body).count("//contentCreator"), 0U);
    EXPECT_EQ(Xml(page("search_before=latest&option_include=creator,member,usage").body).count("//contentCreator"), 1U);
}

TEST_F(Feed, PagesByContentInBothDirections)
{
    m_group = newGroup();
    const std::string first = upload();
    const std::string second = upload();
    const std::string third = upload();
    for (const char* base : {"created_time", "upload_time", "content_id"}) {
        const std::string rest = std::string("&search_count=5&search_base=") + base;
        EXPECT_THAT(ids("search_before=latest" + rest), ElementsAre(third, second, first)) << base;
        EXPECT_THAT(ids("search_before=0" + rest), ElementsAre(third, second, first)) << base;
        EXPECT_THAT(ids("search_before=" + third + rest), ElementsAre(second, first)) << base;
        EXPECT_THAT(ids("search_after=earliest" + rest), ElementsAre(first, second, third)) << base;
        EXPECT_THAT(ids("search_after=0" + rest), ElementsAre(first, second, third)) << base;
        EXPECT_THAT(ids("search_after=" + first + rest), ElementsAre(second, third)) << base;
        EXPECT_THAT(ids("search_after=" + third + rest), IsEmpty()) << base;
    }
}

TEST_F(Feed, PagesByTime)
{
    m_group = newGroup();
    const std::string old = upload("2001:01:01 00:00:00");
    const std::string recent = upload("2010:05:05 07:04:09");
    EXPECT_THAT(ids("search_before=2005-01-01T00:00:00Z"), ElementsAre(old));
    EXPECT_THAT(ids("search_after=2005-01-01T00:00:00Z"), ElementsAre(recent));
    EXPECT_THAT(ids("search_before=9999-12-31T23:59:59Z"), ElementsAre(recent, old));
    EXPECT_THAT(ids("search_before=2010-05-05T07:04:09Z"), ElementsAre(old)) << "of that very time is not before it";
    EXPECT_THAT(ids("search_after=2010-05-05T07:04:09Z"), IsEmpty());
    EXPECT_THAT(ids("search_after=2010-05-05T09:04:08+02:00"), ElementsAre(recent)) << "a raw plus sign";
    EXPECT_THAT(ids("search_after=2001-01-01&search_base=upload_time"), ElementsAre(old, recent));
    const std::string uploaded = Xml(page("search_before=latest&search_base=upload_time").body).text("//contentRegisterTime");
    EXPECT_THAT(ids("search_before=" + uploaded + "&search_base=upload_time"), ElementsAre(old)) << "times are exact";
}

TEST_F(Feed, ShowsOneMoreThanAskedForWhenThereAreMore)
{
    m_group = newGroup();
    for (int i = 0; i < 3; ++i)
        upload();
    EXPECT_EQ(ids("search_before=latest&search_count=1").size(), 2U);
    EXPECT_EQ(ids("search_before=latest&search_count=2").size(), 3U);
    EXPECT_EQ(ids("search_before=latest&search_count=3").size(), 3U);
}

TEST_F(Feed, FiltersByKind)
{
    m_group = newGroup();
    const std::string photo = upload();
    EXPECT_THAT(ids("search_before=latest&option_item=photo"), ElementsAre(photo));
    EXPECT_THAT(ids("search_before=latest&option_item=all"), ElementsAre(photo));
    EXPECT_THAT(ids("search_before=latest&option_item=video"), IsEmpty());
    EXPECT_THAT(ids("search_before=latest&option_item=music"), IsEmpty());
}

TEST_F(Feed, RefusesWhatItCannotUnderstand)
{
    m_group = newGroup();
    const std::string elsewhere = anna().uploadPhoto(newGroup(), smallPicture());
    for (const std::string& query :
         {std::string("search_count=3"), std::string("search_before=&search_after="), std::string("search_before=1&search_after=1"),
          std::string("search_before=yesterday"), std::string("search_before=earliest"), std::string("search_after=latest"),
          std::string("search_before=999999"), "search_before=" + elsewhere, std::string("search_before=latest&search_count=x"),
          std::string("search_before=latest&search_count=20001"), std::string("search_before=latest&search_base=size"),
          std::string("search_before=latest&option_item=text"), std::string("search_before=latest&option_include=x"),
          std::string("search_before=2010-05-05T00:00:00Z&search_base=content_id")})
        EXPECT_EQ(page(query).status, 400) << query;
}

TEST_F(Feed, GoesOnFromAContentThatWasDeleted)
{
    m_group = newGroup();
    const std::string first = upload();
    const std::string second = upload();
    const std::string third = upload();
    EXPECT_EQ(anna().post(ServiceClient::path(second + "/delete"), "").status, 200);
    EXPECT_THAT(ids("search_before=" + second), ElementsAre(first));
    EXPECT_THAT(ids("search_after=" + second), ElementsAre(third));
}

TEST_F(Feed, OfAThousandContentsIsSeenExactlyOnceInBothDirections)
{
    m_group = newGroup();
    const std::string file = m_folder / "photo.jpg";
    std::ofstream(file, std::ios::binary) << smallPicture().bytes;
    const CommandResult filled =
        command({"content", "add", "--group", m_group, "--person", "Anna", "--copies", "1000", "--desc", "copy", file});
    ASSERT_EQ(filled.exitCode, 0) << filled.err;
    for (const std::string& base : {std::string("created_time"), std::string("upload_time"), std::string("content_id")}) {
        for (const auto& [parameter, start] : {std::pair{"search_before=", "latest"}, std::pair{"search_after=", "earliest"}}) {
            std::set<std::string> seen;
            std::size_t records = 0;
            std::string marker = start;
            for (bool more = true; more;) {
                Ids found = ids(parameter + marker + "&search_count=70&search_base=" + base);
                more = found.size() > 70;
                found.resize(std::min<std::size_t>(found.size(), 70));
                records += found.size();
                seen.insert(found.begin(), found.end());
                marker = found.empty() ? marker : found.back();
            }
            EXPECT_EQ(records, 1000U) << base << " " << parameter;
            EXPECT_EQ(seen.size(), 1000U) << base << " " << parameter;
        }
    }
    EXPECT_EQ(Xml(anna().get(ServiceClient::path("me/group.list?option_include=usage")).body).text("//totalContentCount"), "1000");
    expectConsistent();
}

} // namespace
