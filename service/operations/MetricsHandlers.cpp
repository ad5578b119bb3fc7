// SPDX-License-Identifier: MIT
#include "operations/MetricsHandlers.h"

#include "core/Failure.h"
#include "core/Files.h"
#include "core/Log.h"
#include "operations/LocalAccess.h"
#include "operations/Service.h"
#include "store/Moving.h"
#include "store/People.h"

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace kinloomd {

namespace {

constexpr std::size_t PROBE_BYTES = 4096;

Reply textReply(unsigned status, std::string text, const char* type = "text/plain; charset=utf-8")
{
    Reply reply;
    reply.status = status;
    reply.contentType = type;
    reply.headers.emplace_back("Cache-Control", "no-store");
    reply.body = std::move(text);
    return reply;
}

void askDatabase(Service& service)
{
    const auto connection = service.database().read();
    findPerson(connection, 0);
}

/// Of a service for which everything answers: what it cannot do all the same. One whose media were moved lacks those that are new.
Reply stateReply(Service& service)
{
    try {
        requireChangeable(service.database().read());
        return textReply(200, "well\n");
    } catch (const DatabaseReadOnly& error) {
        if (error.cause() != ReadOnlyCause::MEDIA_MOVED)
            return textReply(200, "well\nnothing can be changed: the records are moved\n");
        writeLog(Priority::FAILURE, std::string("unhealthy: ") + error.what());
        return textReply(503, "the media were moved: this service must be begun anew\n");
    } catch (const DatabaseUnavailable& error) {
        // The one who moves the records has that table for itself while it marks them.
        writeLog(Priority::WARNING, std::string("nobody knows whether the records are moved: ") + error.what());
        return textReply(200, "well\n");
    }
}

/// Writes where uploads are written.
void askDisk(Service& service)
{
    std::string path = service.folder().temporary() + "/health-XXXXXX";
    const UniqueFd file(::mkostemp(path.data(), O_CLOEXEC));
    if (!file)
        throwSystemError("create", path);
    ::unlink(path.c_str());
    writeAll(file.get(), std::string(PROBE_BYTES, '\0'), path);
}

void askMedia(Service& service) { service.media().probe(); }

struct Probe {
    const char* name;
    void (*ask)(Service&);
};

constexpr Probe PROBES[] = {{"database", &askDatabase}, {"disk", &askDisk}, {"store of media", &askMedia}};

Reply healthReply(Service& service, const httpd::Counters&)
{
    std::string failed;
    for (const Probe& probe : PROBES) {
        try {
            probe.ask(service);
        } catch (const std::exception& error) {
            writeLog(Priority::FAILURE, std::string("unhealthy: the ") + probe.name + " does not answer: " + error.what());
            failed += std::string("the ") + probe.name + " does not answer\n";
        }
    }
    return failed.empty() ? stateReply(service) : textReply(503, failed);
}

Reply metricsReply(Service& service, const httpd::Counters& server)
{
    Thumbnailer& thumbnailer = service.thumbnailer();
    return textReply(200, service.metrics().text(server, {service.uploadsUnderWay(), thumbnailer.waiting(), thumbnailer.made()}),
                     "text/plain; version=0.0.4; charset=utf-8");
}

struct Entry {
    std::string_view path;
    std::string_view word;
    Reply (*answer)(Service&, const httpd::Counters&);
};

constexpr Entry ENTRIES[] = {{"/healthz", "healthz", &healthReply}, {"/metrics", "metrics", &metricsReply}};

const Entry* findEntry(std::string_view path)
{
    for (const Entry& entry : ENTRIES) {
        if (entry.path == path)
            return &entry;
    }
    return nullptr;
}

} // namespace

std::string_view operatorsWord(std::string_view path)
{
    const Entry* const entry = findEntry(path);
    return entry == nullptr ? std::string_view() : entry->word;
}

std::optional<Reply> answerOperator(Service& service, const httpd::RequestHead& head, const httpd::Counters& server)
{
    const Entry* const entry = findEntry(head.path());
    if (entry == nullptr)
        return std::nullopt;
    requireLocalOr(service.options().metricsFrom, head);
    if (head.method != "GET" && head.method != "HEAD") {
        Reply reply = textReply(405, "Only GET and HEAD are known here.\n");
        reply.headers.emplace_back("Allow", "GET, HEAD");
        return reply;
    }
    return entry->answer(service, server);
}

} // namespace kinloomd
