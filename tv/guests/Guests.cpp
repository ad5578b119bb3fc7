// SPDX-License-Identifier: MIT
#include "tv/guests/Guests.h"

#include "common/Files.h"
#include "httpd/Server.h"
#include "httpd/StaticFiles.h"
#include "tv/guests/GuestBook.h"
#include "tv/guests/GuestPhotoSink.h"
#include "tv/guests/LanAddress.h"

#include <algorithm>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

namespace tv {

namespace {

using nlohmann::json;

/// What strangers in the network may ask: little at a time, and no slower than a bad wireless network.
httpd::Limits guestLimits()
{
    using std::chrono::seconds;
    httpd::Limits limits;
    limits.headerBytes = 8 * 1024;
    limits.connections = 96;
    limits.connectionsPerAddress = 16;
    limits.requestsPerSecond = 40;
    limits.idleTime = seconds(20);
    limits.headerTime = seconds(20);
    limits.bytesPerSecond = 24 * 1024;
    limits.chunkedBytes = 20 * 1024 * 1024;
    return limits;
}

/// A telephone that is refused a large photo gets to hear it.
constexpr std::uint64_t DROP_LIMIT = std::uint64_t{16} << 20;

constexpr std::pair<const char*, const char*> HEADERS[] = {
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob: data:; connect-src 'self'; "
     "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"X-Frame-Options", "DENY"},
    {"Referrer-Policy", "same-origin"}, // the key is in the address
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Permissions-Policy", "geolocation=(), microphone=(), payment=(), usb=()"},
};

/// How often whoever follows is told at most.
constexpr std::chrono::milliseconds TOLD_EACH{200};
/// How long uploads have to end when all ends.
constexpr std::chrono::seconds ENDING_TIME{10};

struct StateName {
    GuestTransfer::State state;
    const char* name;
};
constexpr StateName STATE_NAMES[] = {
    {GuestTransfer::State::ARRIVING, "arriving"}, {GuestTransfer::State::SENDING, "sending"}, {GuestTransfer::State::DONE, "done"},
    {GuestTransfer::State::REFUSED, "refused"},   {GuestTransfer::State::FAILED, "failed"},
};

httpd::Reply nothing(unsigned status)
{
    httpd::Reply reply;
    reply.status = status;
    reply.headers.emplace_back("Cache-Control", "no-store");
    return reply;
}

httpd::StaticFiles filesIn(const std::string& webFolder)
{
    httpd::StaticFiles files;
    if (!webFolder.empty())
        files.addFolder((std::filesystem::path(webFolder) / "guest").string());
    return files;
}

std::string preparedFolder(const std::string& path)
{
    namespace fs = std::filesystem;
    std::error_code none;
    fs::create_directories(fs::path(path).parent_path(), none);
    fs::remove_all(path, none);
    try {
        common::makePrivateFolder(path);
    } catch (const std::system_error& error) {
        throw std::runtime_error("the folder " + path + " cannot be used for guests' photos: " + error.code().message());
    }
    return path;
}

} // namespace

const char* nameOf(GuestTransfer::State state)
{
    return std::find_if(std::begin(STATE_NAMES), std::end(STATE_NAMES), [&](const StateName& one) { return one.state == state; })
        ->name;
}

namespace {

/// Rings for whoever follows what changes. Photos that end late may ring it when all else is gone.
class ChangeBell {
public:
    using Clock = GuestBook::Clock;

    void ring()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_rung = true;
        m_changed.notify_all();
    }
    void end()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_ending = true;
        m_changed.notify_all();
    }
    /// Waits for a change. \param until at most; nothing for as long as it takes. \return false at the end.
    bool wait(std::optional<Clock::time_point> until)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        const auto something = [this] { return m_ending || m_rung; };
        if (until)
            m_changed.wait_until(lock, *until, something);
        else
            m_changed.wait(lock, something);
        m_rung = false;
        return !m_ending;
    }
    /// Lets changes gather for a while. \return false at the end.
    bool rest(std::chrono::milliseconds time)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return !m_changed.wait_for(lock, time, [this] { return m_ending; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_rung = false;
    bool m_ending = false;
};

} // namespace

/// The handler of the listener, and the thread that tells what has changed and ends keys in time.
class Guests::Impl : public httpd::Handler {
public:
    Impl(GuestSettings settings, GuestUploads& uploads, std::function<void()> changed);
    ~Impl() override;

    GuestSnapshot start(const std::string& group, const std::string& groupName, const GuestLimits& limits);
    void stop();
    GuestSnapshot snapshot() const;
    const std::string& address() const { return m_address; }

    httpd::Decision decide(const httpd::RequestHead& head, httpd::Connection& connection) override;
    httpd::Reply refusal(const httpd::RequestHead& head, const httpd::Refusal& refusal) override;

private:
    void watch();
    httpd::Decision answer(std::string_view path, const httpd::RequestHead& head, httpd::Connection& connection);
    httpd::Decision photo(const httpd::RequestHead& head, httpd::Connection& connection);
    httpd::Reply state() const;
    httpd::Reply page(std::string_view path, const httpd::RequestHead& head) const;

    GuestUploads& m_uploads;
    const std::function<void()> m_changed;
    const httpd::StaticFiles m_files;
    const std::string m_temporary;
    const std::shared_ptr<ChangeBell> m_bell = std::make_shared<ChangeBell>();
    const std::shared_ptr<GuestBook> m_book = std::make_shared<GuestBook>([bell = m_bell] { bell->ring(); });
    std::string m_address;
    std::unique_ptr<httpd::Server> m_server;
    std::thread m_watcher;
};

Guests::Impl::Impl(GuestSettings settings, GuestUploads& uploads, std::function<void()> changed)
    : m_uploads(uploads),
      m_changed(std::move(changed)),
      m_files(filesIn(settings.webFolder)),
      m_temporary(preparedFolder(settings.temporary))
{
    httpd::Listener listener(settings.listen);
    m_address = listener.address();
    m_server = std::make_unique<httpd::Server>(std::move(listener), guestLimits(), *this);
    m_watcher = std::thread([this] { watch(); });
}

Guests::Impl::~Impl()
{
    stop();
    m_server.reset();
    m_bell->end();
    m_watcher.join();
    // What goes on longer than this refers to nothing of this object.
    const auto end = GuestBook::Clock::now() + ENDING_TIME;
    while (m_book->onTheirWay() > 0 && GuestBook::Clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

void Guests::Impl::watch()
{
    // A key that ends by itself ends like one that is ended.
    std::optional<GuestBook::Clock::time_point> end;
    while (m_bell->wait(end)) {
        end = m_book->end();
        if (end && GuestBook::Clock::now() >= *end) {
            stop();
            end.reset();
        }
        m_changed();
        if (!m_bell->rest(TOLD_EACH))
            return;
    }
}

GuestSnapshot Guests::Impl::start(const std::string& group, const std::string& groupName, const GuestLimits& limits)
{
    stop();
    m_book->open(group, groupName, limits);
    return snapshot();
}

void Guests::Impl::stop()
{
    for (const std::string& id : m_book->close())
        m_uploads.cancel(id);
}

GuestSnapshot Guests::Impl::snapshot() const
{
    GuestSnapshot snapshot = m_book->snapshot();
    if (snapshot.open)
        snapshot.url = "http://" + lanAuthority(m_address) + "/" + m_book->key() + "/";
    return snapshot;
}

httpd::Reply Guests::Impl::refusal(const httpd::RequestHead&, const httpd::Refusal& refusal) { return nothing(refusal.status); }

httpd::Decision Guests::Impl::decide(const httpd::RequestHead& head, httpd::Connection& connection)
{
    const std::string host = head.header("Host").value_or("");
    if (!isOwnHost(host, m_address))
        return nothing(403);
    // "/KEY/…": whoever has not got the key learns nothing, not even whether there is one.
    std::string_view path = head.path();
    path.remove_prefix(std::min<std::size_t>(1, path.size()));
    const std::string_view key = path.substr(0, path.find('/'));
    if (!m_book->isKey(key))
        return nothing(404);
    path.remove_prefix(key.size());
    if (head.method != "GET" && head.method != "HEAD") {
        const auto site = head.header("Sec-Fetch-Site");
        if (head.header("Origin").value_or("") != "http://" + host || (site && *site != "same-origin"))
            return nothing(403);
    }
    httpd::Decision decision = answer(path, head, connection);
    decision.known = true;
    decision.dropLimit = DROP_LIMIT;
    return decision;
}

httpd::Decision Guests::Impl::answer(std::string_view path, const httpd::RequestHead& head, httpd::Connection& connection)
{
    if (path == "/photos" && head.method == "POST")
        return photo(head, connection);
    if (head.method != "GET" && head.method != "HEAD")
        return nothing(405);
    if (path.empty()) {
        // Addresses in the page are relative to the key's folder.
        httpd::Reply reply = nothing(303);
        reply.headers.emplace_back("Location", std::string(head.path()) + "/");
        return reply;
    }
    return path == "/state" ? state() : page(path, head);
}

httpd::Reply Guests::Impl::page(std::string_view path, const httpd::RequestHead& head) const
{
    auto reply = m_files.answer(path == "/" ? "/index.html" : path, head);
    if (!reply)
        return nothing(404);
    for (const auto& [name, value] : HEADERS)
        reply->headers.emplace_back(name, value);
    return std::move(*reply);
}

httpd::Reply Guests::Impl::state() const
{
    const GuestSnapshot snapshot = m_book->snapshot();
    httpd::Reply reply = nothing(200);
    reply.contentType = "application/json";
    reply.headers.emplace_back("X-Content-Type-Options", "nosniff");
    reply.body = json{{"group", m_book->groupName()},
                      {"left", {{"count", snapshot.leftCount}, {"bytes", snapshot.leftBytes}}},
                      {"limits", {{"bytes_each", m_book->limits().bytesEach}}},
                      {"expires_in", snapshot.expiresIn.count()}}
                     .dump(-1, ' ', false, json::error_handler_t::replace);
    return reply;
}

httpd::Decision Guests::Impl::photo(const httpd::RequestHead& head, httpd::Connection& connection)
{
    constexpr std::string_view NAME = "name=";
    std::string_view query = head.query();
    query = query.substr(0, query.find('&'));
    const std::string name = query.substr(0, NAME.size()) == NAME ? shownName(query.substr(NAME.size())) : std::string();
    const auto announced = head.bodySize ? std::optional(static_cast<std::uint64_t>(*head.bodySize)) : std::nullopt;
    if (announced == std::uint64_t{0})
        return guestFailure("bad_file");
    GuestAdmission admission = m_book->admit(name, announced, head.address);
    switch (admission.refusal) {
    case GuestRefusal::CLOSED:
        return guestFailure("closed");
    case GuestRefusal::TOO_LARGE:
        return guestFailure("too_large");
    case GuestRefusal::TOO_MANY:
        return guestFailure("too_many");
    case GuestRefusal::BUSY:
        return guestFailure("busy");
    case GuestRefusal::NONE:
        break;
    }
    try {
        return std::unique_ptr<httpd::BodySink>(
            std::make_unique<GuestPhotoSink>(GuestRoom{m_book, m_uploads, m_temporary}, std::move(admission), connection));
    } catch (const std::system_error&) {
        return guestFailure("disk_full");
    }
}

Guests::Guests(GuestSettings settings, GuestUploads& uploads, std::function<void()> changed)
    : m_impl(std::make_unique<Impl>(std::move(settings), uploads, std::move(changed)))
{
}

Guests::~Guests() = default;

GuestSnapshot Guests::start(const std::string& group, const std::string& groupName, const GuestLimits& limits)
{
    return m_impl->start(group, groupName, limits);
}

void Guests::stop() { m_impl->stop(); }

GuestSnapshot Guests::snapshot() const { return m_impl->snapshot(); }

const std::string& Guests::address() const { return m_impl->address(); }

} // namespace tv
