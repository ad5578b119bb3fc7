// SPDX-License-Identifier: MIT
/// \file Records as the page reads them: those of "kinloom --json", with what the page needs beside them.
#ifndef KINLOOMD_OPERATIONS_PAGE_PAGERECORDS_H
#define KINLOOMD_OPERATIONS_PAGE_PAGERECORDS_H

#include "operations/page/Json.h"
#include "store/People.h"
#include "store/Sessions.h"

namespace kinloomd {

class Service;

/// Writes records for one person.
class PageRecords {
public:
    PageRecords(const Service& service, Id viewer) : m_service(service), m_viewer(viewer) {}

    /// A time on the clocks of the service's zone.
    Json time(Millis time) const;
    Json person(const Person& person) const;
    /// \param role of the viewer
    Json group(const Group& group, Role role) const;
    /// Without its comments and events. \param role of the viewer in its group
    Json content(const Content& content, Role role) const;
    Json comment(const Comment& comment, Role role) const;
    Json event(const Event& event) const;
    Json device(const DeviceSummary& device) const;
    /// \param current the session that asks
    Json session(const Session& session, Id current) const;

    /// What the viewer is to a thing that somebody has made in a group.
    Role roleTo(Id author, Role inGroup) const;

private:
    Json optionalTime(std::optional<Millis> time) const { return time ? this->time(*time) : Json(nullptr); }

    const Service& m_service;
    Id m_viewer;
};

/// The address of a content's picture on the page.
std::string pageMediaAddress(Id content, const char* size);

/// The sizes of pictures by the names that the page has for them.
struct PageSize {
    const char* name;
    const char* thumbnail; ///< as ThumbnailSize names it
};
inline constexpr PageSize PAGE_SIZES[] = {{"large", "1920X1080"}, {"medium", "540X405"}, {"small", "116X87"}};

} // namespace kinloomd

#endif
