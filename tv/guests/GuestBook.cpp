// SPDX-License-Identifier: MIT
#include "tv/guests/GuestBook.h"

#include "common/Digest.h"
#include "httpd/Text.h"

#include <algorithm>
#include <utility>

namespace tv {

namespace {

constexpr std::size_t KEY_BYTES = 16;
constexpr std::size_t MOST_TRANSFERS = 24; ///< told of, those on their way aside
constexpr std::size_t LONGEST_NAME = 80;   ///< in bytes

/// How many bytes follow the first one of a character; nothing for what is none.
std::optional<std::size_t> followersOf(unsigned char first)
{
    if (first < 0x80)
        return 0;
    if (first >= 0xC2 && first < 0xE0)
        return 1;
    if (first >= 0xE0 && first < 0xF0)
        return 2;
    if (first >= 0xF0 && first < 0xF5)
        return 3;
    return std::nullopt;
}

bool follows(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

std::string percentDecoded(std::string_view text)
{
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool escape =
            text[i] == '%' && i + 2 < text.size() && httpd::hexDigit(text[i + 1]) >= 0 && httpd::hexDigit(text[i + 2]) >= 0;
        if (!escape) {
            bytes += text[i] == '+' ? ' ' : text[i];
            continue;
        }
        bytes += static_cast<char>(httpd::hexDigit(text[i + 1]) * 16 + httpd::hexDigit(text[i + 2]));
        i += 2;
    }
    return bytes;
}

} // namespace

std::string shownName(std::string_view percentEncoded)
{
    const std::string bytes = percentDecoded(percentEncoded);
    std::string name;
    for (std::size_t i = 0; i < bytes.size();) {
        const auto first = static_cast<unsigned char>(bytes[i]);
        const auto count = followersOf(first);
        bool whole = count && i + *count < bytes.size();
        for (std::size_t k = 1; whole && k <= *count; ++k)
            whole = follows(bytes[i + k]);
        const std::size_t size = whole ? *count + 1 : 1;
        if (name.size() + size > LONGEST_NAME)
            break;
        // Controls, and the longer ones of the same kind.
        const bool control =
            first < 0x20 || first == 0x7F || (first == 0xC2 && whole && static_cast<unsigned char>(bytes[i + 1]) < 0xA0);
        if (!control)
            name += whole ? bytes.substr(i, size) : "?";
        i += size;
    }
    return name;
}

std::string GuestBook::open(const std::string& group, const std::string& groupName, const GuestLimits& limits)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_key = common::toBase64Url(common::randomBytes(KEY_BYTES));
        m_group = group;
        m_groupName = groupName;
        m_limits = limits;
        m_end = Clock::now() + limits.life;
        ++m_round;
        m_leftCount = limits.count;
        m_leftBytes = limits.bytes;
        m_photos.erase(std::remove_if(m_photos.begin(), m_photos.end(), [](const Photo& photo) { return photo.ended; }),
                       m_photos.end());
    }
    m_changed();
    return key();
}

std::vector<std::string> GuestBook::close()
{
    std::vector<std::string> sending;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_key.clear();
        for (const Photo& photo : m_photos) {
            if (!photo.ended)
                sending.push_back(photo.transfer.id);
        }
    }
    m_changed();
    return sending;
}

bool GuestBook::isKey(std::string_view text) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return isOpen(Clock::now()) && common::equalsInConstantTime(text, m_key);
}

std::optional<GuestBook::Clock::time_point> GuestBook::end() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_key.empty() ? std::nullopt : std::optional(m_end);
}

std::string GuestBook::key() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_key;
}

std::string GuestBook::groupName() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_groupName;
}

GuestLimits GuestBook::limits() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_limits;
}

GuestSnapshot GuestBook::snapshot() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto now = Clock::now();
    GuestSnapshot snapshot;
    snapshot.open = isOpen(now);
    if (snapshot.open) {
        snapshot.group = m_group;
        snapshot.expiresIn = std::chrono::ceil<std::chrono::seconds>(m_end - now);
        snapshot.leftCount = m_leftCount;
        snapshot.leftBytes = m_leftBytes;
    }
    for (const Photo& photo : m_photos)
        snapshot.transfers.push_back(photo.transfer);
    return snapshot;
}

GuestAdmission GuestBook::admit(const std::string& name, std::optional<std::uint64_t> announced, const std::string& from)
{
    GuestAdmission admission;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto isOnItsWay = [](const Photo& photo) { return !photo.ended; };
        const auto isFromThere = [&](const Photo& photo) { return !photo.ended && photo.from == from; };
        if (!isOpen(Clock::now()))
            admission.refusal = GuestRefusal::CLOSED;
        else if (announced && *announced > m_limits.bytesEach)
            admission.refusal = GuestRefusal::TOO_LARGE;
        else if (std::count_if(m_photos.begin(), m_photos.end(), isOnItsWay) >= MOST_ON_THEIR_WAY ||
                 std::count_if(m_photos.begin(), m_photos.end(), isFromThere) >= MOST_FROM_ONE)
            admission.refusal = GuestRefusal::BUSY;
        else if (m_leftCount == 0 || m_leftBytes == 0 || (announced && *announced > m_leftBytes))
            admission.refusal = GuestRefusal::TOO_MANY;
        if (admission.refusal != GuestRefusal::NONE)
            return admission;
        Photo photo;
        photo.transfer.id = std::to_string(++m_lastId);
        photo.transfer.name = name;
        photo.transfer.size = announced.value_or(0);
        photo.from = from;
        photo.place = announced.value_or(std::min(m_limits.bytesEach, m_leftBytes));
        photo.round = m_round;
        --m_leftCount;
        m_leftBytes -= photo.place;
        admission.id = photo.transfer.id;
        admission.group = m_group;
        admission.most = photo.place;
        m_photos.push_back(std::move(photo));
        const auto old = std::find_if(m_photos.begin(), m_photos.end(), [](const Photo& one) { return one.ended; });
        if (m_photos.size() > MOST_TRANSFERS && old != m_photos.end())
            m_photos.erase(old);
    }
    m_changed();
    return admission;
}

GuestBook::Photo* GuestBook::find(const std::string& id)
{
    const auto photo =
        std::find_if(m_photos.begin(), m_photos.end(), [&](const Photo& one) { return one.transfer.id == id && !one.ended; });
    return photo == m_photos.end() ? nullptr : &*photo;
}

void GuestBook::progress(const std::string& id, std::uint64_t sent, std::uint64_t size)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        Photo* const photo = find(id);
        if (photo == nullptr)
            return;
        photo->transfer.sent = sent;
        if (size > 0)
            photo->transfer.size = size;
    }
    m_changed();
}

bool GuestBook::beginSending(const std::string& id, std::uint64_t size)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        Photo* const photo = find(id);
        if (photo == nullptr || photo->round != m_round || !isOpen(Clock::now()))
            return false;
        m_leftBytes += photo->place - size;
        photo->place = size;
        photo->transfer.size = size;
        photo->transfer.sent = 0;
        photo->transfer.state = GuestTransfer::State::SENDING;
    }
    m_changed();
    return true;
}

/// Under the lock: what nothing became of takes nothing of what the key allows.
void GuestBook::giveBack(Photo& photo)
{
    if (photo.round != m_round)
        return;
    ++m_leftCount;
    m_leftBytes += photo.place;
}

void GuestBook::finish(const std::string& id, GuestTransfer::State state)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        Photo* const photo = find(id);
        if (photo == nullptr)
            return;
        photo->ended = true;
        photo->transfer.state = state;
        if (state == GuestTransfer::State::DONE)
            photo->transfer.sent = photo->transfer.size;
        else
            giveBack(*photo);
    }
    m_changed();
}

std::size_t GuestBook::onTheirWay() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return static_cast<std::size_t>(
        std::count_if(m_photos.begin(), m_photos.end(), [](const Photo& photo) { return !photo.ended; }));
}

} // namespace tv
