// SPDX-License-Identifier: MIT
// What crosses between a program and its helpers, and whether all of it does.
#include "helper/Messages.h"
#include "helper/Values.h"
#include "replies/Dump.h"
#include "support/TempDir.h"

#include <gmock/gmock.h>
#include <regex>

using namespace kinloom;
using testing::UnorderedElementsAreArray;

namespace {

/// Fills values with something that is nowhere else, through the tables.
class Filler {
public:
    void fill(std::string& value) { value = std::string("text\0\n", 6) + std::to_string(++m_count); }
    void fill(W::WDateTime& value)
    {
        const std::string second = std::to_string(10 + ++m_count % 50);
        value = W::WDateTime::fromString("2010-05-05T07:04:" + second + "." + std::to_string(100000000 + m_count) + "Z",
                                         W::WDateTime::FORMAT_ISO8601, W::WDateTime::ZONE_UTC);
        ASSERT_TRUE(value.isSet());
    }
    void fill(W::WSize& value)
    {
        const int width = ++m_count;
        value = W::WSize(-width, ++m_count);
    }
    void fill(W::WContentProvider& value)
    {
        value = W::WContentProvider("provider" + std::to_string(++m_count), W::WContentProvider::SERVICE_KINLOOM);
    }
    template <class T> void fill(std::list<T>& value)
    {
        for (int i = 0; i < 2; ++i)
            fill(value.emplace_back());
    }
    template <class T> void fill(std::vector<T>& value)
    {
        for (int i = 0; i < 2; ++i)
            fill(value.emplace_back());
    }
    void fill(std::map<std::string, std::string>& value)
    {
        for (int i = 0; i < 2; ++i)
            fill(value["key" + std::to_string(++m_count)]);
    }
    template <class T> void fill(T& value)
    {
        if constexpr (std::is_same_v<T, bool> || std::is_same_v<T, FailureKind> || std::is_same_v<T, PluginLog>) {
            value = static_cast<T>(1);
        } else if constexpr (std::is_same_v<T, std::chrono::milliseconds>) {
            value = T(++m_count);
        } else if constexpr (std::is_arithmetic_v<T> || std::is_enum_v<T>) {
            value = static_cast<T>(++m_count);
        } else if constexpr (IsRecord<T>::value) {
            const auto set = [&](const auto& property) {
                std::decay_t<decltype((value.*property.get)())> filled{};
                fill(filled);
                (value.*property.set)(filled);
            };
            std::apply([&](const auto&... properties) { (set(properties), ...); }, Properties<T>::ALL);
            if constexpr (std::is_base_of_v<W::WResource, T>) {
                std::map<std::string, std::string> values;
                fill(values);
                for (const auto& [key, text] : values)
                    value.properties().set(key, text);
            }
        } else {
            std::apply([&](auto... members) { (fill(value.*members), ...); }, Members<T>::ALL);
        }
    }

private:
    int m_count = 0;
};

template <class T> T filled()
{
    T value{};
    Filler().fill(value);
    return value;
}

template <class T> std::string bytesOf(const T& value)
{
    Writer writer;
    put(writer, value);
    return writer.take();
}

template <class T> T readBack(const std::string& bytes)
{
    Reader reader(bytes);
    T value{};
    get(reader, value);
    reader.end();
    return value;
}

/// The names in a record's table that are its own class's, its service part included.
template <class Record> std::multiset<std::string> namesOf()
{
    std::multiset<std::string> names;
    std::apply([&](const auto&... properties) { (names.insert(properties.name), ...); }, Properties<Record>::ALL);
    return names;
}

/// The names of the setters between a class's head and its end, as the header has them.
std::vector<std::string> settersOf(const std::string& header, const std::string& name)
{
    const std::string text = test::readFile(std::string(INCLUDE_DIR) + "/W/" + header);
    const std::smatch none;
    std::smatch head;
    EXPECT_TRUE(std::regex_search(text, head, std::regex("\n *class " + name + "\\b[^;{]*\\{"))) << name;
    const auto begin = static_cast<std::size_t>(head.position()) + head[0].str().size();
    // The class ends where its indentation does.
    const std::size_t indent = head[0].str().find_first_not_of('\n');
    const std::string blanks = head[0].str().substr(indent, head[0].str().find("class") - indent);
    const std::string body = text.substr(begin, text.find("\n" + blanks + "};", begin) - begin);
    std::vector<std::string> setters;
    const std::regex setter("\n" + blanks + "    void set([A-Za-z]+)\\(");
    for (std::sregex_iterator it(body.begin(), body.end(), setter), end; it != end; ++it)
        setters.push_back((*it)[1]);
    return setters;
}

struct ClassName {
    const char* header;
    const char* name;
};

/// \param without setters of what does not cross.
template <class Record> void expectWhole(const std::vector<ClassName>& classes, const std::set<std::string>& without = {})
{
    std::vector<std::string> setters;
    for (const ClassName& entry : classes)
        for (const std::string& setter : settersOf(entry.header, entry.name))
            if (without.count(setter) == 0)
                setters.push_back(setter);
    EXPECT_GT(setters.size(), 1U);
    EXPECT_THAT(namesOf<Record>(), UnorderedElementsAreArray(setters)) << classes.back().name;
}

TEST(Fields, HoldEverySetterOfEveryRecord)
{
    const ClassName resource{"WResource.h", "WResource"};
    const ClassName media{"WMediaResource.h", "WMediaResource"};
    const std::set<std::string> hook = {"Downloader"};
    expectWhole<W::WResource>({resource});
    expectWhole<W::WMediaResource>({resource, media}, hook);
    expectWhole<W::WPerson>({resource, {"WPerson.h", "WKLUser"}, {"WPerson.h", "WPerson"}});
    expectWhole<W::WGroup>({resource, media, {"WGroup.h", "WGroup"}}, hook);
    expectWhole<W::WComment>({resource, {"WComment.h", "WKLComment"}, {"WComment.h", "WComment"}});
    expectWhole<W::WMessage>({resource, {"WMessage.h", "WKLMessage"}, {"WMessage.h", "WMessage"}});
    expectWhole<W::WEvent>({resource, {"WEvent.h", "WKLEvent"}, {"WEvent.h", "WEvent"}});
    expectWhole<W::WEvent::RecurrenceRule>({{"WEvent.h", "RecurrenceRule"}});
    expectWhole<W::WEvent::RecurrenceRule::RecurrenceException>({{"WEvent.h", "RecurrenceException"}});
    expectWhole<W::WWhen>({{"WDateTime.h", "WWhen"}});
    expectWhole<W::WContent>({resource, media, {"WContent.h", "WContent"}}, hook);
}

template <class Record> class RecordCrosses : public testing::Test {
};
using Records = testing::Types<W::WMediaResource, W::WPerson, W::WGroup, W::WComment, W::WMessage, W::WEvent, W::WContent>;
TYPED_TEST_SUITE(RecordCrosses, Records, );

TYPED_TEST(RecordCrosses, WithEveryFieldFilled)
{
    const auto record = filled<TypeParam>();
    const std::string bytes = bytesOf(record);
    const auto back = readBack<TypeParam>(bytes);
    EXPECT_EQ(bytesOf(back), bytes);
    EXPECT_EQ(test::dump(back), test::dump(record)) << "as somebody sees it who does not know the tables";
    EXPECT_EQ(back.getContentProvider().getID(), record.getContentProvider().getID());
    EXPECT_EQ(back.properties().values(), record.properties().values());
    EXPECT_EQ(back.properties().size(), 2U);
}

TYPED_TEST(RecordCrosses, AsItIsMade)
{
    const TypeParam record{};
    const auto back = readBack<TypeParam>(bytesOf(record));
    EXPECT_EQ(bytesOf(back), bytesOf(record));
    EXPECT_EQ(back.getContentProvider().getID(), 0U) << "no provider has no identifier";
}

template <std::size_t PLACE = 0> void everyOperation()
{
    if constexpr (PLACE < std::variant_size_v<Operation>) {
        message::Order order;
        order.number = 7;
        order.patience = std::chrono::milliseconds(1234);
        order.operation = filled<std::variant_alternative_t<PLACE, Operation>>();
        const std::string bytes = message::encode(order);
        const message::Message back = message::decode(bytes);
        EXPECT_EQ(std::get<message::Order>(back).operation.index(), PLACE);
        EXPECT_EQ(message::encode(back), bytes);
        everyOperation<PLACE + 1>();
    }
}

TEST(Message, EveryOperationCrosses) { everyOperation(); }

template <std::size_t PLACE = 0> void everyValue()
{
    if constexpr (PLACE < std::variant_size_v<CallValue>) {
        const message::Ended ended{9, CallValue(filled<std::variant_alternative_t<PLACE, CallValue>>())};
        const std::string bytes = message::encode(ended);
        const message::Message back = message::decode(bytes);
        EXPECT_EQ(std::get<CallValue>(std::get<message::Ended>(back).result).index(), PLACE);
        EXPECT_EQ(message::encode(back), bytes);
        everyValue<PLACE + 1>();
    }
}

TEST(Message, EveryValueCrosses) { everyValue(); }

TEST(Message, SettingsAndFailuresCross)
{
    const message::SetUp setUp{filled<Settings>()};
    const std::string bytes = message::encode(setUp);
    const message::Message back = message::decode(bytes);
    EXPECT_EQ(message::encode(back), bytes);
    EXPECT_EQ(std::get<message::SetUp>(back).settings.client.proxy, setUp.settings.client.proxy);
    EXPECT_EQ(std::get<message::SetUp>(back).settings.options, setUp.settings.options);

    const message::Ended ended{1, CallFailure{FailureKind::DROPPED, -108, "cannot", "http://there", "gone", 503, 7, "full"}};
    EXPECT_EQ(message::encode(message::decode(message::encode(ended))), message::encode(ended));

    CallFailure unsettled;
    unsettled.unsettled = true;
    const message::Message crossed = message::decode(message::encode(message::Ended{1, unsettled}));
    EXPECT_TRUE(std::get<CallFailure>(std::get<message::Ended>(crossed).result).unsettled);
}

TEST(Message, NegativeNumbersAndDoublesCross)
{
    EXPECT_EQ(readBack<int>(bytesOf(-7)), -7);
    EXPECT_EQ(readBack<long>(bytesOf(-5'000'000'000L)), -5'000'000'000L);
    EXPECT_EQ(readBack<double>(bytesOf(0.1)), 0.1);
}

TEST(Message, EveryCutIsBroken)
{
    const std::string bytes = message::encode(message::Ended{3, CallValue(filled<W::WContent>())});
    for (std::size_t length = 0; length < bytes.size(); ++length)
        EXPECT_THROW(message::decode(std::string_view(bytes).substr(0, length)), BrokenMessage) << length;
    EXPECT_THROW(message::decode(bytes + '\0'), BrokenMessage);
}

TEST(Message, NoByteMakesTheReaderLeaveItsBounds)
{
    const std::string bytes = message::encode(message::Ended{3, CallValue(filled<W::WGroup>())});
    for (std::size_t place = 0; place < bytes.size(); ++place) {
        for (const char value : {'\0', '\x01', '\x7F', '\xFF'}) {
            std::string changed = bytes;
            changed[place] = value;
            try {
                message::decode(changed);
            } catch (const BrokenMessage&) {
                continue; // one or the other
            }
        }
    }
}

TEST(Message, AListLongerThanItsMessageIsBroken)
{
    Writer writer;
    writer.number(0xFFFFFFFF, 4);
    const std::string bytes = writer.take();
    Reader reader(bytes);
    std::vector<W::WContent> contents;
    EXPECT_THROW(get(reader, contents), BrokenMessage);
}

W::WSTATUS noDownloader(const W::WMediaResource&, W::WDownloadCallback, W::VOID*, W::VOID*) { return 0; }

TEST(Message, TheDownloaderStaysWhereItIs)
{
    W::WContent content;
    int argument = 0;
    content.setDownloader(noDownloader, &argument);
    const auto back = std::get<W::WContent>(message::crossed(content));
    EXPECT_EQ(back.getDownloader(), nullptr);
    EXPECT_EQ(back.getDownloaderArg(), nullptr);
}

} // namespace
