// SPDX-License-Identifier: MIT
#include "W/W.h"

#include <cstring>
#include <gtest/gtest.h>

using namespace W;

namespace {

template <class Record> class Container : public ::testing::Test {
protected:
    static std::list<Record> records(std::size_t count)
    {
        std::list<Record> list(count);
        int number = 0;
        for (Record& record : list)
            record.setUID(std::to_string(number++));
        return list;
    }
};

using Records = ::testing::Types<WContent, WGroup, WComment, WPerson, WEvent, WMessage, WMediaResource, WKLGallery>;
TYPED_TEST_SUITE(Container, Records, );

TYPED_TEST(Container, BeginsWithCountMinusOneAndNothingInIt)
{
    const WContainer<TypeParam> container;
    EXPECT_EQ(container.getCount(), -1);
    EXPECT_EQ(container.getText(), "");
    EXPECT_EQ(container.properties().size(), 0u);
    EXPECT_TRUE(container.getData().empty());
}

TYPED_TEST(Container, KeepsCountAndListApart)
{
    WContainer<TypeParam> container;
    container.setData(this->records(3));
    EXPECT_EQ(container.getCount(), -1);
    container.setCount(7);
    EXPECT_EQ(container.getData().size(), 3u);
    container.data().pop_front();
    EXPECT_EQ(container.getCount(), 7);
    EXPECT_EQ(container.getData().front().getUID(), "1");
}

TYPED_TEST(Container, CopiesTheListThatItIsGiven)
{
    WContainer<TypeParam> container;
    std::list<TypeParam> list = this->records(2);
    container.setData(list);
    list.clear();
    EXPECT_EQ(container.getData().size(), 2u);
    container.setData(this->records(1));
    EXPECT_EQ(container.getData().size(), 1u);
}

TYPED_TEST(Container, IsAsFreshAfterAClear)
{
    WContainer<TypeParam> container;
    container.setData(this->records(2));
    container.setCount(2);
    container.setText("text");
    container.properties().set("a", "b");
    container.clear();
    EXPECT_EQ(container.getCount(), -1);
    EXPECT_EQ(container.getText(), "");
    EXPECT_EQ(container.properties().size(), 0u);
    EXPECT_TRUE(container.getData().empty());
}

TYPED_TEST(Container, CopiesDeeply)
{
    WContainer<TypeParam> container;
    container.setData(this->records(2));
    container.setCount(5);
    container.setText("text");
    container.properties().set("a", "b");
    const WContainer<TypeParam> copy = container;
    container.data().front().setUID("changed");
    container.clear();
    EXPECT_EQ(copy.getCount(), 5);
    EXPECT_EQ(copy.getText(), "text");
    EXPECT_EQ(copy.properties().get("a"), "b");
    EXPECT_EQ(copy.getData().front().getUID(), "0");
}

/// Tells which of the virtual members was called.
class Recorder : public WContainer<WPerson> {
public:
    const std::list<WPerson>& getData() const override { return called("getData"), WContainer::getData(); }
    void setData(const std::list<WPerson>& list) override { called("setData"), WContainer::setData(list); }
    std::list<WPerson>& data() override { return called("data"), WContainer::data(); }
    void clear() override { called("clear"), WContainer::clear(); }
    mutable std::string last;

private:
    void called(const char* name) const { last = name; }
};

/// Calls an entry of an object's table of virtual members by its place, as a host does that was built against the same order.
template <class Function> Function slot(const void* object, std::size_t place)
{
    Function function;
    static_assert(sizeof function == sizeof(void*));
    const void* const* const table = *static_cast<const void* const* const*>(object);
    std::memcpy(&function, &table[place], sizeof function);
    return function;
}

TEST(ContainerSlots, StandInTheOrderOfTheContract)
{
    Recorder recorder;
    const std::list<WPerson> list(1);
    // The destructor takes the first two places.
    slot<const std::list<WPerson>& (*)(const void*)>(&recorder, 2)(&recorder);
    EXPECT_EQ(recorder.last, "getData");
    slot<void (*)(void*, const std::list<WPerson>&)>(&recorder, 3)(&recorder, list);
    EXPECT_EQ(recorder.last, "setData");
    slot<std::list<WPerson>& (*)(void*)>(&recorder, 4)(&recorder);
    EXPECT_EQ(recorder.last, "data");
    slot<void (*)(void*)>(&recorder, 5)(&recorder);
    EXPECT_EQ(recorder.last, "clear");
}

static_assert(std::has_virtual_destructor_v<WContainer<WGroup>>);

} // namespace
