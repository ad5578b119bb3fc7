// SPDX-License-Identifier: MIT
/// \file Records as tables of their fields, from which documents in every shape are made.
#ifndef PLUGIN_REPLIES_FIELDTABLE_H
#define PLUGIN_REPLIES_FIELDTABLE_H

#include "plugin/replies/ReplyTest.h"

#include <functional>

namespace kinloom_test {

/// A field, two texts that it may have, and what the record then holds, as text.
template <class Record> struct Field {
    const char* name;
    STRING text;
    STRING expected;
    STRING otherText;
    STRING otherExpected;
    std::function<STRING(const Record&)> get;
    STRING whenEmpty{}; ///< what the record holds when the field is empty or missing
};

/// A kind of record: where it stands in a reply, how it is read, and its fields.
template <class Record> struct RecordKind {
    const char* name;
    /// The record's element with what makes it one; fields are added to it.
    Element element;
    /// A whole reply around the record's element.
    std::function<STRING(const STRING& xml)> reply;
    /// The record out of such a reply, by the entry point.
    std::function<Record(W::WKLOAI&, const STRING& body)> parse;
    /// The record out of its element alone, by the public routine.
    std::function<Record(W::WKLOAI&, const STRING& xml)> read;
    std::vector<Field<Record>> fields;
};

inline STRING textOf(const STRING& text) { return text; }
inline STRING textOf(W::UINT32 number) { return std::to_string(number); }
inline STRING textOf(const W::WDateTime& date) { return date.toString(); }

template <class Record> Field<Record> textField(const char* name, const STRING& (Record::*get)() const)
{
    return {name,
            "first \xC3\xA9 & <1>",
            "first \xC3\xA9 & <1>",
            "other",
            "other",
            [get](const Record& record) { return (record.*get)(); }};
}
/// For getters of a base, or of a nested record.
template <class Record, class Get> Field<Record> textOfField(const char* name, Get get)
{
    return {name, "first \xC3\xA9 & <1>", "first \xC3\xA9 & <1>", "other", "other", [get](const Record& record) {
                return textOf(get(record));
            }};
}
template <class Record, class Get> Field<Record> countField(const char* name, Get get)
{
    return {name, "7", "7", "12", "12", [get](const Record& record) { return textOf(get(record)); }, "0"};
}
template <class Record, class Get> Field<Record> dateField(const char* name, Get get)
{
    return {name,
            "2010-05-05T07:04:09Z",
            "2010-05-05T07:04:09Z",
            "2011-06-07 08:09:10+02:00",
            "2011-06-07T06:09:10Z",
            [get](const Record& record) { return textOf(get(record)); }};
}

/// Reads one element both ways, and expects the field to be so in both.
template <class Record>
void expectField(W::WKLOAI& oai, const RecordKind<Record>& kind, const Field<Record>& field, const STRING& xml,
                 const STRING& expected)
{
    SCOPED_TRACE(STRING(kind.name) + "." + field.name + ": " + xml);
    EXPECT_EQ(field.get(kind.parse(oai, kind.reply(xml))), expected);
    EXPECT_EQ(field.get(kind.read(oai, xml)), expected);
}

/// Walks a table: every field in both shapes, absent, empty, twice, with a prefix, and as attribute and child.
template <class Record> void expectFields(W::WKLOAI& oai, const RecordKind<Record>& kind)
{
    for (const Field<Record>& field : kind.fields) {
        const auto with = [&](std::vector<Element::Field> attributes, std::vector<STRING> children) {
            Element element = kind.element;
            element.fields.insert(element.fields.end(), attributes.begin(), attributes.end());
            for (const STRING& text : children) {
                Element child(field.name);
                child.text = text;
                element.children.push_back(child);
            }
            return test::write(element, Shape::ATTRIBUTES);
        };
        const auto expect = [&](const STRING& xml, const STRING& expected) { expectField(oai, kind, field, xml, expected); };

        expect(with({{field.name, field.text}}, {}), field.expected);
        expect(with({}, {field.text}), field.expected);
        expect(with({}, {}), field.whenEmpty);
        expect(with({{field.name, ""}}, {}), field.whenEmpty);
        expect(with({}, {""}), field.whenEmpty);
        // The attribute wins, and so it does when it is empty.
        expect(with({{field.name, field.text}}, {field.otherText}), field.expected);
        expect(with({{field.name, ""}}, {field.otherText}), field.whenEmpty);
        // An attribute with a prefix is called something else.
        const STRING prefixed = STRING("k:") + field.name;
        expect(with({{"xmlns:k", "urn:k"}, {prefixed, field.text}}, {}), field.whenEmpty);
        expect(with({{"xmlns:k", "urn:k"}, {prefixed, field.otherText}, {field.name, field.text}}, {}), field.expected);
        expect(with({{"xmlns:k", "urn:k"}, {prefixed, field.otherText}}, {field.text}), field.expected);
        expect(with({{STRING("xml:") + field.name, "n1"}}, {}), field.whenEmpty);
        // Only the first child of the name counts.
        expect(with({}, {field.text, field.otherText}), field.expected);
        expect(with({}, {"", field.otherText}), field.whenEmpty);

        // All fields of the table beside this one change nothing about it.
        for (const Shape shape : SHAPES) {
            Element element = kind.element;
            for (const Field<Record>& each : kind.fields)
                element.fields.emplace_back(each.name, &each == &field ? each.text : each.otherText);
            expect(test::write(element, shape), field.expected);
            expect(test::write(element, shape, test::Layout::INDENTED), field.expected);
        }
    }
}

} // namespace kinloom_test

#endif
