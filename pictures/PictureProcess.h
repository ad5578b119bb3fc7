// SPDX-License-Identifier: MIT
/// \file A process that decodes pictures, seen from outside.
#ifndef KINLOOM_PICTURES_PICTUREPROCESS_H
#define KINLOOM_PICTURES_PICTUREPROCESS_H

#include "common/Files.h"
#include "pictures/PictureOrder.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace pictures {

/// What a picture may cost.
struct PictureBounds {
    std::int64_t pixels = 0;           ///< the largest width times height
    std::chrono::milliseconds time{0}; ///< of the processor
    std::function<bool()> giveUp = {}; ///< asked several times a second; true ends it. May be empty.
};

/// The file of a picture.
struct PictureSource {
    int file = -1;          ///< open for reading
    std::int64_t whose = 0; ///< the person who brought it
};

/// What is to be made of a picture.
struct PictureTask {
    PictureOrder::What what = PictureOrder::FIT;
    std::vector<Box> boxes; ///< one for each file to be written, the largest first: the others are made of it
};

enum class PictureOutcome {
    DONE,
    UNDECODABLE, ///< the file is no picture, or one beyond the pixels, the memory or the threads that there are
    OVERTIME,    ///< it took more than its time
    DIED,        ///< the process ended: by what is in the file, or from outside
    FAILED,      ///< nothing to do with the picture: no process could be started, or a file not be written
    GIVEN_UP,
};

/// Names the program that picture processes are started from; before, none is started. Only a program whose \c main gives way to
/// runPictureWorker when it is asked to may be named: any other would do its own work once more in place of pictures, and where
/// that starts picture processes too, without end. Call it before any of them is made.
void usePictureProgram(std::string program);

/// Keeps one picture process, confined, and hands it one picture after another, all of them of one person: what a picture may have
/// made of the process does not reach the pictures of others. It is started before it is needed, and started anew for the next
/// person, after each picture that failed and after some that did not. For one thread at a time, and to be ended by the one that
/// made it: the process ends with the thread that started it.
class PictureProcess {
public:
    /// The time for one picture, where nothing is waiting behind it.
    static constexpr std::chrono::milliseconds PATIENCE{30'000};

    /// Starts the program that was named.
    PictureProcess();
    /// \param program to be started
    explicit PictureProcess(std::string program);
    PictureProcess(const PictureProcess&) = delete;
    PictureProcess& operator=(const PictureProcess&) = delete;
    ~PictureProcess();

    /// Makes smaller pictures of a picture, JPEG files.
    /// \param outputs the files to be written, empty ones, as many as the task has boxes and MOST_OUTPUTS at most
    PictureOutcome run(const PictureTask& task, const PictureSource& source, const std::vector<int>& outputs,
                       const PictureBounds& bounds);

    /// The same, and once more where the process died: what happened to it may have come from outside.
    PictureOutcome runTwice(const PictureTask& task, const PictureSource& source, const std::vector<int>& outputs,
                            const PictureBounds& bounds);

    pid_t pid() const { return m_pid; }

private:
    bool start();
    void end();
    bool isAlive() const;
    bool isReady(const PictureBounds& bounds);
    bool isSilent() const;
    bool send(const PictureOrder& order, int source, const std::vector<int>& outputs);
    PictureOutcome wait(const PictureBounds& bounds);
    std::chrono::nanoseconds processorTime() const;
    bool takesTooMuch() const;

    std::string m_program;
    common::UniqueFd m_socket;
    pid_t m_pid = -1;
    bool m_ready = false;
    unsigned m_pictures = 0;
    std::int64_t m_whose = 0; ///< whose they were
};

/// A sentence for people about what did not come to its end.
const char* sentenceOf(PictureOutcome outcome);

} // namespace pictures

#endif
