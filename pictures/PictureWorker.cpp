// SPDX-License-Identifier: MIT
#include "pictures/PictureWorker.h"

#include "common/Files.h"
#include "pictures/Confinement.h"
#include "pictures/Decoding.h"
#include "pictures/PictureOrder.h"

#include <csignal>
#include <cstring>
#include <malloc.h>
#include <optional>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <system_error>

namespace pictures {

namespace {

struct ReceivedOrder {
    PictureOrder order;
    std::vector<common::UniqueFd> files;
};

/// Waits for the next order. \return nothing at the end.
std::optional<ReceivedOrder> receiveOrder()
{
    ReceivedOrder received;
    iovec bytes = {&received.order, sizeof received.order};
    alignas(cmsghdr) char control[CMSG_SPACE((MOST_OUTPUTS + 1) * sizeof(int))];
    msghdr message = {};
    message.msg_iov = &bytes;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    ssize_t count = 0;
    do {
        count = ::recvmsg(PICTURE_SOCKET, &message, MSG_CMSG_CLOEXEC);
    } while (count < 0 && errno == EINTR);
    if (count != sizeof received.order)
        return std::nullopt;
    for (const cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr; part = CMSG_NXTHDR(&message, const_cast<cmsghdr*>(part))) {
        if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS)
            continue;
        for (std::size_t i = 0; i < (part->cmsg_len - CMSG_LEN(0)) / sizeof(int); ++i) {
            int fd = -1;
            std::memcpy(&fd, CMSG_DATA(part) + i * sizeof fd, sizeof fd);
            received.files.emplace_back(fd);
        }
    }
    return received;
}

PictureAnswer carryOut(const ReceivedOrder& received)
{
    std::vector<int> outputs;
    for (std::size_t i = 1; i < received.files.size(); ++i)
        outputs.push_back(received.files[i].get());
    try {
        const int source = received.files.at(0).get();
        const PictureOrder& order = received.order;
        switch (order.what) {
        case PictureOrder::FIT:
            fitIntoBoxes(source, order.pixels, order.boxes, outputs);
            break;
        case PictureOrder::FILL:
            fillBox(source, order.pixels, order.boxes[0], outputs.at(0));
            break;
        case PictureOrder::PIXELS:
            writePixels(source, order.pixels, order.boxes[0], outputs.at(0));
            break;
        }
        return PictureAnswer::DONE;
    } catch (const std::system_error&) {
        return PictureAnswer::NOT_WRITTEN;
    } catch (const std::exception&) {
        // Undecodable, or beyond the memory that there is.
        return PictureAnswer::UNDECODABLE;
    }
}

bool answer(PictureAnswer what) { return ::send(PICTURE_SOCKET, &what, sizeof what, MSG_NOSIGNAL) == sizeof what; }

} // namespace

int runPictureWorker()
{
    // Nobody waits for a picture once whoever asked for it is gone.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    // What is too large for memory must fail, and not be put into a file of its own.
    ::setenv("VIPS_DISC_THRESHOLD", "1000g", 1);
    startDecoding();
    confine();
    bool reached = answer(PictureAnswer::READY);
    while (reached) {
        auto order = receiveOrder();
        if (!order)
            break;
        const PictureAnswer outcome = carryOut(*order);
        order.reset();
        // What a large picture took goes back to the system.
        ::malloc_trim(0);
        reached = answer(outcome);
    }
    // Without the library's own end: it would look for files.
    ::_exit(0);
}

} // namespace pictures
