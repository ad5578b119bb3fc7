// SPDX-License-Identifier: MIT
/// \file Writes and reads every kind of value that crosses to a helper or back.
#ifndef KINLOOM_CLIENT_VALUES_H
#define KINLOOM_CLIENT_VALUES_H

#include "helper/Codec.h"
#include "helper/Fields.h"

#include <chrono>
#include <list>
#include <map>
#include <vector>

namespace kinloom {

template <class T, class = void> struct IsRecord : std::false_type {
};
template <class T> struct IsRecord<T, std::void_t<decltype(Properties<T>::ALL)>> : std::true_type {
};

// Everything is declared before anything is defined, since values hold each other.

template <class T> void put(Writer& writer, const T& value);
inline void put(Writer& writer, const std::string& value) { writer.text(value); }
inline void put(Writer& writer, const W::WDateTime& value) { writer.text(value.toString()); }
void put(Writer& writer, const W::WSize& value);
void put(Writer& writer, const W::WContentProvider& value);
template <class T> void put(Writer& writer, const std::list<T>& value);
template <class T> void put(Writer& writer, const std::vector<T>& value);
void put(Writer& writer, const std::map<std::string, std::string>& value);
template <class... Kinds> void put(Writer& writer, const std::variant<Kinds...>& value);

template <class T> void get(Reader& reader, T& value);
inline void get(Reader& reader, std::string& value) { value = reader.text(); }
void get(Reader& reader, W::WDateTime& value);
void get(Reader& reader, W::WSize& value);
void get(Reader& reader, W::WContentProvider& value);
template <class T> void get(Reader& reader, std::list<T>& value);
template <class T> void get(Reader& reader, std::vector<T>& value);
void get(Reader& reader, std::map<std::string, std::string>& value);
template <class... Kinds> void get(Reader& reader, std::variant<Kinds...>& value);

template <class T> void put(Writer& writer, const T& value)
{
    if constexpr (std::is_same_v<T, double>) {
        writer.real(value);
    } else if constexpr (std::is_same_v<T, std::chrono::milliseconds>) {
        writer.number(static_cast<std::uint64_t>(value.count()));
    } else if constexpr (std::is_enum_v<T> || std::is_integral_v<T>) {
        writer.number(static_cast<std::uint64_t>(value));
    } else if constexpr (IsRecord<T>::value) {
        std::apply([&](const auto&... properties) { (put(writer, (value.*properties.get)()), ...); }, Properties<T>::ALL);
        if constexpr (std::is_base_of_v<W::WResource, T>)
            put(writer, value.properties().values());
    } else {
        std::apply([&](auto... members) { (put(writer, value.*members), ...); }, Members<T>::ALL);
    }
}

template <class T> void get(Reader& reader, T& value)
{
    if constexpr (std::is_same_v<T, double>) {
        value = reader.real();
    } else if constexpr (std::is_same_v<T, std::chrono::milliseconds>) {
        value = std::chrono::milliseconds(static_cast<std::int64_t>(reader.number()));
    } else if constexpr (std::is_same_v<T, FailureKind>) {
        value = static_cast<T>(reader.below(static_cast<std::size_t>(FailureKind::NOT_A_PLUGIN) + 1, 8));
    } else if constexpr (std::is_same_v<T, PluginLog>) {
        value = static_cast<T>(reader.below(static_cast<std::size_t>(PluginLog::STANDARD_ERROR) + 1, 8));
    } else if constexpr (std::is_same_v<T, bool>) {
        value = reader.below(2, 8) != 0;
    } else if constexpr (std::is_enum_v<T> || std::is_integral_v<T>) {
        value = static_cast<T>(reader.number());
    } else if constexpr (IsRecord<T>::value) {
        const auto take = [&](const auto& property) {
            std::decay_t<decltype((value.*property.get)())> taken{};
            get(reader, taken);
            (value.*property.set)(taken);
        };
        std::apply([&](const auto&... properties) { (take(properties), ...); }, Properties<T>::ALL);
        if constexpr (std::is_base_of_v<W::WResource, T>) {
            std::map<std::string, std::string> values;
            get(reader, values);
            for (const auto& [key, text] : values)
                value.properties().set(key, text);
        }
    } else {
        std::apply([&](auto... members) { (get(reader, value.*members), ...); }, Members<T>::ALL);
    }
}

template <class T> void put(Writer& writer, const std::list<T>& value)
{
    writer.number(value.size(), 4);
    for (const T& element : value)
        put(writer, element);
}
template <class T> void put(Writer& writer, const std::vector<T>& value)
{
    writer.number(value.size(), 4);
    for (const T& element : value)
        put(writer, element);
}
template <class... Kinds> void put(Writer& writer, const std::variant<Kinds...>& value)
{
    writer.number(value.index(), 1);
    std::visit([&](const auto& kind) { put(writer, kind); }, value);
}

template <class T> void get(Reader& reader, std::list<T>& value)
{
    value.clear();
    for (std::size_t count = reader.count(); count > 0; --count)
        get(reader, value.emplace_back());
}
template <class T> void get(Reader& reader, std::vector<T>& value)
{
    value.clear();
    for (std::size_t count = reader.count(); count > 0; --count)
        get(reader, value.emplace_back());
}
/// Makes a variant hold its kind at a place, as it begins.
template <std::size_t PLACE = 0, class... Kinds> void setKind(std::variant<Kinds...>& value, std::size_t place)
{
    if constexpr (PLACE < sizeof...(Kinds)) {
        if (place == PLACE)
            value.template emplace<PLACE>();
        else
            setKind<PLACE + 1>(value, place);
    }
}
template <class... Kinds> void get(Reader& reader, std::variant<Kinds...>& value)
{
    setKind(value, reader.below(sizeof...(Kinds), 1));
    std::visit([&](auto& kind) { get(reader, kind); }, value);
}

inline void put(Writer& writer, const W::WSize& value)
{
    writer.number(static_cast<std::uint32_t>(value.getWidth()), 4);
    writer.number(static_cast<std::uint32_t>(value.getHeight()), 4);
}
inline void get(Reader& reader, W::WSize& value)
{
    const auto width = static_cast<std::int32_t>(reader.number(4));
    value = W::WSize(width, static_cast<std::int32_t>(reader.number(4)));
}
inline void get(Reader& reader, W::WDateTime& value)
{
    value = W::WDateTime::fromString(reader.text(), W::WDateTime::FORMAT_ISO8601, W::WDateTime::ZONE_UTC);
}
inline void put(Writer& writer, const W::WContentProvider& value)
{
    writer.text(value.getName());
    writer.number(value.getServiceType(), 4);
}
inline void get(Reader& reader, W::WContentProvider& value)
{
    const std::string name = reader.text();
    const auto type = static_cast<W::WContentProvider::ServiceType>(reader.number(4));
    // No provider is not the same as one without a name: it has no identifier.
    value = name.empty() && type == W::WContentProvider::SERVICE_UNKNOWN ? W::WContentProvider() : W::WContentProvider(name, type);
}
inline void put(Writer& writer, const std::map<std::string, std::string>& value)
{
    writer.number(value.size(), 4);
    for (const auto& [key, text] : value) {
        writer.text(key);
        writer.text(text);
    }
}
inline void get(Reader& reader, std::map<std::string, std::string>& value)
{
    value.clear();
    for (std::size_t count = reader.count(); count > 0; --count) {
        std::string key = reader.text();
        value[std::move(key)] = reader.text();
    }
}

} // namespace kinloom

#endif
