// SPDX-License-Identifier: MIT
// What one person may have: places for uploads, groups, bytes.
#include "ServiceFixture.h"
#include "TestPictures.h"

#include "support/Wait.h"

#include "store/Database.h"

#include <filesystem>
#include <sys/socket.h>

namespace {

using namespace kinloomd_test;
using ::testing::HasSubstr;

class Allowance : public ServiceFixture {
protected:
    static void expectRefusal(const HttpReply& reply, int status, const std::string& code, const std::string& limit)
    {
        EXPECT_EQ(reply.status, status) << reply.body;
        const Xml xml(reply.body);
        EXPECT_EQ(xml.text("/rsp/result/stat"), "fail");
        EXPECT_EQ(xml.text("/rsp/result/err/code"), code);
        EXPECT_THAT(xml.text("/rsp/result/err/desc"), HasSubstr(limit)) << "the sentence names the limit";
    }
    static std::string announcing(std::size_t size) { return "type=photo&file_size=" + std::to_string(size); }
    static std::size_t size() { return smallPicture().bytes.size(); }

    /// A picture of that size that is not the same as the one before: what comes again is not counted again.
    static TestPicture newPicture()
    {
        static unsigned count = 0;
        TestPicture picture = smallPicture();
        picture.bytes.at(picture.bytes.size() - 10) = static_cast<char>(++count);
        return picture;
    }

    /// Makes a request of Anna's a thousand times. \return the reply to one more.
    HttpReply afterAThousand(const std::string& path, const std::string& form)
    {
        const std::string bytes =
            requestBytes("POST", ServiceClient::path(path), form, {{"Authorization", authorizationOf(m_anna)}});
        Wire wire(port());
        for (int i = 0; i < 1000; ++i) {
            wire.send(bytes);
            EXPECT_EQ(wire.receive().status, 200) << i;
        }
        wire.send(bytes);
        return wire.receive();
    }

    std::string slot(ServiceClient client, const std::string& group, const std::string& form = "type=photo&")
    {
        return field(client.reserve(group, form), "uploadUrl");
    }
    std::size_t files()
    {
        std::size_t count = 0;
        for (const char* folder : {"/media", "/tmp"}) {
            for (const auto& entry : std::filesystem::recursive_directory_iterator(m_data + folder))
                count += entry.is_regular_file() ? 1 : 0;
        }
        return count;
    }
    void deleteContent(ServiceClient client, const std::string& content)
    {
        EXPECT_EQ(client.post(ServiceClient::path(content + "/delete"), "").status, 200);
    }
    void emptyTrash() { EXPECT_EQ(command({"trash", "empty", "--yes"}).exitCode, 0); }
};

TEST_F(Allowance, OfPlacesForUploadsIsBounded)
{
    startWith({"--max-slots", "3"});
    const std::string group = anna().createGroup("Family");
    addMember(group, "Ben");
    const std::string first = slot(anna(), group);
    slot(anna(), group);
    slot(anna(), group);
    const HttpReply surplus = anna().reserve(group, "type=photo&");
    expectRefusal(surplus, 429, "208", "3 places");
    EXPECT_EQ(surplus.header("retry-after"), "") << "it does not pass by waiting a moment";
    EXPECT_EQ(ben().reserve(group, "type=photo&").status, 200) << "everyone has places of their own";
    EXPECT_EQ(anna().sendFile(first, smallPicture()).status, 200);
    EXPECT_EQ(anna().reserve(group, "type=photo&").status, 200) << "a place that is filled is free";
    EXPECT_EQ(anna().reserve(group, "type=photo&").status, 429);
}

TEST_F(Allowance, OfPlacesForUploadsIsAThousandUnlessToldOtherwise)
{
    start();
    const std::string group = anna().createGroup("Family");
    expectRefusal(afterAThousand(group + "/upload", "type=photo&"), 429, "208", "1000 places");
}

TEST_F(Allowance, OfPlacesForUploadsComesBackWhenTheyAreForgotten)
{
    startWith({"--max-slots", "1", "--slot-lifetime", "1"});
    const std::string group = anna().createGroup("Family");
    slot(anna(), group);
    HttpReply reply;
    do {
        reply = anna().reserve(group, "type=photo&");
    } while (reply.status == 429);
    EXPECT_EQ(reply.status, 200);
}

TEST_F(Allowance, OfGroupsIsBounded)
{
    startWith({"--max-groups", "2"});
    const std::string first = anna().createGroup("one");
    anna().createGroup("two");
    expectRefusal(anna().post(ServiceClient::path("me/group.create"), "group_name=three"), 403, "204", "2 groups");
    EXPECT_EQ(anna().groupNames("").size(), 2U);
    addMember(first, "Ben");
    EXPECT_NE(ben().createGroup("his"), "");
    EXPECT_NE(ben().createGroup("his too"), "") << "groups of others do not count";
    EXPECT_EQ(anna().post(ServiceClient::path("me/group.delete"), "groupID=" + first).status, 200);
    EXPECT_NE(anna().createGroup("three"), "");
}

TEST_F(Allowance, OfGroupsIsAThousandUnlessToldOtherwise)
{
    start();
    expectRefusal(afterAThousand("me/group.create", "group_name=x"), 403, "204", "1000 groups");
}

TEST_F(Allowance, OfBytesIsCheckedAgainstWhatIsAnnounced)
{
    const std::string quota = std::to_string(2 * size() + size() / 2);
    startWith({"--quota", quota});
    const std::string group = anna().createGroup("Family");
    addMember(group, "Ben");
    const std::string photo = anna().uploadPhoto(group, newPicture());
    anna().uploadPhoto(group, newPicture());
    expectRefusal(anna().reserve(group, announcing(size())), 403, "204", quota + " bytes");
    EXPECT_EQ(anna().reserve(group, announcing(size() / 2)).status, 200) << "it would just fit";
    EXPECT_EQ(anna().reserve(group, announcing(size() / 2 + 1)).status, 403);
    EXPECT_EQ(ben().upload(group, newPicture()).status, 200) << "everyone has room of their own";
    deleteContent(anna(), photo);
    expectRefusal(anna().reserve(group, announcing(size())), 403, "204", "30 days");
    emptyTrash();
    EXPECT_EQ(anna().upload(group, newPicture()).status, 200);
    expectConsistent();
}

TEST_F(Allowance, OfBytesIsCheckedAgainstWhatComes)
{
    startWith({"--quota", std::to_string(size() + 1)});
    const std::string group = anna().createGroup("Family");
    const std::string before = slot(anna(), group);
    TestPicture large = smallPicture();
    large.bytes.resize(500'000, '\0');
    expectRefusal(anna().sendFile(before, large), 403, "204", std::to_string(size() + 1) + " bytes");
    EXPECT_TRUE(test::comesTrue([&] { return files() == 0; })) << "thumbnails on their way aside";
    EXPECT_EQ(anna().sendFile(before, smallPicture()).status, 200);
    EXPECT_EQ(anna().reserve(group, "type=photo&").status, 200) << "one byte is left";
    EXPECT_EQ(anna().sendFile(slot(anna(), group), newPicture()).status, 403);
    EXPECT_TRUE(test::comesTrue([&] { return files() == 1; })) << "thumbnails on their way aside";
    expectConsistent();
}

TEST_F(Allowance, OfBytesTakesNoMoreForWhatComesAgain)
{
    startWith({"--quota", std::to_string(2 * size() + 1)});
    const std::string group = anna().createGroup("Family");
    const TestPicture picture = newPicture();
    const std::string first = slot(anna(), group, announcing(size()));
    const std::string second = slot(anna(), group);
    const std::string third = slot(anna(), group);
    const HttpReply reply = anna().sendFile(first, picture);
    ASSERT_EQ(reply.status, 200);
    ASSERT_EQ(anna().upload(group, newPicture()).status, 200);
    for (const std::string& again : {first, second}) {
        const HttpReply twin = anna().sendFile(again, picture);
        EXPECT_EQ(twin.status, 200) << twin.body;
        EXPECT_EQ(field(twin, "contentId"), field(reply, "contentId"));
    }
    expectRefusal(anna().sendFile(third, newPicture()), 403, "204", std::to_string(2 * size() + 1) + " bytes");
    expectConsistent();
}

TEST_F(Allowance, OfSlotsCountsNoneWhosePhotoIsThere)
{
    startWith({"--max-slots", "2"});
    const std::string group = anna().createGroup("Family");
    const TestPicture picture = newPicture();
    std::string last;
    for (int i = 0; i < 6; ++i) {
        last = slot(anna(), group);
        EXPECT_EQ(anna().sendFile(last, picture).status, 200) << i;
    }
    EXPECT_EQ(anna().sendFile(last, picture).status, 200) << "it may come once more all the same";
    EXPECT_EQ(anna().upload(group, newPicture()).status, 200);
    expectConsistent();
}

TEST_F(Allowance, OfBytesHoldsForUploadsThatWereReservedTogether)
{
    startWith({"--quota", std::to_string(size() + size() / 2)});
    const std::string group = anna().createGroup("Family");
    const std::string first = slot(anna(), group, announcing(size()));
    const std::string second = slot(anna(), group, announcing(size()));
    const std::string body = multipartBody(newPicture(), "BB");
    const std::string bytes = requestBytes("POST", targetOf(first), body,
                                           {{"Authorization", authorizationOf(m_anna)},
                                            {"Content-Type", "multipart/form-data; boundary=BB"},
                                            {"Expect", "100-continue"}});
    // The first upload has begun, and so has seen the room that there was, when the second takes it.
    Wire wire(port());
    ASSERT_TRUE(wire.send(bytes.substr(0, bytes.size() - body.size())));
    char answer[25];
    ASSERT_EQ(::recv(wire.socket(), answer, sizeof answer, MSG_WAITALL), 25);
    EXPECT_EQ(anna().sendFile(second, newPicture()).status, 200);
    ASSERT_TRUE(wire.send(body));
    EXPECT_EQ(wire.receive().status, 403);
    EXPECT_TRUE(test::comesTrue([&] { return files() == 1; })) << "thumbnails on their way aside";
    expectConsistent();
}

TEST_F(Allowance, OfBytesComesBackWhenADeletedGroupLeavesTheTrash)
{
    startWith({"--quota", std::to_string(size() + 1)});
    const std::string group = anna().createGroup("Family");
    addMember(group, "Ben");
    ben().uploadPhoto(group, smallPicture());
    anna().uploadPhoto(group, newPicture());
    const std::string other = ben().createGroup("other");
    EXPECT_EQ(ben().upload(other, newPicture()).status, 403) << "in all groups together";
    EXPECT_EQ(anna().post(ServiceClient::path("me/group.delete"), "groupID=" + group).status, 200);
    EXPECT_EQ(ben().upload(other, newPicture()).status, 403) << "its files are kept for a while";
    emptyTrash();
    EXPECT_EQ(ben().upload(other, newPicture()).status, 200);
    expectConsistent();
}

TEST_F(Allowance, OfBytesIsUnboundedUnlessTold)
{
    start();
    TestPicture large = smallPicture();
    large.bytes.resize(5'000'000, '\0');
    EXPECT_EQ(anna().upload(anna().createGroup("Family"), large).status, 200);
}

TEST_F(Allowance, IsCheckedByTheAdministratorsCommand)
{
    start();
    anna().uploadPhoto(anna().createGroup("Family"), smallPicture());
    m_process.reset();
    {
        kinloomd::Database database(databaseOf(m_data));
        const auto connection = database.write();
        connection->execute("UPDATE person SET used_bytes = used_bytes + 1 WHERE name = 'Anna'");
    }
    const CommandResult result = command({"check"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_THAT(result.out, HasSubstr("the contents of Anna"));
    EXPECT_THAT(result.out, HasSubstr("1 problems"));
}

TEST_F(Allowance, IsNotSetBelowNothing)
{
    for (const char* option : {"--quota", "--max-slots", "--max-groups"})
        EXPECT_EQ(command({"serve", option, "-1"}).exitCode, 2) << option;
}

} // namespace
