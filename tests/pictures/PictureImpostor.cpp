// SPDX-License-Identifier: MIT
/// \file A picture process that a picture has taken over: it says what such a process says, and does what KINLOOM_IMPOSTOR names.
#include "pictures/Confinement.h"
#include "pictures/PictureOrder.h"

#include <array>
#include <cstdlib>
#include <cstring>
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

void write(int file)
{
    if (::write(file, "x", 1) != 1)
        std::exit(1);
}

/// Waits for an order. \return the first of the files to be written.
int receiveOutput()
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
    std::array<int, 2> files{};
    std::memcpy(files.data(), CMSG_DATA(CMSG_FIRSTHDR(&message)), sizeof files);
    return files[1];
}

[[noreturn]] void stay()
{
    for (;;)
        ::pause();
}

/// Writes, and answers each order once for itself and once for the next.
void answerAhead()
{
    for (;;) {
        const int output = receiveOutput();
        write(output);
        say(PictureAnswer::DONE);
        say(PictureAnswer::DONE);
        write(output);
    }
}

void makeThreads()
{
    receiveOutput();
    std::vector<std::thread> threads;
    for (unsigned i = 0; i <= PICTURE_THREADS; ++i)
        threads.emplace_back(&stay);
    stay();
}

void takeMemory()
{
    constexpr std::size_t SIZE = PICTURE_MEMORY + (std::size_t{16} << 20);
    receiveOutput();
    void* const memory = ::mmap(nullptr, SIZE, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        std::exit(1);
    std::memset(memory, 1, SIZE);
    stay();
}

} // namespace

int main()
{
    const char* const manner = std::getenv("KINLOOM_IMPOSTOR");
    const std::string_view chosen = manner == nullptr ? "" : manner;
    say(PictureAnswer::READY);
    if (chosen == "ahead")
        answerAhead();
    else if (chosen == "threads")
        makeThreads();
    else if (chosen == "memory")
        takeMemory();
    return 1;
}
