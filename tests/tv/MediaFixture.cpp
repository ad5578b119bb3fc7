// SPDX-License-Identifier: MIT
#include "MediaFixture.h"

#include <csignal>
#include <unistd.h>
#include <utility>

namespace tv_test {

namespace {

bool endsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

} // namespace

PictureAddresses TestSource::usual(const std::string& content) const
{
    return {m_server->url("/" + content + "/grid"), m_server->url("/" + content + "/screen"),
            m_server->url("/" + content + "/original")};
}

void TestSource::find(const std::string& content, bool anew, Done done)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    ++(anew ? m_askedAnew : m_asked);
    Reply reply = {Answer::KNOWN, usual(content)};
    for (const auto* const replies : {&m_replies, anew ? &m_repliesAnew : nullptr}) {
        if (replies != nullptr && replies->count(content) != 0)
            reply = replies->at(content);
    }
    const auto answer = [done = std::move(done), reply] { done(reply.answer, reply.addresses); };
    if (m_holding) {
        m_held.emplace_back(answer);
        return;
    }
    lock.unlock();
    answer();
}

void TestSource::lead(const test::RawServer& server)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_server = &server;
}

void TestSource::say(const std::string& content, Answer answer, PictureAddresses addresses)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_replies[content] = {answer, std::move(addresses)};
}

void TestSource::sayAnew(const std::string& content, Answer answer, PictureAddresses addresses)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_repliesAnew[content] = {answer, std::move(addresses)};
}

void TestSource::hold()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_holding = true;
}

void TestSource::release()
{
    std::vector<std::function<void()>> held;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_holding = false;
        held = std::exchange(m_held, {});
    }
    for (const auto& one : held)
        one();
}

unsigned TestSource::asked(bool anew) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return anew ? m_askedAnew : m_asked;
}

Asker::Asker(Pictures& pictures, const std::string& content, PictureSize size, PictureBox box)
{
    m_ticket = pictures.get(content, size, box, [state = m_state](Picture picture) {
        const std::lock_guard<std::mutex> lock(state->mutex);
        state->picture = std::move(picture);
        ++state->answers;
        state->changed.notify_all();
    });
}

std::optional<PictureResult> Asker::result()
{
    std::unique_lock<std::mutex> lock(m_state->mutex);
    if (!m_state->changed.wait_for(lock, 2 * test::PATIENCE, [this] { return m_state->picture.has_value(); }))
        return std::nullopt;
    return m_state->picture->result;
}

bool Asker::answered() const { return answers() > 0; }

unsigned Asker::answers() const
{
    const std::lock_guard<std::mutex> lock(m_state->mutex);
    return m_state->answers;
}

const Picture& Asker::picture()
{
    static const Picture none;
    return result() ? *m_state->picture : none;
}

std::string Asker::bytes() { return bytesOf(picture()); }

std::vector<WantedPicture> grids(const std::vector<std::string>& contents)
{
    std::vector<WantedPicture> pictures;
    pictures.reserve(contents.size());
    for (const std::string& content : contents)
        pictures.push_back({content, PictureSize::GRID, {}});
    return pictures;
}

std::string bytesOf(const Picture& picture)
{
    std::string bytes(static_cast<std::size_t>(picture.length), '\0');
    if (::pread(picture.file.get(), bytes.data(), bytes.size(), picture.offset) != static_cast<ssize_t>(bytes.size()))
        bytes.clear();
    return bytes;
}

MediaTest::MediaTest()
{
    std::signal(SIGPIPE, SIG_IGN);
    m_server.onRequest([this](const test::RawRequest& request) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (const auto& [end, body] : m_bodies) {
            if (endsWith(request.target(), end))
                return test::RawReply::ok(body);
        }
        return test::RawReply::status(404);
    });
    restart();
}

PictureSettings MediaTest::settings() const
{
    PictureSettings settings;
    settings.folder = m_dir.file("cache");
    settings.limit = m_limit;
    settings.program = PICTURE_PROGRAM;
    return settings;
}

void MediaTest::restart()
{
    m_pictures.reset();
    m_pictures = std::make_unique<Pictures>(settings(), m_source);
}

void MediaTest::serve(const std::string& end, const std::string& body)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_bodies[end] = body;
}

unsigned MediaTest::requestsFor(const std::string& end) const
{
    unsigned count = 0;
    for (const test::RawRequest& request : m_server.requests())
        count += endsWith(request.target(), end) ? 1 : 0;
    return count;
}

} // namespace tv_test
