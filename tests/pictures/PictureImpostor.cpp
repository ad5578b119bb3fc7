// SPDX-License-Identifier: MIT
/// \file A picture process that a picture has taken over: it says what such a process says, and does what the first picture's bytes
/// name.
#include "pictures/Confinement.h"
#include "pictures/PictureOrder.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using namespace pictures;

void say(PictureAnswer what)
{
    if (::send(PICTURE_SOCKET, &what, sizeof what, MSG_NOSIGNAL) != sizeof what)
        std::exit(1);
}

void write(int file, std::string_view text = "x")
{
    if (::write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        std::exit(1);
}

struct Files {
    int picture = -1;
    int output = -1; ///< the first of those to be written
};

/// Waits for an order.
Files receiveFiles()
{
    PictureOrder order;
    iovec bytes = {&order, sizeof order};
    alignas(cmsghdr) std::array<char, CMSG_SPACE((MOST_OUTPUTS + 1) * sizeof(int))> control{};
    msghdr message = {};
    message.msg_iov = &bytes;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    if (::recvmsg(PICTURE_SOCKET, &message, 0) != sizeof order)
        std::exit(0);
    Files files;
    std::memcpy(&files, CMSG_DATA(CMSG_FIRSTHDR(&message)), sizeof files);
    return files;
}

std::string textOf(int file)
{
    std::array<char, 64> text{};
    const ssize_t size = ::pread(file, text.data(), text.size(), 0);
    return {text.data(), static_cast<std::size_t>(size < 0 ? 0 : size)};
}

[[noreturn]] void stay()
{
    for (;;)
        ::pause();
}

/// Writes, and answers each order once for itself and once for the next.
void answerAhead(int output)
{
    for (;;) {
        write(output);
        say(PictureAnswer::DONE);
        say(PictureAnswer::DONE);
        write(output);
        output = receiveFiles().output;
    }
}

/// Writes down all that it was told of its surroundings, a line each.
void tellEnvironment(int output)
{
    for (char** each = environ; *each != nullptr; ++each)
        write(output, std::string(*each) + "\n");
    say(PictureAnswer::DONE);
    stay();
}

void makeThreads(int /*output*/)
{
    std::vector<std::thread> threads;
    for (unsigned i = 0; i <= PICTURE_THREADS; ++i)
        threads.emplace_back(&stay);
    stay();
}

void takeMemory(int /*output*/)
{
    constexpr std::size_t SIZE = PICTURE_MEMORY + (std::size_t{16} << 20);
    void* const memory = ::mmap(nullptr, SIZE, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        std::exit(1);
    std::memset(memory, 1, SIZE);
    stay();
}

struct Manner {
    std::string_view name;
    void (*run)(int output);
};

constexpr Manner MANNERS[] = {
    {"ahead", &answerAhead},
    {"environment", &tellEnvironment},
    {"threads", &makeThreads},
    {"memory", &takeMemory},
};

} // namespace

int main()
{
    say(PictureAnswer::READY);
    const Files files = receiveFiles();
    const std::string chosen = textOf(files.picture);
    for (const Manner& manner : MANNERS) {
        if (manner.name == chosen)
            manner.run(files.output);
    }
    return 1;
}
