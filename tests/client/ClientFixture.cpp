// SPDX-License-Identifier: MIT
#include "ClientFixture.h"

#include "W/Http.h"
#include "helper/Channel.h"
#include "helper/Messages.h"
#include "helper/Process.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fstream>
#include <iostream>
#include <memory>
#include <poll.h>
#include <sstream>
#include <stdexcept>
#include <sys/socket.h>

namespace test {

namespace {

constexpr const char* MISBEHAVIOUR = "KINLOOM_TEST_HELPER";

std::string control(const std::string& url, W::HTTP_REQUEST_TYPE type, const std::string& body)
{
    W::HttpRequest request(type, url, W::HttpHeader(), body, nullptr, nullptr);
    if (request.execute() != 0 || request.getResponse().getHttpResponseCode() != W::HTTP_OK)
        throw std::runtime_error(url + " fails");
    return request.getResponse().getPayload();
}

[[noreturn]] void waitForGoodbye(kinloom::Channel& channel)
{
    std::string message;
    while (channel.receive(message) != kinloom::Channel::Received::GONE) {
        pollfd event{channel.descriptor(), POLLIN, 0};
        poll(&event, 1, -1);
    }
    std::_Exit(0);
}

kinloom::message::Order orderFrom(kinloom::Channel& channel)
{
    std::string bytes;
    while (true) {
        const auto received = channel.receive(bytes);
        if (received == kinloom::Channel::Received::GONE)
            std::_Exit(1);
        if (received == kinloom::Channel::Received::NOTHING) {
            pollfd event{channel.descriptor(), POLLIN, 0};
            poll(&event, 1, -1);
            continue;
        }
        kinloom::message::Message message = kinloom::message::decode(bytes);
        if (auto* const order = std::get_if<kinloom::message::Order>(&message))
            return *order;
    }
}

[[noreturn]] void misbehave(const std::string& how)
{
    using namespace kinloom;
    Channel channel{client::Descriptor(HELPER_DESCRIPTOR)};
    if (how == "garbage at once") {
        channel.send("this is no message");
        waitForGoodbye(channel);
    }
    if (how == "another version") {
        message::Hello hello;
        ++hello.version;
        channel.send(message::encode(hello));
        waitForGoodbye(channel);
    }
    channel.send(message::encode(message::Hello()));
    const message::Order order = orderFrom(channel);
    if (how == "dies before the call begins")
        std::_Exit(1);
    channel.send(message::encode(message::Begun{order.number}));
    if (how == "dies in the call")
        std::_Exit(1);
    if (how == "garbage in the call")
        channel.send("\x06garbage");
    if (how == "endless message") {
        const unsigned char length[] = {0xFF, 0xFF, 0xFF, 0xFF};
        ::send(channel.descriptor(), length, sizeof length, MSG_NOSIGNAL);
    }
    if (how == "result of another call")
        channel.send(message::encode(message::Ended{order.number + 1, CallValue(Nothing())}));
    if (how == "result of another kind")
        channel.send(message::encode(message::Ended{order.number, CallValue(std::string("text"))}));
    waitForGoodbye(channel);
}

/// A program with two helpers that have calls under way; it waits to be killed.
[[noreturn]] void runParent()
{
    kinloom::runLaneIfAsked(1, nullptr);
    kinloom::Settings settings = kinloom::Settings::fromConfigFile();
    settings.plugin = KINLOOM_PLUGIN;
    kinloom::Lanes lanes(settings, 2);
    const auto first = lanes.submit(kinloom::ListGroups());
    const auto second = lanes.submit(kinloom::ListGroups());
    first.wait();
    second.wait();
    std::_Exit(1);
}

} // namespace

void playHelperIfAsked(int argc, char** argv)
{
    if (argc == 2 && std::strcmp(argv[1], "--test-parent") == 0)
        runParent();
    const char* const how = std::getenv(MISBEHAVIOUR);
    if (argc == 2 && std::strcmp(argv[1], kinloom::HELPER_ARGUMENT) == 0 && how != nullptr)
        misbehave(how);
}

HelperMisbehaves::HelperMisbehaves(const std::string& how) { setenv(MISBEHAVIOUR, how.c_str(), 1); }
HelperMisbehaves::~HelperMisbehaves() { unsetenv(MISBEHAVIOUR); }

std::set<pid_t> childrenOf(pid_t parent)
{
    std::set<pid_t> children;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir("/proc"), closedir);
    while (const dirent* entry = readdir(folder.get())) {
        const auto pid = static_cast<pid_t>(std::strtol(entry->d_name, nullptr, 10));
        std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
        std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        const std::size_t name = text.rfind(')');
        if (pid <= 0 || name == std::string::npos)
            continue;
        std::istringstream rest(text.substr(name + 1));
        char state = 0;
        pid_t of = 0;
        rest >> state >> of;
        if (of == parent)
            children.insert(pid);
    }
    return children;
}

ClientTest::ClientTest()
    : service(data.path(), {{"--control"}, true, "127.0.0.1:0", std::nullopt}), device(kinloomd_test::addDevice(data.path(), "Ada"))
{
    W::setHttpOptions(W::HttpOptions()); // lanes of the test before have led everything to its service
}

void ClientTest::setFault(const std::string& line) const
{
    control(service.url() + "/control/faults", W::HTTP_REQUEST_POST, line + "\n");
}

std::uint64_t ClientTest::hits(const std::string& operation) const
{
    const std::string all = control(service.url() + "/control/hits", W::HTTP_REQUEST_GET, "");
    const std::size_t at = all.find('"' + operation + '"');
    return at == std::string::npos ? 0 : std::stoull(all.substr(all.find(':', at) + 1));
}

bool ClientTest::reaches(const std::string& operation, std::uint64_t count) const
{
    return comesTrue([&] { return hits(operation) >= count; });
}

kinloom::Settings ClientTest::settings() const
{
    kinloom::Settings settings;
    settings.plugin = KINLOOM_PLUGIN;
    settings.options = {{"app_id", device.appId}, {"AuthToken", device.token}, {"duid", device.duid}};
    settings.client.connectTo = {kinloom::routeTo(service.url())};
    settings.patience = PATIENCE * 3;
    return settings;
}

std::string ClientTest::createGroup(kinloom::Lane& lane, const std::string& name) const
{
    return lane.call(kinloom::CreateGroup{name, "for tests"}).value().getUID();
}

std::string ClientTest::uploadPhoto(kinloom::Lane& lane, const std::string& group) const
{
    const std::string path = makePicture(files.file("picture.gif"));
    return lane.call(kinloom::UploadPhoto{group, path, "image/gif", "A dot"}).value().getUID();
}

std::string makePicture(const std::string& path)
{
    // One pixel, transparent.
    const unsigned char gif[] = {'G', 'I', 'F', '8', '9', 'a', 1, 0, 1, 0, 0x80, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, '!', 0xF9, 4,
                                 1,   0,   0,   0,   0,   ',', 0, 0, 0, 0, 1,    0, 1, 0, 0, 2, 2,    0x44, 1,    0,   ';'};
    writeFile(path, std::string(reinterpret_cast<const char*>(gif), sizeof gif));
    return path;
}

} // namespace test
