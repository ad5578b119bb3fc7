// SPDX-License-Identifier: MIT
// The multipart forms of the two uploads.
#include "plugin/support/Service.h"

#include <sys/stat.h>

using namespace W;
using namespace kinloom_test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

constexpr const char* URL = "http://upload.kinloom.example/slot/1";

class UploadForm : public ServiceTest {
protected:
    void SetUp() override
    {
        ServiceTest::SetUp();
        photo = folder.write("photo.jpg", STRING(1234, 'x'));
    }
    WSTATUS uploadFile(const KLService::Headers& params, const STRING& path, long size)
    {
        return service->postDataRequest(URL, params, someHeaders(), new CountedCMD, path, size);
    }
    WSTATUS uploadWithFields(const KLService::Headers& params, const KLService::Headers& extra, const STRING& path)
    {
        return service->postDataRequest(URL, params, someHeaders(), extra, new CountedCMD, path);
    }

    const KLService::Headers filePart{{"filename", "image/jpeg"}};
    STRING photo;
};

} // namespace

TEST_F(UploadForm, HoldsTheFileAlone)
{
    ASSERT_EQ(uploadFile(filePart, photo, 1234), 0);
    const fake::Seen seen = fake::request(0);
    EXPECT_EQ(seen.type, HTTP_REQUEST_POST);
    EXPECT_EQ(seen.url, URL);
    EXPECT_THAT(seen.header, ElementsAre(Pair("Authorization", " me"), Pair("DATE", "today"), Pair("appToken", "")));
    EXPECT_EQ(seen.path, photo);
    ASSERT_TRUE(seen.hasForm);
    ASSERT_EQ(seen.form.size(), 1u);
    EXPECT_EQ(seen.form[0].name, "filename");
    EXPECT_EQ(seen.form[0].file, photo);
    EXPECT_EQ(seen.form[0].contentType, "image/jpeg");
    EXPECT_THAT(seen.form[0].headers, IsEmpty());
}

TEST_F(UploadForm, AnnouncesTheGivenSizeOnTheHandle)
{
    ASSERT_EQ(uploadFile(filePart, photo, 1234), 0);
    EXPECT_EQ(fake::request(0).postFields, "");
    EXPECT_EQ(fake::request(0).postFieldsSize, 1234);
    ASSERT_EQ(uploadFile(filePart, photo, 0), 0);
    EXPECT_EQ(fake::request(1).postFieldsSize, 0);
}

TEST_F(UploadForm, HoldsFieldsSizeAndFileInThisOrder)
{
    ASSERT_EQ(uploadWithFields({{"title", "us all"}, {"album", "2010"}}, filePart, photo), 0);
    const fake::Seen seen = fake::request(0);
    ASSERT_TRUE(seen.hasForm);
    ASSERT_EQ(seen.form.size(), 4u);
    EXPECT_EQ(seen.form[0].name, "album");
    EXPECT_EQ(seen.form[0].contents, "2010");
    EXPECT_EQ(seen.form[1].name, "title");
    EXPECT_EQ(seen.form[1].contents, "us all");
    EXPECT_EQ(seen.form[2].name, "file_size");
    EXPECT_EQ(seen.form[2].contents, "1234");
    EXPECT_EQ(seen.form[3].name, "filename");
    EXPECT_EQ(seen.form[3].file, photo);
    EXPECT_EQ(seen.form[3].contentType, "image/jpeg");
    EXPECT_TRUE(seen.postFields.has_value());
}

TEST_F(UploadForm, GivesEachFieldTheRequestsHeaders)
{
    ASSERT_EQ(uploadWithFields({{"title", "us"}}, filePart, photo), 0);
    const fake::Seen seen = fake::request(0);
    ASSERT_EQ(seen.form.size(), 3u);
    for (const std::size_t part : {0u, 1u})
        EXPECT_THAT(seen.form[part].headers, ElementsAre("Authorization:  me", "DATE: today", "appToken: "));
    EXPECT_THAT(seen.form[2].headers, IsEmpty());
}

TEST_F(UploadForm, MayHaveNoFieldsBesideTheSize)
{
    ASSERT_EQ(uploadWithFields({}, filePart, photo), 0);
    const fake::Seen seen = fake::request(0);
    ASSERT_EQ(seen.form.size(), 2u);
    EXPECT_EQ(seen.form[0].name, "file_size");
}

TEST_F(UploadForm, WritesASizeOf0ForAMissingFile)
{
    ASSERT_EQ(uploadWithFields({}, filePart, folder.file("none")), 0);
    EXPECT_EQ(fake::request(0).form.at(0).contents, "0");
}

TEST_F(UploadForm, IsRefusedWithoutAPath)
{
    EXPECT_EQ(uploadFile(filePart, "", 0), -1);
    EXPECT_EQ(uploadWithFields({{"title", "us"}}, filePart, ""), -1);
    EXPECT_THAT(log->entries(), ElementsAre(serviceEntry(-1, 404), serviceEntry(-1, 404)));
    EXPECT_EQ(CountedCMD::alive(), 0);
    EXPECT_EQ(fake::requestCount(), 0u);
    EXPECT_EQ(dropped().size(), 2u);
}

TEST_F(UploadForm, IsRefusedWithoutAFilePart)
{
    EXPECT_EQ(uploadFile({}, photo, 1234), -1);
    EXPECT_EQ(uploadWithFields({{"title", "us"}}, {}, photo), -1);
    EXPECT_THAT(log->entries(), ElementsAre(serviceEntry(-1, 404), serviceEntry(-1, 404)));
    EXPECT_EQ(CountedCMD::alive(), 0);
}

TEST_F(UploadForm, IsRefusedForAFolderOrAPipe)
{
    const STRING pipe = folder.file("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const STRING& path : {folder.path(), pipe}) {
        EXPECT_EQ(uploadFile(filePart, path, 10), -1);
        EXPECT_EQ(uploadWithFields({}, filePart, path), -1); // without waiting for a writer
    }
    EXPECT_EQ(log->entries().size(), 4u);
    EXPECT_EQ(fake::requestCount(), 0u);
}

TEST_F(UploadForm, IsFreedWhenTheRequestIsRefused)
{
    fake::refuseNext(-3, 2);
    EXPECT_EQ(uploadFile(filePart, photo, 1234), -3);
    EXPECT_EQ(uploadWithFields({{"title", "us"}}, filePart, photo), -3);
    EXPECT_THAT(log->entries(), ElementsAre(serviceEntry(-3, 445), serviceEntry(-3, 445)));
}

TEST_F(UploadForm, KeepsLongNamesAndValues)
{
    const STRING longValue(100000, 'v');
    ASSERT_EQ(uploadWithFields({{STRING(1000, 'n'), longValue}}, filePart, photo), 0);
    EXPECT_EQ(fake::request(0).form.at(0).name, STRING(1000, 'n'));
    EXPECT_EQ(fake::request(0).form.at(0).contents, longValue);
}
