// SPDX-License-Identifier: MIT
/// \file The television as a whole.
#ifndef KINLOOM_TV_SERVICE_TELEVISION_H
#define KINLOOM_TV_SERVICE_TELEVISION_H

#include "common/FolderLock.h"
#include "tv/core/Events.h"
#include "tv/core/Favourites.h"
#include "tv/core/Options.h"
#include "tv/core/Preferences.h"
#include "tv/index/Index.h"
#include "tv/service/AddressBook.h"
#include "tv/service/Connection.h"
#include "tv/service/Follower.h"
#include "tv/service/GuestSender.h"
#include "tv/service/PairingRun.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace tv {

/// Everything that the page shows, from the service to the disk, with its changes as events. All members may be called from any
/// thread.
class Television : private FollowerNews {
public:
    /// Throws std::runtime_error with a sentence where a folder cannot be used, the configuration cannot be read, or an address
    /// cannot be listened on.
    explicit Television(const Options& options);
    Television(const Television&) = delete;
    Television& operator=(const Television&) = delete;
    ~Television() override;

    Index& index() { return m_index; }
    Connection& connection() { return m_connection; }
    Favourites& favourites() { return m_favourites; }
    Preferences& preferences() { return m_preferences; }
    Events& events() { return m_events; }
    Pictures& pictures() { return *m_pictures; }
    AddressBook& addresses() { return m_addresses; }
    Follower& follower() { return m_follower; }
    /// Whether there is a family whose photos may be shown.
    bool isSomebodys() const;
    /// The identifier of whoever it belongs to; empty while that is not known.
    std::string person() const;
    /// Null when the program was started without guests.
    Guests* guests() { return m_guests.get(); }

    /// What the page shows of the whole.
    Json state() const;
    Json guestsState() const;
    /// Tells the build of the page that is served.
    void setVersion(const std::string& version);

    /// Tries again to be taken in, after a refusal.
    void pairAgain();
    /// Belongs to nobody any more: what it signs in with goes from the configuration, and all that it has of the family from the
    /// disk. Throws std::runtime_error where the configuration cannot be written.
    void signOut();

    /// A content that is gone: from the index, from the cache, and for all pages.
    void drop(const std::string& content);
    void setHidden(const std::string& content, bool hidden);
    /// Pages are told that a content has other comments.
    void tellOfComment(const std::string& group, const std::string& content);

private:
    void signedIn(const Owner& owner) override;
    void turnedAway() override;
    void groupsChanged() override;
    void groupGone(const std::string& group) override;
    void contentsChanged(const std::string& group, const Changes& changes) override;
    void indexChanged(const std::string& group) override;
    void passingBy(const std::vector<W::WContent>& contents) override;

    bool beginIfPaired();
    void paired(const kinloom::PairedDevice& device);
    void forgetFamily(const std::string& ownerNow);
    void tellState();
    void tellIndex(const std::string& group);
    void runErrands();
    void endGuestsNobodySees();

    const Options m_options;
    common::FolderLock m_lock; ///< of the cache
    Favourites m_favourites;
    Preferences m_preferences;
    Events m_events;
    Index m_index;
    Connection m_connection;
    AddressBook m_addresses;
    GuestSender m_guestSender;
    mutable std::mutex m_mutex;
    bool m_paired = false; // guarded by m_mutex, like all below
    std::optional<Owner> m_owner;
    std::string m_version = "none";
    bool m_ready = false;     ///< all of this object is there
    bool m_forgotten = false; ///< nothing of any family is left
    std::unique_ptr<Pictures> m_pictures;
    std::unique_ptr<Guests> m_guests;
    Follower m_follower;
    PairingRun m_pairing;
    std::condition_variable m_errandsWoken;
    bool m_guestsChanged = false; // guarded by m_mutex, like the next
    bool m_ending = false;
    std::chrono::steady_clock::time_point m_seen{}; ///< when a page listened last; of the errands alone
    std::thread m_errands;                          ///< what takes a moment and nobody waits for
};

} // namespace tv

#endif
