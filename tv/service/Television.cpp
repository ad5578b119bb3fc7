// SPDX-License-Identifier: MIT
#include "tv/service/Television.h"

#include "common/Files.h"
#include "kinloom/Route.h"
#include "tv/core/Log.h"
#include "tv/media/ContentSet.h"
#include "whost/ConfigFile.h"

#include <climits>
#include <exception>
#include <stdexcept>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace tv {

namespace {

constexpr const char* PROVIDER = "Kinloom";
constexpr const char* SIGN_IN_OPTIONS[] = {"app_id", "AuthToken", "duid"};
constexpr std::size_t MOST_EVENTS = 200; ///< of one change; beyond them everything is better read again

std::string hostName()
{
    char name[HOST_NAME_MAX + 1] = "";
    ::gethostname(name, sizeof name - 1);
    return *name == 0 ? "Television" : name;
}

W::ConfigFile configOf(const std::string& path)
{
    W::ConfigFile file(path);
    file.load();
    return file;
}

/// The owner as the index and the favourites note it.
std::string textOfOwner(const Owner& owner)
{
    return textOf(Json{{"service", owner.service}, {"person", owner.person}, {"name", owner.name}});
}

std::optional<Owner> readOwner(const std::string& text)
{
    const Json document = Json::parse(text, nullptr, false);
    if (!document.is_object())
        return std::nullopt;
    return Owner{document.value("service", ""), document.value("person", ""), document.value("name", "")};
}

/// Takes the cache's folder for this program alone.
common::FolderLock lockOf(const std::string& folder)
{
    common::makePrivateFolder(folder);
    common::FolderLock lock;
    if (!common::FolderLock::tryExclusive(folder + "/lock", lock))
        throw std::runtime_error("another kinloom-tv uses the cache " + folder + "; --cache names another folder");
    return lock;
}

} // namespace

Television::Television(const Options& options)
    : m_options(options),
      m_lock(lockOf(options.cache)),
      m_favourites(options.state + "/favourites.json"),
      m_preferences(options.state + "/settings.json"),
      m_index(options.cache + "/index.db",
              {[this](const std::string& content) { return m_favourites.is(Favourites::Kind::HIDDEN, content); },
               [this] {
                   m_events.tell("reset", Json::object());
                   m_follower.signInAnew();
               },
               [this] { return m_pictures && m_pictures->makeRoom(); }}),
      m_connection([this] { tellState(); }, [this] { m_follower.doubt(); }),
      m_addresses(m_index, m_connection, [this](const std::string& content) { drop(content); }),
      m_guestSender(m_connection),
      m_follower(m_index, m_connection, *this, options.times),
      m_pairing(options.service, hostName(),
                {[this] { tellState(); }, [this](const kinloom::PairedDevice& device) { paired(device); }})
{
    PictureSettings pictures;
    pictures.folder = options.cache + "/pictures";
    pictures.limit = options.cacheSize;
    m_pictures = std::make_unique<Pictures>(pictures, m_addresses);
    if (!options.lan.empty()) {
        GuestSettings settings;
        settings.listen = options.lan;
        settings.webFolder = options.web;
        settings.temporary = options.cache + "/guests";
        m_guests = std::make_unique<Guests>(settings, m_guestSender, [this] {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_guestsChanged = true;
            m_errandsWoken.notify_all();
        });
    }
    m_owner = readOwner(m_index.owner());
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_ready = true;
    }
    m_follower.start();
    if (!beginIfPaired()) {
        // What somebody removed the credentials of shows nothing any more, whether the index can tell whose it was or not.
        forgetFamily({});
        m_pairing.begin();
    }
    m_errands = std::thread([this] { runErrands(); });
}

Television::~Television()
{
    // Those who have threads of their own end before what they work with does.
    m_pairing.stop();
    m_follower.stop();
    m_connection.end();
    m_addresses.stop();
    m_follower.join();
    m_addresses.join();
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_ending = true;
    }
    m_errandsWoken.notify_all();
    m_errands.join();
    m_guests.reset();
    m_pictures.reset();
}

void Television::runErrands()
{
    m_index.examine();
    while (true) {
        bool changed = false;
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_errandsWoken.wait_for(lock, m_options.rounds, [this] { return m_ending || m_guestsChanged; });
            if (m_ending)
                return;
            changed = std::exchange(m_guestsChanged, false);
        }
        if (changed)
            m_events.tell("guests", guestsState());
        endGuestsNobodySees();
        m_favourites.keepAgain();
    }
}

/// The key is for those who see it on the screen: with no page open for a while it ends.
void Television::endGuestsNobodySees()
{
    const auto now = std::chrono::steady_clock::now();
    if (!m_guests || !m_guests->snapshot().open || m_events.listeners() > 0)
        m_seen = now;
    else if (now - m_seen >= m_options.unseen)
        m_guests->stop();
}

bool Television::beginIfPaired()
{
    const W::ConfigFile file = configOf(m_options.config);
    kinloom::Settings settings = kinloom::Settings::fromConfigFile(m_options.config);
    if (!m_options.service.empty())
        kinloom::leadTo(settings.client, m_options.service);
    W::setHttpOptions(settings.client);
    for (const char* const key : SIGN_IN_OPTIONS)
        if (file.option(PROVIDER, key).value_or("").empty())
            return false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_paired = true;
    }
    m_connection.begin(settings);
    m_follower.signInAnew();
    return true;
}

void Television::paired(const kinloom::PairedDevice& device)
{
    W::ConfigFile file = configOf(m_options.config);
    kinloom::keepDevice(device, m_options.service, file);
    beginIfPaired();
    tellState();
}

void Television::pairAgain()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_paired)
            return;
    }
    m_pairing.begin();
}

void Television::signOut()
{
    W::ConfigFile file = configOf(m_options.config);
    for (const char* const key : SIGN_IN_OPTIONS)
        file.removeOption(PROVIDER, key);
    file.save();
    if (m_guests)
        m_guests->stop();
    m_connection.end();
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_paired = false;
    }
    forgetFamily({});
    m_connection.setStanding(Standing::OK);
    m_pairing.begin();
    tellState();
}

/// Empties index and cache. \param ownerNow whose they are from now on; empty for nobody.
void Television::forgetFamily(const std::string& ownerNow)
{
    {
        // Nobody's until nothing of the last one is left: signedIn() names the next one.
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_owner.reset();
    }
    m_addresses.clear();
    m_pictures->clear();
    m_index.beginFor(ownerNow);
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_forgotten = ownerNow.empty();
    }
    m_events.tell("reset", Json::object());
}

void Television::signedIn(const Owner& owner)
{
    const auto before = readOwner(m_index.owner());
    const auto last = before ? before : readOwner(m_favourites.owner()); // an index that was damaged has forgotten it
    const std::string text = textOfOwner(owner);
    if (!last || !last->isSame(owner))
        forgetFamily(text);
    else if (!before || before->name != owner.name)
        m_index.setOwner(text);
    m_favourites.beginFor(textOfOwner({owner.service, owner.person, {}}));
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_forgotten = false;
        m_owner = owner;
    }
    m_connection.setStanding(Standing::OK);
    tellState();
}

void Television::turnedAway()
{
    if (m_guests)
        m_guests->stop();
    m_connection.setStanding(Standing::REFUSED);
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_forgotten)
            return; // it was turned away before
    }
    log("the service does not know this television any more; it shows nothing until it is taken in anew");
    forgetFamily({});
    tellState();
}

void Television::groupsChanged() { m_events.tell("groups", Json::object()); }

void Television::groupGone(const std::string& group)
{
    if (m_guests && m_guests->snapshot().group == group)
        m_guests->stop();
    ContentSet contents;
    m_index.eachContent(group, [&](const std::string& content) { contents.add(content); });
    contents.finish();
    // Out of sight first, since there may be very many of them.
    m_index.hideGroup(group);
    m_events.tell("reset", Json::object());
    m_pictures->drop(contents);
    m_index.removeGroup(group);
}

void Television::contentsChanged(const std::string& group, const Changes& changes)
{
    for (const std::string& content : changes.removed)
        m_pictures->drop(content);
    if (changes.added.size() + changes.removed.size() + changes.commented.size() > MOST_EVENTS) {
        m_events.tell("reset", Json::object());
        return;
    }
    for (const std::string& content : changes.removed)
        m_events.tell("deleted", {{"group", group}, {"content_id", content}});
    for (const std::string& content : changes.added)
        if (const auto index = m_index.indexOf(content)) // what was hidden before it came is no news
            m_events.tell("content", {{"group", group}, {"content_id", content}, {"index", *index}});
    for (const std::string& content : changes.commented)
        tellOfComment(group, content);
    if (!changes.added.empty() || !changes.removed.empty())
        tellIndex(group);
}

void Television::tellOfComment(const std::string& group, const std::string& content)
{
    m_events.tell("comment", {{"group", group}, {"content_id", content}});
}

void Television::indexChanged(const std::string& group) { tellIndex(group); }

void Television::tellIndex(const std::string& group)
{
    if (const auto known = m_index.group(group))
        m_events.tell("index", {{"group", group}, {"complete", known->progress.complete}, {"total", m_index.count(group)}});
}

void Television::passingBy(const std::vector<W::WContent>& contents) { m_addresses.note(contents); }

void Television::drop(const std::string& content)
{
    m_pictures->drop(content);
    const auto found = m_index.find(content);
    if (!found)
        return;
    try {
        m_index.remove(content);
    } catch (const NoRoom& lack) {
        log(lack.what());
    }
    m_events.tell("deleted", {{"group", found->entry.group}, {"content_id", content}});
    tellIndex(found->entry.group);
}

void Television::setHidden(const std::string& content, bool hidden)
{
    const auto found = m_index.find(content);
    // What cannot be kept holds all the same, until the program ends: whoever asked is told, and sees it.
    std::exception_ptr notKept;
    try {
        m_favourites.set(Favourites::Kind::HIDDEN, content, hidden);
    } catch (const std::system_error&) {
        notKept = std::current_exception();
    }
    m_index.setHidden(content, hidden);
    if (found && found->hidden != hidden) {
        const std::string& group = found->entry.group;
        if (hidden)
            m_events.tell("deleted", {{"group", group}, {"content_id", content}});
        else if (const auto index = m_index.indexOf(content))
            m_events.tell("content", {{"group", group}, {"content_id", content}, {"index", *index}});
        tellIndex(group);
    }
    if (notKept)
        std::rethrow_exception(notKept);
}

bool Television::isSomebodys() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_paired && m_connection.standing() != Standing::REFUSED;
}

std::string Television::person() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_owner ? m_owner->person : std::string();
}

void Television::setVersion(const std::string& version)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_version = version;
}

void Television::tellState()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_ready)
            return;
    }
    m_events.tell("state", state());
}

Json Television::guestsState() const
{
    if (!m_guests)
        return nullptr;
    const GuestSnapshot guests = m_guests->snapshot();
    if (!guests.open)
        return nullptr;
    Json transfers = Json::array();
    for (const GuestTransfer& transfer : guests.transfers)
        transfers.push_back({{"id", transfer.id},
                             {"name", transfer.name},
                             {"sent", transfer.sent},
                             {"size", transfer.size},
                             {"state", nameOf(transfer.state)}});
    return {{"url", guests.url},
            {"qr", qrCodeOf(guests.url)},
            {"group", guests.group},
            {"expires_in", guests.expiresIn.count()},
            {"left", {{"count", guests.leftCount}, {"bytes", guests.leftBytes}}},
            {"transfers", std::move(transfers)}};
}

Json Television::state() const
{
    Json state;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        state["paired"] = m_paired;
        state["service"] = nameOf(m_connection.standing());
        state["person"] = m_owner && m_paired ? Json{{"id", m_owner->person}, {"name", m_owner->name}} : Json(nullptr);
        state["version"] = m_version;
    }
    state["pairing"] = m_pairing.state();
    state["guests"] = guestsState();
    state["guests_possible"] = m_guests != nullptr;
    state["settings"] = m_preferences.all();
    const PictureBox most = PictureSettings().most;
    state["panel"] = {{"width", most.width}, {"height", most.height}};
    return state;
}

} // namespace tv
