// SPDX-License-Identifier: MIT
/// \file Where the service has the files of contents.
#ifndef KINLOOM_TV_SERVICE_ADDRESSBOOK_H
#define KINLOOM_TV_SERVICE_ADDRESSBOOK_H

#include "tv/index/Index.h"
#include "tv/media/Pictures.h"
#include "tv/service/Connection.h"
#include "tv/service/FeedEntries.h" // IWYU pragma: export

#include <condition_variable>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

namespace tv {

/// The addresses in the records, which the index does not keep: those of a few thousand contents that came by lately, and all
/// others asked of the service. Neighbours in a group that are asked for at about the same time are one question. All members may
/// be called from any thread.
class AddressBook : public PictureSource {
public:
    static constexpr std::size_t KEPT = 2000;

    /// \param gone told of a content that the service says is gone, on a thread of this object
    AddressBook(Index& index, Connection& connection, std::function<void(const std::string& content)> gone);
    /// To be destroyed after the connection has ended what is under way; whoever waits is told AWAY.
    ~AddressBook() override;

    void find(const std::string& content, bool anew, Done done) override;

    /// Takes addresses over from records.
    void note(const std::vector<W::WContent>& contents);
    void clear();
    /// Answers whoever waits with AWAY, and everybody else after that.
    void stop();
    /// Waits for the thread's end, after that.
    void join();

private:
    using Waiting = std::map<std::string, std::vector<Done>>;
    struct Question {
        std::string group;
        std::string before; ///< the marker
        unsigned int count = 0;
        std::vector<std::string> contents; ///< whose addresses it should bring
    };

    void run();
    Question nextQuestion();
    void ask(const Question& question);
    void askOne(const std::string& content);
    void answer(const std::string& content, Answer answer, const PictureAddresses& addresses);
    bool answerKnown(const std::string& content);
    void keep(const std::string& content, PictureAddresses addresses);

    Index& m_index;
    Connection& m_connection;
    const std::function<void(const std::string&)> m_gone;

    std::mutex m_mutex;
    std::condition_variable m_woken;
    bool m_ending = false; // guarded by m_mutex, like all below
    Waiting m_waiting;
    std::list<std::string> m_order; ///< of what is known, that which was used last first
    struct Known {
        PictureAddresses addresses;
        std::list<std::string>::iterator place;
    };
    std::unordered_map<std::string, Known> m_known;
    std::thread m_thread;
};

} // namespace tv

#endif
