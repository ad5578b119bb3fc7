// SPDX-License-Identifier: MIT
#include "helper/Messages.h"

#include "helper/Values.h"

namespace kinloom {

template <> struct Members<message::Hello> {
    static constexpr auto ALL = std::make_tuple(&message::Hello::version);
};
template <> struct Members<message::SetUp> {
    static constexpr auto ALL = std::make_tuple(&message::SetUp::settings);
};
template <> struct Members<message::Order> {
    static constexpr auto ALL = std::make_tuple(&message::Order::number, &message::Order::patience, &message::Order::operation);
};
template <> struct Members<message::Cancel> {
    static constexpr auto ALL = std::make_tuple(&message::Cancel::number);
};
template <> struct Members<message::Begun> {
    static constexpr auto ALL = std::make_tuple(&message::Begun::number);
};
template <> struct Members<message::Moved> {
    static constexpr auto ALL = std::make_tuple(&message::Moved::number, &message::Moved::progress);
};
template <> struct Members<message::Warned> {
    static constexpr auto ALL = std::make_tuple(&message::Warned::sentence);
};
template <> struct Members<message::Ended> {
    static constexpr auto ALL = std::make_tuple(&message::Ended::number, &message::Ended::result);
};

namespace message {

std::string encode(const Message& message)
{
    Writer writer;
    put(writer, message);
    return writer.take();
}

Message decode(std::string_view bytes)
{
    Reader reader(bytes);
    Message message;
    get(reader, message);
    reader.end();
    return message;
}

CallValue crossed(const CallValue& value)
{
    Writer writer;
    put(writer, value);
    const std::string bytes = writer.take();
    CallValue copy;
    Reader reader(bytes);
    get(reader, copy);
    return copy;
}

} // namespace message

} // namespace kinloom
