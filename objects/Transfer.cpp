// SPDX-License-Identifier: MIT
#include "objects/Transfer.h"

#include <algorithm>
#include <cerrno>
#include <curl/curl.h>
#include <libxml/parser.h>
#include <sys/eventfd.h>
#include <system_error>
#include <utility>

namespace objects {

namespace {

constexpr std::size_t MOST_IDLE = 16;                          ///< lanes
constexpr std::size_t MOST_WAITING = std::size_t{256} * 1024;  ///< bytes of a body, until the store has to wait
constexpr std::size_t MOST_IN_DOCUMENT = std::size_t{4} << 20; ///< a list of a thousand keys of a thousand escapes each
constexpr std::size_t MOST_IN_HEAD = std::size_t{64} * 1024;   ///< bytes
constexpr long CONNECTION_AGE = 30;                            ///< seconds at rest, after which a connection is likely to be cut
constexpr long RECEIVE_BUFFER = 64L * 1024;
constexpr std::chrono::milliseconds LONGEST_POLL{60'000};

/// What no other attempt will change.
constexpr struct {
    CURLcode code;
    const char* sentence;
} LASTING[] = {
    {CURLE_PEER_FAILED_VERIFICATION, "the store's certificate is not one that this computer trusts for that name"},
    {CURLE_SSL_CACERT_BADFILE, "the certificates that this computer trusts cannot be read"},
};

void initialiseOnce()
{
    // Both libraries want this before a second thread begins to use them; done here, nobody can forget it.
    static const bool done = [] {
        ::xmlInitParser();
        return ::curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    }();
    if (!done)
        throw std::runtime_error("libcurl cannot be used");
}

} // namespace

/// A request at a time, and the connection that the last one has left.
struct Lanes::Lane {
    Lane() : multi(::curl_multi_init()), easy(::curl_easy_init())
    {
        if (multi == nullptr || easy == nullptr) {
            end();
            throw std::bad_alloc();
        }
    }
    Lane(const Lane&) = delete;
    Lane& operator=(const Lane&) = delete;
    ~Lane() { end(); }

    CURLM* multi;
    CURL* easy;

private:
    void end() const
    {
        ::curl_easy_cleanup(easy);
        ::curl_multi_cleanup(multi);
    }
};

Lanes::Lanes() : m_stop(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    initialiseOnce();
    if (!m_stop)
        throw std::system_error(errno, std::generic_category(), "cannot make an event descriptor");
}

Lanes::~Lanes() = default;

void Lanes::stop() { ::eventfd_write(m_stop.get(), 1); }

std::unique_ptr<Lanes::Lane> Lanes::take()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_idle.empty())
        return std::make_unique<Lane>();
    std::unique_ptr<Lane> lane = std::move(m_idle.back());
    m_idle.pop_back();
    return lane;
}

void Lanes::giveBack(std::unique_ptr<Lane> lane)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_idle.size() < MOST_IDLE)
        m_idle.push_back(std::move(lane));
}

/// What libcurl calls. None of it may throw.
struct Transfer::Callbacks {
    static std::size_t send(char* buffer, std::size_t size, std::size_t count, void* context) noexcept
    {
        auto& transfer = *static_cast<Transfer*>(context);
        try {
            const std::size_t read = transfer.m_payload.read(buffer, size * count, transfer.m_sent);
            transfer.m_sent += static_cast<std::int64_t>(read);
            transfer.m_moved += static_cast<std::int64_t>(read);
            return read;
        } catch (...) {
            transfer.m_failure = std::current_exception();
            return CURL_READFUNC_ABORT;
        }
    }

    /// A connection that was kept, and that the store has closed meanwhile, is replaced by libcurl, which begins the body anew.
    static int rewind(void* context, curl_off_t offset, int origin) noexcept
    {
        if (origin != SEEK_SET)
            return CURL_SEEKFUNC_CANTSEEK;
        static_cast<Transfer*>(context)->m_sent = offset;
        return CURL_SEEKFUNC_OK;
    }

    static std::size_t takeHeader(char* bytes, std::size_t size, std::size_t count, void* context) noexcept
    try {
        auto& transfer = *static_cast<Transfer*>(context);
        const std::string_view line(bytes, size * count);
        transfer.m_moved += static_cast<std::int64_t>(line.size());
        if (line.rfind("HTTP/", 0) == 0) {
            // Behind "100 Continue" comes the answer.
            transfer.m_answerHeaders.clear();
            transfer.m_headWhole = false;
        } else if (line == "\r\n" || line == "\n") {
            long status = 0;
            ::curl_easy_getinfo(transfer.m_lane->easy, CURLINFO_RESPONSE_CODE, &status);
            transfer.m_status = static_cast<unsigned>(status);
            transfer.m_headWhole = status >= 200;
        } else if (const auto colon = line.find(':'); colon != std::string_view::npos) {
            std::string_view value = line.substr(colon + 1);
            const auto begin = value.find_first_not_of(" \t\r\n");
            value = begin == std::string_view::npos ? std::string_view()
                                                    : value.substr(begin, value.find_last_not_of(" \t\r\n") - begin + 1);
            transfer.m_answerHeaders.emplace_back(lowerCased(std::string(line.substr(0, colon))), value);
            transfer.m_headSize += line.size();
        }
        return transfer.m_headSize > MOST_IN_HEAD ? 0 : line.size();
    } catch (...) {
        return 0; // ends the transfer
    }

    static std::size_t takeBody(char* bytes, std::size_t size, std::size_t count, void* context) noexcept
    try {
        auto& transfer = *static_cast<Transfer*>(context);
        const std::size_t length = size * count;
        if (transfer.m_waiting.size() - transfer.m_taken >= MOST_WAITING) {
            transfer.m_paused = true;
            return CURL_WRITEFUNC_PAUSE;
        }
        transfer.m_waiting.erase(0, std::exchange(transfer.m_taken, 0));
        transfer.m_waiting.append(bytes, length);
        transfer.m_moved += static_cast<std::int64_t>(length);
        return length;
    } catch (...) {
        return 0;
    }
};

Transfer::Transfer(Lanes& lanes, const WireRequest& request, const Pace& pace)
    : m_lanes(lanes), m_pace(pace), m_lane(lanes.take()), m_payload(request.payload)
{
    set(request);
    ::curl_multi_add_handle(m_lane->multi, m_lane->easy);
}

Transfer::~Transfer()
{
    // A transfer in its midst takes its connection with it.
    ::curl_multi_remove_handle(m_lane->multi, m_lane->easy);
    ::curl_easy_reset(m_lane->easy);
    m_lanes.giveBack(std::move(m_lane));
}

void Transfer::set(const WireRequest& request)
{
    CURL* const easy = m_lane->easy;
    curl_slist* list = nullptr;
    const auto add = [&list](const std::string& line) {
        curl_slist* const longer = ::curl_slist_append(list, line.c_str());
        if (longer == nullptr) {
            ::curl_slist_free_all(list);
            throw std::bad_alloc();
        }
        list = longer;
    };
    for (const auto& [name, value] : request.headers)
        add(name + ": " + value);
    // A store that refuses says so in any case, and one that does not would keep each upload waiting.
    add("Expect:");
    m_headers = {list, [](void* headers) { ::curl_slist_free_all(static_cast<curl_slist*>(headers)); }};

    ::curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
    ::curl_easy_setopt(easy, CURLOPT_HTTPHEADER, list);
    ::curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    ::curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1});
    // What is signed is what must be sent, dots and all.
    ::curl_easy_setopt(easy, CURLOPT_PATH_AS_IS, 1L);
    ::curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    ::curl_easy_setopt(easy, CURLOPT_MAXAGE_CONN, CONNECTION_AGE);
    ::curl_easy_setopt(easy, CURLOPT_BUFFERSIZE, RECEIVE_BUFFER);
    ::curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(m_pace.connect.count()));
    ::curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &Callbacks::takeHeader);
    ::curl_easy_setopt(easy, CURLOPT_HEADERDATA, this);
    ::curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Callbacks::takeBody);
    ::curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
    if (request.method == "HEAD") {
        ::curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
    } else if (request.method == "PUT" || request.method == "POST") {
        ::curl_easy_setopt(easy, CURLOPT_UPLOAD, 1L);
        ::curl_easy_setopt(easy, CURLOPT_READFUNCTION, &Callbacks::send);
        ::curl_easy_setopt(easy, CURLOPT_READDATA, this);
        ::curl_easy_setopt(easy, CURLOPT_SEEKFUNCTION, &Callbacks::rewind);
        ::curl_easy_setopt(easy, CURLOPT_SEEKDATA, this);
        ::curl_easy_setopt(easy, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(m_payload.size()));
    }
    if (request.method != "HEAD" && request.method != "GET")
        ::curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request.method.c_str());
}

template <class Condition> void Transfer::drive(Condition until, Clock::time_point deadline)
{
    for (;;) {
        // What has come is taken before what has cut it off is told.
        if (until())
            return;
        if (m_failure)
            std::rethrow_exception(m_failure);
        if (m_ended)
            throw TransferFailed("the store's answer ends before it begins");
        int running = 0;
        ::curl_multi_perform(m_lane->multi, &running);
        collectOutcome();
        if (!until() && !m_ended)
            wait(deadline);
    }
}

void Transfer::collectOutcome()
{
    int left = 0;
    const CURLMsg* const message = ::curl_multi_info_read(m_lane->multi, &left);
    if (message == nullptr || message->msg != CURLMSG_DONE)
        return;
    m_ended = true;
    const CURLcode code = message->data.result;
    if (code == CURLE_OK || m_failure)
        return;
    const auto* const lasting =
        std::find_if(std::begin(LASTING), std::end(LASTING), [&](const auto& each) { return each.code == code; });
    m_failure = std::make_exception_ptr(
        lasting != std::end(LASTING) ? TransferFailed(lasting->sentence, TransferFailed::REFUSED)
                                     : TransferFailed(std::string("the store cannot be reached: ") + ::curl_easy_strerror(code)));
}

void Transfer::wait(Clock::time_point deadline)
{
    const auto begin = Clock::now();
    const auto until = std::min(deadline - begin, m_pace.window - m_waited);
    const auto time = std::clamp(std::chrono::duration_cast<std::chrono::milliseconds>(until) + std::chrono::milliseconds(1),
                                 std::chrono::milliseconds(0), LONGEST_POLL);
    curl_waitfd stop{m_lanes.stopped(), CURL_WAIT_POLLIN, 0};
    ::curl_multi_poll(m_lane->multi, &stop, 1, static_cast<int>(time.count()), nullptr);
    if (stop.revents != 0)
        throw TransferFailed("the program is being ended", TransferFailed::ENDED);
    const auto end = Clock::now();
    if (end >= deadline)
        throw TransferFailed("the store takes too long");
    requirePace(end - begin);
}

/// Only what passes here counts: whoever reads the answer may take all the time there is.
void Transfer::requirePace(Clock::duration waited)
{
    m_waited += waited;
    if (m_waited < m_pace.window)
        return;
    if (std::exchange(m_moved, 0) < m_pace.leastBytes)
        throw TransferFailed("the store says nothing, or says it too slowly");
    m_waited = {};
}

unsigned Transfer::awaitHead(Clock::time_point deadline)
{
    drive([this] { return m_headWhole; }, deadline);
    return m_status;
}

std::string Transfer::header(const std::string& name) const
{
    const auto found =
        std::find_if(m_answerHeaders.begin(), m_answerHeaders.end(), [&](const auto& field) { return field.first == name; });
    return found == m_answerHeaders.end() ? std::string() : found->second;
}

std::size_t Transfer::read(char* buffer, std::size_t size, Clock::time_point deadline)
{
    if (m_paused && m_waiting.size() - m_taken < MOST_WAITING) {
        m_paused = false;
        ::curl_easy_pause(m_lane->easy, CURLPAUSE_CONT);
    }
    drive([this] { return (m_ended && !m_failure) || m_taken < m_waiting.size(); }, deadline);
    const std::size_t count = m_waiting.copy(buffer, size, m_taken);
    m_taken += count;
    if (m_taken == m_waiting.size()) {
        m_waiting.clear();
        m_taken = 0;
    }
    return count;
}

std::string Transfer::readAll(Clock::time_point deadline)
{
    std::string body;
    std::string block(RECEIVE_BUFFER, '\0');
    for (std::size_t count = 0; (count = read(block.data(), block.size(), deadline)) != 0;) {
        if (body.size() + count > MOST_IN_DOCUMENT)
            throw TransferFailed("the store's answer is larger than any that it can have", TransferFailed::REFUSED);
        body.append(block, 0, count);
    }
    return body;
}

} // namespace objects
