// SPDX-License-Identifier: MIT
/// \file Guests who add photos to a group from their telephones.
#ifndef KINLOOM_TV_GUESTS_GUESTS_H
#define KINLOOM_TV_GUESTS_GUESTS_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tv {

/// What all guests of one key together may do.
struct GuestLimits {
    unsigned count = 100;                              ///< photos
    std::uint64_t bytes = std::uint64_t{1} << 30;      ///< of all photos
    std::uint64_t bytesEach = std::uint64_t{50} << 20; ///< of one photo
    std::chrono::seconds life = std::chrono::hours(6);
};

/// A photo of a guest, on this television's disk until it is sent.
struct GuestPhoto {
    std::string id;       ///< of its transfer
    std::string group;    ///< where it goes
    std::string path;     ///< a file that is there until \c done is called
    std::string mimeType; ///< as its bytes show
};

enum class GuestResult : std::uint8_t {
    DONE,
    REFUSED, ///< the service does not take it: asking again makes no difference
    AWAY,    ///< the service does not answer; the guest may try again
};

/// Sends guests' photos to the service.
class GuestUploads {
public:
    using Progress = std::function<void(double done, double total)>;
    using Done = std::function<void(GuestResult result)>;

    GuestUploads() = default;
    GuestUploads(const GuestUploads&) = delete;
    GuestUploads& operator=(const GuestUploads&) = delete;
    virtual ~GuestUploads() = default;

    /// Begins to send a photo.
    /// \param progress may be called on any thread until \c done is.
    /// \param done called once, at once or later, on any thread. Not cancelling ends it, but it may call \c done early.
    virtual void send(const GuestPhoto& photo, Progress progress, Done done) = 0;
    /// Nobody waits for the photo any more: \c done should be called soon.
    virtual void cancel(const std::string& id) = 0;
};

struct GuestTransfer {
    enum class State : std::uint8_t {
        ARRIVING, ///< from the telephone
        SENDING,  ///< to the service
        DONE,
        REFUSED, ///< no picture, too large, or not taken by the service
        FAILED,  ///< the telephone or the service went away
    };

    std::string id;
    std::string name; ///< of the file, as the guest's telephone says: a stranger's text
    std::uint64_t sent = 0;
    std::uint64_t size = 0;
    State state = State::ARRIVING;
};

/// "arriving", "sending", "done", "refused", "failed"
const char* nameOf(GuestTransfer::State state);

struct GuestSnapshot {
    bool open = false;
    std::string url; ///< what the QR code says: the key is in it
    std::string group;
    std::chrono::seconds expiresIn{0};
    unsigned leftCount = 0;
    std::uint64_t leftBytes = 0;
    std::vector<GuestTransfer> transfers; ///< the latest, the oldest first
};

struct GuestSettings {
    std::string listen;    ///< "ADDR:PORT"; an address that stands for all is told by the computer's own in the network
    std::string webFolder; ///< with the folder "guest", the page; empty where there is none
    std::string temporary; ///< a folder for photos on their way, made when it is missing; what is in it is removed
};

/// The guests' page on the home's network: a listener of its own, that answers nothing but the page of the key that is in force.
/// Without one it answers nothing at all. All members may be called from any thread.
class Guests {
public:
    /// Listens at once, so that an address that cannot be had shows at the start. Uploads must outlive it.
    /// \param changed called on a thread of this object when the snapshot has changed, at most a few times a second. It may ask for
    /// the snapshot, must return soon, and must not end this object.
    /// Throws std::runtime_error with a sentence.
    Guests(GuestSettings settings, GuestUploads& uploads, std::function<void()> changed);
    Guests(const Guests&) = delete;
    Guests& operator=(const Guests&) = delete;
    /// Stops, and waits for uploads to be cancelled.
    ~Guests();

    /// Lets guests in, with a key made just now; the one before ends.
    /// \param groupName what guests see of the group
    GuestSnapshot start(const std::string& group, const std::string& groupName, const GuestLimits& limits);
    /// Ends the key: what is arriving or being sent is cancelled.
    void stop();
    GuestSnapshot snapshot() const;
    /// "ADDR:PORT" that it listens on, the port being the real one.
    const std::string& address() const;

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace tv

#endif
