// SPDX-License-Identifier: MIT
// How many statements the database runs for what is asked most often. Each is a way to another computer where the database is not
// on this one, so none is added unnoticed.
#include "ServiceFixture.h"
#include "TestPictures.h"
#include "support/Wait.h"

#include <map>

namespace {

using namespace kinloomd_test;

class Statements : public ServiceFixture {
protected:
    void SetUp() override
    {
        start();
        m_group = anna().createGroup("Family");
        for (int i = 0; i < 3; ++i)
            m_photos.push_back(anna().uploadPhoto(m_group, numberedPicture(i)));
        m_asked["upload.file"] = m_photos.size();
    }

    static TestPicture numberedPicture(int number)
    {
        TestPicture picture = smallPicture();
        picture.bytes += std::to_string(number);
        return picture;
    }

    /// Does something that is one request of an operation. \return how many statements that took.
    template <typename Action> unsigned long statementsOf(const std::string& operation, const Action& action)
    {
        const std::string statements = R"(kinloomd_database_statements_total{operation=")" + operation + R"("})";
        const std::string requests = "kinloomd_requests_total{operation=\"" + operation + "\",status=\"200\"}";
        // A request is counted when it has been answered.
        const auto allAreCounted = [&] { return metric(port(), requests) == m_asked[operation]; };
        EXPECT_TRUE(test::comesTrue(allAreCounted));
        const unsigned long before = metric(port(), statements);
        EXPECT_EQ(action().status, 200);
        ++m_asked[operation];
        EXPECT_TRUE(test::comesTrue(allAreCounted));
        return metric(port(), statements) - before;
    }

    unsigned long statementsOfFeed(const std::string& query)
    {
        return statementsOf("feeds", [&] { return anna().get(ServiceClient::path(m_group + "/feeds?" + query)); });
    }

    std::string m_group;
    std::vector<std::string> m_photos;
    std::map<std::string, unsigned long> m_asked; // how often, by operation
};

TEST_F(Statements, OfAPageOfTheFeedAreThree)
{
    for (const char* base : {"created_time", "upload_time", "content_id"}) {
        const std::string order = std::string("&search_count=100&search_base=") + base;
        EXPECT_EQ(statementsOfFeed("search_before=latest" + order), 3U) << base;
        EXPECT_EQ(statementsOfFeed("search_before=" + m_photos[2] + order), 3U) << base;
        EXPECT_EQ(statementsOfFeed("search_after=" + m_photos[0] + order), 3U) << base;
    }
}

TEST_F(Statements, OfAnUploadAreFewWhereOneCanWriteToSeveralTables)
{
    const TestPicture picture = numberedPicture(100);
    const HttpReply slot = anna().reserve(m_group, "type=photo&file_size=" + std::to_string(picture.bytes.size()));
    const auto send = [&] { return anna().sendFile(field(slot, "uploadUrl"), picture); };
    // Who sends, and to which slot; group and person are locked, and all is written.
    EXPECT_EQ(statementsOf("upload.file", send), onPostgresql() ? 4U : 11U);
    EXPECT_EQ(statementsOf("upload.file", send), 4U) << "who sends, to which slot, and which content it is already";
}

TEST_F(Statements, OfACommentAreFewWhereOneCanWriteToSeveralTables)
{
    // Who signs, and on which connection, this service knows by itself; the group is locked, and all is written.
    EXPECT_EQ(statementsOf("comment", [&] { return anna().comment(m_photos[0], "lovely"); }), onPostgresql() ? 3U : 9U);
}

} // namespace
