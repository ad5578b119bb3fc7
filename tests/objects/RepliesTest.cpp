// SPDX-License-Identifier: MIT
#include "objects/Replies.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

namespace {

using objects::MalformedReply;
using testing::SizeIs;

TEST(ObjectList, IsReadWithSizesTimesAndItsContinuation)
{
    const objects::ObjectPage page = objects::readObjectPage(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ListBucketResult xmlns=\"http://s3.amazonaws.com/doc/2006-03-01/\">"
        "<EncodingType>url</EncodingType><IsTruncated>true</IsTruncated><NextContinuationToken>a+b/c=</NextContinuationToken>"
        "<Contents><Key>media/3f/a%20b%2Bc%C3%A9</Key><LastModified>2009-10-12T17:50:30.000Z</LastModified><Size>434234</Size>"
        "</Contents><Contents><Key>x+y</Key><LastModified>never</LastModified><Size>0</Size></Contents></ListBucketResult>");
    ASSERT_THAT(page.objects, SizeIs(2));
    EXPECT_EQ(page.objects[0].key, "media/3f/a b+c\xc3\xa9");
    EXPECT_EQ(page.objects[0].size, 434'234);
    EXPECT_EQ(page.objects[0].modified, 1'255'369'830);
    EXPECT_EQ(page.objects[1].key, "x y");
    EXPECT_EQ(page.objects[1].modified, 0);
    EXPECT_EQ(page.next, "a+b/c=");
}

TEST(ObjectList, TakesKeysAsTheyAreWhereTheStoreDoesNotEscapeThem)
{
    const objects::ObjectPage page =
        objects::readObjectPage("<ListBucketResult><Contents><Key>a%20+&amp;</Key><Size>1</Size></Contents></ListBucketResult>");
    ASSERT_THAT(page.objects, SizeIs(1));
    EXPECT_EQ(page.objects[0].key, "a%20+&");
    EXPECT_EQ(page.next, "");
}

TEST(UploadList, IsReadWithBothItsMarkers)
{
    const objects::UploadPage page =
        objects::readUploadPage("<ListMultipartUploadsResult><IsTruncated>true</IsTruncated><NextKeyMarker>k</NextKeyMarker>"
                                "<NextUploadIdMarker>u</NextUploadIdMarker><Upload><Key>k</Key><UploadId>u</UploadId>"
                                "<Initiated>2010-11-10T20:48:33.000Z</Initiated></Upload></ListMultipartUploadsResult>");
    ASSERT_THAT(page.uploads, SizeIs(1));
    EXPECT_EQ(page.uploads[0].upload, "u");
    EXPECT_EQ(page.uploads[0].begun, 1'289'422'113);
    EXPECT_EQ(page.nextKey + page.nextUpload, "ku");
}

TEST(Reply, IsRefusedWhenItLacksWhatItIsFor)
{
    EXPECT_THROW(objects::readObjectPage("<ListBucketResult><Contents><Size>1</Size></Contents></ListBucketResult>"),
                 MalformedReply);
    EXPECT_THROW(objects::readObjectPage("<ListBucketResult><Contents><Key>k</Key></Contents></ListBucketResult>"), MalformedReply);
    EXPECT_THROW(objects::readObjectPage("<ListBucketResult><Contents><Key>k</Key><Size>-1</Size></Contents></ListBucketResult>"),
                 MalformedReply);
    EXPECT_THROW(objects::readObjectPage("<ListBucketResult><Contents><Key>k</Key><Size>1e9</Size></Contents></ListBucketResult>"),
                 MalformedReply);
    EXPECT_THROW(objects::readObjectPage("<ListBucketResult><IsTruncated>true</IsTruncated></ListBucketResult>"), MalformedReply);
    EXPECT_THROW(objects::readUploadPage("<ListBucketResult/>"), MalformedReply);
    EXPECT_THROW(objects::readBegunUpload("<InitiateMultipartUploadResult><UploadId/></InitiateMultipartUploadResult>"),
                 MalformedReply);
}

TEST(Reply, IsRefusedWhenItWantsToReachElsewhereOrToGrow)
{
    const std::string laughs = "<!DOCTYPE r [<!ENTITY a \"ha\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\"><!ENTITY c "
                               "\"&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;\">]>";
    std::string deep;
    for (int i = 0; i < 100'000; ++i)
        deep += "<a>";
    for (const std::string& text :
         {laughs + "<ListBucketResult><Contents><Key>&c;</Key><Size>1</Size></Contents></ListBucketResult>",
          std::string(
              "<!DOCTYPE r [<!ENTITY f SYSTEM \"file:///etc/passwd\">]><ListBucketResult><Contents><Key>&f;</Key><Size>1</Size>"
              "</Contents></ListBucketResult>"),
          std::string("<!DOCTYPE r SYSTEM \"http://127.0.0.1:1/r.dtd\"><ListBucketResult/>"), "<ListBucketResult>" + deep,
          std::string("<ListBucketResult><Contents>"), std::string("\0<ListBucketResult/>", 20), std::string("no document"),
          std::string()})
        EXPECT_THROW(objects::readObjectPage(text), MalformedReply) << text.substr(0, 80);
}

TEST(Complaint, IsReadWhereThereIsOne)
{
    const objects::StoreComplaint complaint =
        objects::readComplaint("<Error><Code>SlowDown</Code><Message>Wait.</Message></Error>");
    EXPECT_EQ(complaint.code, "SlowDown");
    EXPECT_EQ(complaint.message, "Wait.");
    for (const char* text : {"", "<html><body>Bad Gateway</body></html>", "<Error", R"({"Code":"SlowDown"})"})
        EXPECT_EQ(objects::readComplaint(text).code, "") << text;
}

} // namespace
