// SPDX-License-Identifier: MIT
#include "W/W.h"

#include <gtest/gtest.h>
#include <type_traits>
#include <utility>

using namespace W;

namespace {

const WDateTime DATE = WDateTime::fromString("2010-05-05T07:04:09Z", WDateTime::FORMAT_ISO8601, WDateTime::ZONE_UTC);
const WContentProvider PROVIDER("Kinloom", WContentProvider::SERVICE_KINLOOM);

static_assert(std::is_polymorphic_v<WResource> && std::has_virtual_destructor_v<WResource>);
static_assert(std::is_polymorphic_v<WContentProvider> && std::has_virtual_destructor_v<WContentProvider>);
static_assert(std::is_polymorphic_v<WExtendedProperty> && std::has_virtual_destructor_v<WExtendedProperty>);
static_assert(std::is_polymorphic_v<WKLComment> && std::has_virtual_destructor_v<WKLComment>);
static_assert(std::is_polymorphic_v<WKLMessage> && std::has_virtual_destructor_v<WKLMessage>);
static_assert(std::is_polymorphic_v<WKLEvent> && std::has_virtual_destructor_v<WKLEvent>);
static_assert(!std::is_polymorphic_v<WKLUser>, "the part of a person has no table of its own");
static_assert(!std::is_polymorphic_v<WSize> && !std::is_polymorphic_v<WWhen> && !std::is_polymorphic_v<WDateTime>);
static_assert(std::is_base_of_v<WMediaResource, WContent> && std::is_base_of_v<WMediaResource, WGroup>);
static_assert(std::is_base_of_v<WResource, WKLGallery> && !std::is_base_of_v<WMediaResource, WKLGallery>);
static_assert(std::is_base_of_v<WKLUser, WPerson> && std::is_base_of_v<WKLComment, WComment>);
static_assert(std::is_base_of_v<WKLMessage, WMessage> && std::is_base_of_v<WKLEvent, WEvent>);
static_assert(std::has_virtual_destructor_v<WPlugin> && !std::is_copy_constructible_v<WPlugin>);
static_assert(!std::is_copy_constructible_v<HttpRequest> && std::has_virtual_destructor_v<HttpRequest>);

/// The enumerations that cross a seam hold any number.
template <class Enumeration> constexpr bool holdsAnyNumber = std::is_same_v<std::underlying_type_t<Enumeration>, UINT32>;
static_assert(holdsAnyNumber<KL_OPTION_SORT> && holdsAnyNumber<KL_OPTION_INCLUDE> && holdsAnyNumber<KL_SEARCH_BASE>);
static_assert(holdsAnyNumber<KL_OPTION_ITEM> && holdsAnyNumber<KL_CONTENT_TYPE> && holdsAnyNumber<KL_SEARCH_DIRECTION>);
static_assert(holdsAnyNumber<KL_OPTION_ORDER> && holdsAnyNumber<HTTP_REQUEST_TYPE> && holdsAnyNumber<HTTP_RESPONSE_CODE>);
static_assert(holdsAnyNumber<SESSION_STATUS> && holdsAnyNumber<WContentProvider::ServiceType>);

template <class Record> class EveryRecord : public ::testing::Test {
};
using Records = ::testing::Types<WResource, WMediaResource, WPerson, WComment, WMessage, WEvent, WContent, WGroup, WKLGallery>;
TYPED_TEST_SUITE(EveryRecord, Records, );

TYPED_TEST(EveryRecord, IsAValueType)
{
    EXPECT_TRUE(std::is_default_constructible<TypeParam>::value);
    EXPECT_TRUE(std::is_copy_constructible<TypeParam>::value);
    EXPECT_TRUE(std::is_copy_assignable<TypeParam>::value);
    EXPECT_TRUE(std::is_nothrow_move_constructible<TypeParam>::value);
}

TYPED_TEST(EveryRecord, BeginsWithoutProviderTextsAndProperties)
{
    const TypeParam record;
    EXPECT_EQ(record.getContentProvider().getID(), 0u);
    EXPECT_EQ(record.getContentProvider().getName(), "");
    EXPECT_EQ(record.getUID(), "");
    EXPECT_EQ(record.getTag(), "");
    EXPECT_EQ(record.properties().size(), 0u);
}

TYPED_TEST(EveryRecord, CopiesWhatEveryRecordHas)
{
    TypeParam record;
    record.setContentProvider(PROVIDER);
    record.setUID("uid");
    record.setTag("tag");
    record.properties().set("key", "value");
    TypeParam copy(record);
    TypeParam assigned;
    assigned = record;
    record.setUID("other");
    record.properties().clear();
    for (const TypeParam* const same : {&copy, &assigned}) {
        EXPECT_EQ(same->getContentProvider().getID(), PROVIDER.getID());
        EXPECT_EQ(same->getUID(), "uid");
        EXPECT_EQ(same->getTag(), "tag");
        EXPECT_EQ(same->properties().get("key"), "value");
    }
}

TEST(ExtendedProperty, HoldsTextsByKey)
{
    WExtendedProperty properties;
    EXPECT_EQ(properties.get("none"), "");
    EXPECT_FALSE(properties.contains("none"));
    properties.set("a", "1");
    properties.set("a", "2");
    properties.set("b", "");
    EXPECT_EQ(properties.get("a"), "2");
    EXPECT_TRUE(properties.contains("b"));
    EXPECT_EQ(properties.size(), 2u);
    properties.clear();
    EXPECT_EQ(properties.size(), 0u);
}

TEST(Size, IsZeroByZeroAtFirst)
{
    EXPECT_EQ(WSize().getWidth(), 0);
    EXPECT_EQ(WSize().getHeight(), 0);
    EXPECT_EQ(WSize(3, -4).getWidth(), 3);
    EXPECT_EQ(WSize(3, -4).getHeight(), -4);
    EXPECT_EQ(WSize(3, 4), WSize(3, 4));
    EXPECT_NE(WSize(3, 4), WSize(4, 3));
}

WSTATUS someDownloader(const WMediaResource&, WDownloadCallback, VOID*, VOID*) { return 0; }

TEST(MediaResource, HoldsItsUrlAndDownloader)
{
    WMediaResource media;
    EXPECT_EQ(media.getResourceURL(), "");
    EXPECT_EQ(media.getMIMEType(), "");
    EXPECT_EQ(media.getDownloader(), nullptr);
    EXPECT_EQ(media.getDownloaderArg(), nullptr);
    int argument = 0;
    media.setResourceURL("http://h/x");
    media.setMIMEType("image/png");
    media.setDownloader(someDownloader, &argument);
    const WMediaResource copy = media;
    EXPECT_EQ(copy.getResourceURL(), "http://h/x");
    EXPECT_EQ(copy.getMIMEType(), "image/png");
    EXPECT_EQ(copy.getDownloader(), &someDownloader);
    EXPECT_EQ(copy.getDownloaderArg(), &argument);
}

TEST(Person, IsAServiceUserToo)
{
    WPerson person;
    person.setName("name");
    person.setPhoneNumber("123");
    WMediaResource photo;
    photo.setResourceURL("http://h/photo");
    person.setPhoto(photo);
    person.setStatus("status");
    static_cast<WKLUser&>(person).setStatusCode("code");
    person.setDelFlag("Y");
    person.setRegisterDate(DATE);
    const WPerson copy = person;
    EXPECT_EQ(copy.getName(), "name");
    EXPECT_EQ(copy.getPhoneNumber(), "123");
    EXPECT_EQ(copy.getPhoto().getResourceURL(), "http://h/photo");
    EXPECT_EQ(copy.getStatus(), "status");
    EXPECT_EQ(static_cast<const WKLUser&>(copy).getStatusCode(), "code");
    EXPECT_EQ(copy.getDelFlag(), "Y");
    EXPECT_EQ(copy.getRegisterDate(), DATE);
}

TEST(Person, KeepsTheServicePartRightAfterTheResource)
{
    WPerson person;
    const auto* const begin = reinterpret_cast<const char*>(&person);
    EXPECT_EQ(reinterpret_cast<const char*>(static_cast<WKLUser*>(&person)) - begin,
              static_cast<std::ptrdiff_t>(sizeof(WResource)));
}

TEST(Comment, HoldsTextSizeDateAndUser)
{
    WComment comment;
    EXPECT_EQ(comment.getComment(), "");
    EXPECT_FALSE(comment.getRegisterDate().isSet());
    WPerson user;
    user.setUID("u");
    comment.setComment("text");
    comment.setSize("12");
    comment.setRegisterDate(DATE);
    comment.setUser(user);
    const WComment copy = comment;
    EXPECT_EQ(copy.getComment(), "text");
    EXPECT_EQ(copy.getSize(), "12");
    EXPECT_EQ(copy.getRegisterDate(), DATE);
    EXPECT_EQ(static_cast<const WKLComment&>(copy).getUser().getUID(), "u");
}

TEST(Message, HoldsTextDateAndUser)
{
    WMessage message;
    WPerson user;
    user.setUID("u");
    message.setText("text");
    message.setRegisterDate(DATE);
    message.setUser(user);
    const WMessage copy = message;
    EXPECT_EQ(copy.getText(), "text");
    EXPECT_EQ(copy.getRegisterDate(), DATE);
    EXPECT_EQ(static_cast<const WKLMessage&>(copy).getUser().getUID(), "u");
}

TEST(Event, HoldsItsSpanAndRule)
{
    WEvent event;
    WWhen when;
    EXPECT_FALSE(when.getStartTime().isSet());
    when.setStartTime(DATE);
    when.setEndTime(DATE);
    WEvent::RecurrenceRule::RecurrenceException exception;
    exception.setOriginalTime(DATE);
    exception.setWhen(when);
    WEvent::RecurrenceRule rule;
    rule.setRule("FREQ=DAILY");
    rule.setExceptions({exception, exception});
    event.setTitle("title");
    event.setDescription("description");
    event.setCalendarUID("calendar");
    event.setWhen(when);
    event.setRecurrenceRule(rule);
    event.setType("type");
    event.setRegisterDate(DATE);
    WPerson user;
    user.setUID("u");
    event.setUser(user);
    const WEvent copy = event;
    event.setRecurrenceRule(WEvent::RecurrenceRule());
    EXPECT_EQ(copy.getTitle(), "title");
    EXPECT_EQ(copy.getDescription(), "description");
    EXPECT_EQ(copy.getCalendarUID(), "calendar");
    EXPECT_EQ(copy.getWhen().getStartTime(), DATE);
    EXPECT_EQ(copy.getWhen().getEndTime(), DATE);
    EXPECT_EQ(copy.getRecurrenceRule().getRule(), "FREQ=DAILY");
    ASSERT_EQ(copy.getRecurrenceRule().getExceptions().size(), 2u);
    EXPECT_EQ(copy.getRecurrenceRule().getExceptions().front().getOriginalTime(), DATE);
    EXPECT_EQ(copy.getRecurrenceRule().getExceptions().front().getWhen().getEndTime(), DATE);
    EXPECT_EQ(copy.getType(), "type");
    EXPECT_EQ(copy.getRegisterDate(), DATE);
    EXPECT_EQ(copy.getUser().getUID(), "u");
}

TEST(Content, BeginsEmpty)
{
    const WContent content;
    for (const STRING& text : {content.getType(), content.getSize(), content.getExt(), content.getFormat(), content.getDuration(),
                               content.getDescription(), content.getGalleryID(), content.getMsgBoardID(), content.getCalendarID()})
        EXPECT_EQ(text, "");
    for (const WDateTime& date :
         {content.getCreateDate(), content.getCreateTime(), content.getRegisterDate(), content.getRegisterTime()})
        EXPECT_FALSE(date.isSet());
    EXPECT_EQ(content.getResolution(), WSize());
    EXPECT_EQ(content.getCommentCount(), 0u);
    EXPECT_TRUE(content.getThumbnails().empty() && content.getComments().empty() && content.getMessages().empty() &&
                content.getEvents().empty());
}

TEST(Content, HoldsEveryField)
{
    WContent content;
    content.setType("a");
    content.setSize("b");
    content.setExt("c");
    content.setFormat("d");
    content.setDuration("e");
    content.setDescription("f");
    content.setGalleryID("g");
    content.setMsgBoardID("h");
    content.setCalendarID("i");
    content.setCreateDate(DATE);
    content.setCreateTime(DATE);
    content.setRegisterDate(DATE);
    content.setRegisterTime(DATE);
    content.setResolution(WSize(1, 2));
    content.setCommentCount(4'000'000'000u);
    WPerson user;
    user.setUID("u");
    content.setUser(user);
    const WContent copy = content;
    EXPECT_EQ(copy.getType() + copy.getSize() + copy.getExt() + copy.getFormat() + copy.getDuration() + copy.getDescription() +
                  copy.getGalleryID() + copy.getMsgBoardID() + copy.getCalendarID(),
              "abcdefghi");
    for (const WDateTime& date : {copy.getCreateDate(), copy.getCreateTime(), copy.getRegisterDate(), copy.getRegisterTime()})
        EXPECT_EQ(date, DATE);
    EXPECT_EQ(copy.getResolution(), WSize(1, 2));
    EXPECT_EQ(copy.getCommentCount(), 4'000'000'000u);
    EXPECT_EQ(copy.getUser().getUID(), "u");
}

/// A list of one record with the given identifier.
template <class Record> std::list<Record> listOf(const char* uid)
{
    Record record;
    record.setUID(uid);
    return {record};
}

TEST(Content, CopiesItsListsDeeply)
{
    WContent content;
    content.setThumbnails(listOf<WMediaResource>("t"));
    content.setComments(listOf<WComment>("c"));
    content.setMessages(listOf<WMessage>("m"));
    content.setEvents(listOf<WEvent>("e"));
    WContent copy = content;
    copy.setThumbnails({});
    copy.setComments(listOf<WComment>("x"));
    copy.setMessages({});
    copy.setEvents({});
    EXPECT_EQ(content.getThumbnails().front().getUID(), "t");
    EXPECT_EQ(content.getComments().front().getUID(), "c");
    EXPECT_EQ(content.getMessages().front().getUID(), "m");
    EXPECT_EQ(content.getEvents().front().getUID(), "e");
    EXPECT_EQ(copy.getComments().front().getUID(), "x");
}

TEST(Content, CopiesAListThatItIsGiven)
{
    std::list<WComment> comments = listOf<WComment>("c");
    WContent content;
    content.setComments(comments);
    comments.front().setUID("changed");
    comments.clear();
    ASSERT_EQ(content.getComments().size(), 1u);
    EXPECT_EQ(content.getComments().front().getUID(), "c");
}

TEST(Group, HoldsEveryField)
{
    WGroup group;
    EXPECT_EQ(group.getTotalCount() + group.getPhotoCount() + group.getAudioCount() + group.getVideoCount() +
                  group.getCommentCount(),
              0u);
    group.setName("n");
    group.setDescription("d");
    group.setImageUrl("i");
    WMediaResource image;
    image.setUID("image");
    group.setImage(image);
    WPerson master;
    master.setUID("master");
    group.setMaster(master);
    group.setTotalCount(1);
    group.setPhotoCount(2);
    group.setAudioCount(3);
    group.setVideoCount(4);
    group.setCommentCount(5);
    const WGroup copy = group;
    EXPECT_EQ(copy.getName() + copy.getDescription() + copy.getImageUrl(), "ndi");
    EXPECT_EQ(copy.getImage().getUID(), "image");
    EXPECT_EQ(copy.getMaster().getUID(), "master");
    EXPECT_EQ(copy.getTotalCount(), 1u);
    EXPECT_EQ(copy.getPhotoCount(), 2u);
    EXPECT_EQ(copy.getAudioCount(), 3u);
    EXPECT_EQ(copy.getVideoCount(), 4u);
    EXPECT_EQ(copy.getCommentCount(), 5u);
}

TEST(Gallery, HoldsDatesDescriptionAndContents)
{
    WKLGallery gallery;
    gallery.setDate(DATE);
    gallery.setRegisterDate(DATE);
    gallery.setDescription("d");
    gallery.setContents(listOf<WContent>("c"));
    WKLGallery copy = gallery;
    gallery.setContents({});
    EXPECT_EQ(copy.getDate(), DATE);
    EXPECT_EQ(copy.getRegisterDate(), DATE);
    EXPECT_EQ(copy.getDescription(), "d");
    EXPECT_EQ(copy.getContents().front().getUID(), "c");
}

TEST(Records, TakeWhatIsGivenUpToThemWithoutACopy)
{
    const auto addressOf = [](const auto& list) { return &list.front(); };
    std::list<WMediaResource> thumbnails(1);
    std::list<WComment> comments(1);
    std::list<WMessage> messages(1);
    std::list<WEvent> events(1);
    const void* const before[] = {addressOf(thumbnails), addressOf(comments), addressOf(messages), addressOf(events)};
    WContent content;
    content.setThumbnails(std::move(thumbnails));
    content.setComments(std::move(comments));
    content.setMessages(std::move(messages));
    content.setEvents(std::move(events));
    EXPECT_EQ(addressOf(content.getThumbnails()), before[0]);
    EXPECT_EQ(addressOf(content.getComments()), before[1]);
    EXPECT_EQ(addressOf(content.getMessages()), before[2]);
    EXPECT_EQ(addressOf(content.getEvents()), before[3]);

    std::list<WContent> contents(1);
    const void* const first = addressOf(contents);
    WKLGallery gallery;
    gallery.setContents(std::move(contents));
    EXPECT_EQ(addressOf(gallery.getContents()), first);
}

TEST(Exceptions, TellTheirTypeAndHoldTheChallenge)
{
    EXPECT_EQ(WException().getExceptionType(), EXCEPTION_UNKNOWN);
    WCaptchaException challenge;
    EXPECT_EQ(challenge.getExceptionType(), EXCEPTION_CAPTCHA);
    challenge.setContentProvider(PROVIDER);
    challenge.data().user = "u";
    challenge.data().answer = "a";
    const WCaptchaException copy = challenge;
    EXPECT_EQ(copy.getContentProvider().getID(), PROVIDER.getID());
    EXPECT_EQ(copy.data().user + copy.data().secret + copy.data().challenge + copy.data().answer, "ua");
}

TEST(Plugin, IsValidOnceItHasAHandle)
{
    struct Plain : WPlugin {
    } plugin;
    EXPECT_FALSE(plugin.isValid());
    plugin.setHandle(1);
    EXPECT_TRUE(plugin.isValid());
}

TEST(HttpValues, KeepFieldsInOrderAndResponsesByValue)
{
    HttpHeader fields;
    EXPECT_TRUE(fields.fields().empty());
    fields.add("b", "1");
    fields.add("a", "2");
    fields.add("b", "3");
    ASSERT_EQ(fields.fields().size(), 3u);
    EXPECT_EQ(fields.fields()[2].second, "3");
    HttpResponse response;
    EXPECT_EQ(response.getHttpResponseCode(), HTTP_NO_RESPONSE);
    response.setHttpResponseCode(static_cast<HTTP_RESPONSE_CODE>(418));
    response.setContentType("t");
    response.setPayload("p");
    response.payload() += "q";
    const HttpResponse copy = response;
    EXPECT_EQ(copy.getHttpResponseCode(), 418u);
    EXPECT_EQ(copy.getContentType() + copy.getPayload(), "tpq");
}

} // namespace
