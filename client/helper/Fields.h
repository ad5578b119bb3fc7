// SPDX-License-Identifier: MIT
/// \file The tables of what crosses to a helper and back: the members of every record, each once.
///
/// The framework's records are described by the names of their setters and getters; a test compares the tables with the headers.
/// The library's own structures are described by their members; the compiler counts them. What is not here is a record's
/// downloader: it is a function of the helper's plugin, and means nothing in another process.
#ifndef KINLOOM_CLIENT_FIELDS_H
#define KINLOOM_CLIENT_FIELDS_H

#include "W/WComment.h"
#include "W/WContent.h"
#include "W/WEvent.h"
#include "W/WGroup.h"
#include "W/WMediaResource.h"
#include "W/WMessage.h"
#include "W/WPerson.h"
#include "W/WResource.h"
#include "kinloom/Call.h"
#include "kinloom/Settings.h"

#include <tuple>
#include <type_traits>

namespace kinloom {

/// A member of a record, behind a getter and a setter.
template <class Get, class Set> struct Property {
    const char* name;
    Get get;
    Set set;
};
template <class Get, class Set> constexpr Property<Get, Set> property(const char* name, Get get, Set set)
{
    return {name, get, set};
}

/// The properties of a record of the framework.
template <class Record> struct Properties;

// The bases and properties of a record. What is no property (the values of WExtendedProperty, the date, the size) has its own way.
#define KINLOOM_PROPERTY(Record, Name) property(#Name, &W::Record::get##Name, &W::Record::set##Name)

template <> struct Properties<W::WResource> {
    static constexpr auto ALL = std::make_tuple(KINLOOM_PROPERTY(WResource, ContentProvider), KINLOOM_PROPERTY(WResource, UID),
                                                KINLOOM_PROPERTY(WResource, Tag));
};
template <> struct Properties<W::WMediaResource> {
    static constexpr auto ALL =
        std::tuple_cat(Properties<W::WResource>::ALL,
                       std::make_tuple(KINLOOM_PROPERTY(WMediaResource, ResourceURL), KINLOOM_PROPERTY(WMediaResource, MIMEType)));
};
template <> struct Properties<W::WPerson> {
    static constexpr auto ALL = std::tuple_cat(
        Properties<W::WResource>::ALL,
        std::make_tuple(KINLOOM_PROPERTY(WKLUser, Status), KINLOOM_PROPERTY(WKLUser, StatusCode),
                        KINLOOM_PROPERTY(WKLUser, DelFlag), KINLOOM_PROPERTY(WKLUser, RegisterDate),
                        KINLOOM_PROPERTY(WPerson, Name), KINLOOM_PROPERTY(WPerson, PhoneNumber), KINLOOM_PROPERTY(WPerson, Photo)));
};
template <> struct Properties<W::WGroup> {
    static constexpr auto ALL = std::tuple_cat(
        Properties<W::WMediaResource>::ALL,
        std::make_tuple(KINLOOM_PROPERTY(WGroup, Name), KINLOOM_PROPERTY(WGroup, Description), KINLOOM_PROPERTY(WGroup, ImageUrl),
                        KINLOOM_PROPERTY(WGroup, Image), KINLOOM_PROPERTY(WGroup, Master), KINLOOM_PROPERTY(WGroup, TotalCount),
                        KINLOOM_PROPERTY(WGroup, PhotoCount), KINLOOM_PROPERTY(WGroup, AudioCount),
                        KINLOOM_PROPERTY(WGroup, VideoCount), KINLOOM_PROPERTY(WGroup, CommentCount)));
};
template <> struct Properties<W::WComment> {
    static constexpr auto ALL =
        std::tuple_cat(Properties<W::WResource>::ALL,
                       std::make_tuple(KINLOOM_PROPERTY(WKLComment, Size), KINLOOM_PROPERTY(WKLComment, RegisterDate),
                                       KINLOOM_PROPERTY(WKLComment, User), KINLOOM_PROPERTY(WComment, Comment)));
};
template <> struct Properties<W::WMessage> {
    static constexpr auto ALL = std::tuple_cat(
        Properties<W::WResource>::ALL, std::make_tuple(KINLOOM_PROPERTY(WKLMessage, RegisterDate),
                                                       KINLOOM_PROPERTY(WKLMessage, User), KINLOOM_PROPERTY(WMessage, Text)));
};
template <> struct Properties<W::WWhen> {
    static constexpr auto ALL = std::make_tuple(KINLOOM_PROPERTY(WWhen, StartTime), KINLOOM_PROPERTY(WWhen, EndTime));
};
template <> struct Properties<W::WEvent::RecurrenceRule::RecurrenceException> {
    static constexpr auto ALL = std::make_tuple(KINLOOM_PROPERTY(WEvent::RecurrenceRule::RecurrenceException, OriginalTime),
                                                KINLOOM_PROPERTY(WEvent::RecurrenceRule::RecurrenceException, When));
};
template <> struct Properties<W::WEvent::RecurrenceRule> {
    static constexpr auto ALL =
        std::make_tuple(KINLOOM_PROPERTY(WEvent::RecurrenceRule, Rule), KINLOOM_PROPERTY(WEvent::RecurrenceRule, Exceptions));
};
template <> struct Properties<W::WEvent> {
    static constexpr auto ALL = std::tuple_cat(
        Properties<W::WResource>::ALL, std::make_tuple(KINLOOM_PROPERTY(WKLEvent, Type), KINLOOM_PROPERTY(WKLEvent, RegisterDate),
                                                       KINLOOM_PROPERTY(WKLEvent, User), KINLOOM_PROPERTY(WEvent, Title),
                                                       KINLOOM_PROPERTY(WEvent, Description), KINLOOM_PROPERTY(WEvent, CalendarUID),
                                                       KINLOOM_PROPERTY(WEvent, When), KINLOOM_PROPERTY(WEvent, RecurrenceRule)));
};
template <> struct Properties<W::WContent> {
    static constexpr auto ALL =
        std::tuple_cat(Properties<W::WMediaResource>::ALL,
                       std::make_tuple(KINLOOM_PROPERTY(WContent, Type), KINLOOM_PROPERTY(WContent, Size),
                                       KINLOOM_PROPERTY(WContent, Ext), KINLOOM_PROPERTY(WContent, Format),
                                       KINLOOM_PROPERTY(WContent, Duration), KINLOOM_PROPERTY(WContent, Description),
                                       KINLOOM_PROPERTY(WContent, CreateDate), KINLOOM_PROPERTY(WContent, CreateTime),
                                       KINLOOM_PROPERTY(WContent, RegisterDate), KINLOOM_PROPERTY(WContent, RegisterTime),
                                       KINLOOM_PROPERTY(WContent, Resolution), KINLOOM_PROPERTY(WContent, CommentCount),
                                       KINLOOM_PROPERTY(WContent, GalleryID), KINLOOM_PROPERTY(WContent, MsgBoardID),
                                       KINLOOM_PROPERTY(WContent, CalendarID), KINLOOM_PROPERTY(WContent, User),
                                       KINLOOM_PROPERTY(WContent, Thumbnails), KINLOOM_PROPERTY(WContent, Comments),
                                       KINLOOM_PROPERTY(WContent, Messages), KINLOOM_PROPERTY(WContent, Events)));
};

#undef KINLOOM_PROPERTY

/// The members of a structure of the library.
template <class Structure> struct Members;

/// Stands for any value, to count what a structure is made of.
struct AnyValue {
    template <class T> operator T() const;
};
template <class T, class, class... Values> struct IsMadeOf : std::false_type {
};
template <class T, class... Values>
struct IsMadeOf<T, std::void_t<decltype(T{std::declval<Values>()...})>, Values...> : std::true_type {
};
/// How many members a structure has.
template <class T, class... Values> constexpr std::size_t memberCount()
{
    if constexpr (IsMadeOf<T, void, Values..., AnyValue>::value)
        return memberCount<T, Values..., AnyValue>();
    else
        return sizeof...(Values);
}

/// A table of all members; one that is forgotten does not compile.
#define KINLOOM_MEMBERS(Structure, ...)                                                                                            \
    template <> struct Members<Structure> {                                                                                        \
        static constexpr auto ALL = std::make_tuple(__VA_ARGS__);                                                                  \
        static_assert(std::tuple_size_v<decltype(ALL)> == memberCount<Structure>(), #Structure " has members that are not here");  \
    }

template <> struct Members<Nothing> {
    static constexpr auto ALL = std::make_tuple();
};
KINLOOM_MEMBERS(ListGroups, &ListGroups::person, &ListGroups::index, &ListGroups::count, &ListGroups::sort, &ListGroups::include);
KINLOOM_MEMBERS(CreateGroup, &CreateGroup::name, &CreateGroup::description);
KINLOOM_MEMBERS(DeleteGroup, &DeleteGroup::group);
KINLOOM_MEMBERS(ReadFeed, &ReadFeed::group, &ReadFeed::before, &ReadFeed::after, &ReadFeed::count, &ReadFeed::base, &ReadFeed::item,
                &ReadFeed::include);
KINLOOM_MEMBERS(ViewContent, &ViewContent::content);
KINLOOM_MEMBERS(DeleteContent, &DeleteContent::content);
KINLOOM_MEMBERS(AskMimeType, &AskMimeType::url);
KINLOOM_MEMBERS(UploadPhoto, &UploadPhoto::group, &UploadPhoto::path, &UploadPhoto::mimeType, &UploadPhoto::description);
KINLOOM_MEMBERS(DownloadFile, &DownloadFile::url, &DownloadFile::folder, &DownloadFile::fileName, &DownloadFile::name);
KINLOOM_MEMBERS(CreateComment, &CreateComment::content, &CreateComment::text);
KINLOOM_MEMBERS(ViewComment, &ViewComment::comment);
KINLOOM_MEMBERS(DeleteComment, &DeleteComment::comment);
template <> struct Members<SignIn> {
    static constexpr auto ALL = std::make_tuple();
};
template <> struct Members<RegisterDevice> {
    static constexpr auto ALL = std::make_tuple();
};
template <> struct Members<AskPerson> {
    static constexpr auto ALL = std::make_tuple();
};
KINLOOM_MEMBERS(MediaReply, &MediaReply::contentType, &MediaReply::body, &MediaReply::bytes);
KINLOOM_MEMBERS(PairedDevice, &PairedDevice::appId, &PairedDevice::token, &PairedDevice::duid);
KINLOOM_MEMBERS(CallFailure, &CallFailure::kind, &CallFailure::status, &CallFailure::attempt, &CallFailure::address,
                &CallFailure::detail, &CallFailure::httpCode, &CallFailure::retryAfter, &CallFailure::cause, &CallFailure::reason,
                &CallFailure::unsettled);
KINLOOM_MEMBERS(TransferProgress, &TransferProgress::done, &TransferProgress::total);
KINLOOM_MEMBERS(W::HttpOptions, &W::HttpOptions::connectTo, &W::HttpOptions::connectTimeoutMs, &W::HttpOptions::stallTimeoutMs,
                &W::HttpOptions::stallBytesPerSecond, &W::HttpOptions::totalTimeoutMs, &W::HttpOptions::maxRedirects,
                &W::HttpOptions::maxMemoryBody, &W::HttpOptions::maxFileBody, &W::HttpOptions::maxHeaderBytes,
                &W::HttpOptions::maxTransfers, &W::HttpOptions::maxConnectionsPerHost, &W::HttpOptions::maxRequests,
                &W::HttpOptions::downloadBufferBytes, &W::HttpOptions::uploadBufferBytes, &W::HttpOptions::userAgent,
                &W::HttpOptions::proxy, &W::HttpOptions::leadTo, &W::HttpOptions::caFile);
KINLOOM_MEMBERS(Settings, &Settings::plugin, &Settings::options, &Settings::client, &Settings::patience, &Settings::log,
                &Settings::signInAgain, &Settings::helperProgram);

#undef KINLOOM_MEMBERS

} // namespace kinloom

#endif
