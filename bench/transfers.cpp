// SPDX-License-Identifier: MIT
// Large files: how long a transfer takes and what it costs, beside the curl command.
#include "support/Transfers.h"
#include "support/RawClient.h"
#include "support/Report.h"
#include "support/Servers.h"
#include "support/Usage.h"

#include <sys/mman.h>
#include <unistd.h>

namespace bench {

namespace {

constexpr std::uint64_t MB = 1u << 20;
constexpr std::uint64_t GB = 1u << 30;

/// What both sides took, round by round.
struct Rounds {
    std::vector<double> mine;
    std::vector<double> theirs;
    std::vector<double> myProcessor;
    std::vector<double> theirProcessor;
};

/// Has the kernel hold so much free memory that is its own. What a virtual machine has freed may be its host's again; getting it
/// back takes several times as long as filling it, and would be at the cost of whoever comes next.
void haveMemoryReady(std::uint64_t bytes)
{
    void* const memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    if (memory != MAP_FAILED)
        munmap(memory, bytes);
}

/// Runs two ways of doing the same in turns, after one unmeasured time each.
/// \param prepare comes before each, unmeasured: both must find the same.
template <class Prepare, class Mine, class Theirs>
Rounds compare(std::size_t rounds, const Prepare& prepare, const Mine& mine, const Theirs& theirs)
{
    Rounds result;
    const auto measureMine = [&](bool keep) {
        prepare();
        const double begin = now();
        const double processor = processorTime();
        mine();
        if (!keep)
            return;
        result.mine.push_back(now() - begin);
        result.myProcessor.push_back(processorTime() - processor);
    };
    const auto measureTheirs = [&](bool keep) {
        prepare();
        const double begin = now();
        const double processor = childrenProcessorTime();
        theirs();
        if (!keep)
            return;
        result.theirs.push_back(now() - begin);
        result.theirProcessor.push_back(childrenProcessorTime() - processor);
    };
    measureMine(false);
    measureTheirs(false);
    for (std::size_t round = 0; round < rounds; ++round) {
        if (round % 2 == 0)
            measureMine(true);
        measureTheirs(true);
        if (round % 2 != 0)
            measureMine(true);
    }
    return result;
}

class Transfers {
public:
    explicit Transfers(const Arguments& arguments)
        : m_quick(arguments.quick),
          m_size(arguments.choose(GB, 256 * MB)),
          m_rounds(arguments.choose<std::size_t>(11, 3)),
          m_report(arguments),
          m_plugin(m_server.port())
    {
    }

    void run()
    {
        flat();
        downloads();
        uploads();
    }

private:
    /// Memory that grows with the file: peaks, since what is freed at the end would not show. First of all, while the process has
    /// not been made larger by anything else.
    void flat()
    {
        const std::uint64_t large = m_quick ? GB : 4 * GB;
        const std::uint64_t small = 100 * MB;
        const Folder target(anyFolder(large));
        const double down = growth(small, large, [&](std::uint64_t size) {
            download(m_plugin, m_server.url("/bytes/" + std::to_string(size)), target.path(), "file");
        });
        const std::string source = target.file("file");
        const double up = growth(small, large, [&](std::uint64_t size) {
            makeEmptyFile(source, size);
            upload(m_plugin, source);
        });
        m_report.figure("rss_flat", once(std::max(down, up) / MB), "MB", 1, Better::LOWER);
        m_report.figure("rss_flat_download", once(down / MB), "MB", Better::LOWER);
        m_report.figure("rss_flat_upload", once(up / MB), "MB", Better::LOWER);
    }

    template <class Transfer> static double growth(std::uint64_t small, std::uint64_t large, const Transfer& transfer)
    {
        const auto peakOf = [&](std::uint64_t size) {
            resetPeak();
            transfer(size);
            return peakMemory();
        };
        const double before = peakOf(small);
        return peakOf(large) - before;
    }

    void downloads()
    {
        const Folder root(memoryFolder(2 * m_size));
        makeFile(root.file("large"), m_size);
        const Nginx nginx(root.path());
        const std::string url = nginx.url("/large");

        const Folder memory(memoryFolder(m_size));
        const Rounds inMemory = downloadRounds(url, memory);
        m_report.figure("download_tmpfs", summarise(ratios(inMemory.mine, inMemory.theirs)), "x", 0.97, Better::LOWER);
        m_report.figure("download_cpu", summarise(ratios(inMemory.myProcessor, inMemory.theirProcessor)), "x", 0.95, Better::LOWER);
        speeds("download_tmpfs", inMemory);

        const Folder disk(diskFolder(m_size));
        const Rounds onDisk = downloadRounds(url, disk);
        m_report.figure("download_disk", summarise(ratios(onDisk.mine, onDisk.theirs)), "x", 0.80, Better::LOWER);
        m_report.figure("download_disk_cpu", summarise(ratios(onDisk.myProcessor, onDisk.theirProcessor)), "x", Better::LOWER);
        speeds("download_disk", onDisk);

        makeFile(disk.file("file"), MB);
        const Rounds replacing = downloadRounds(
            url, disk, [] {}, 2 * m_size);
        m_report.figure("download_replacing", summarise(ratios(replacing.mine, replacing.theirs)), "x", Better::LOWER);
    }

    /// Where there is no file yet.
    Rounds downloadRounds(const std::string& url, const Folder& folder)
    {
        const std::string file = folder.file("file");
        return downloadRounds(
            url, folder, [&] { unlink(file.c_str()); }, m_size);
    }

    /// \param needed how much memory the files take.
    template <class Prepare>
    Rounds downloadRounds(const std::string& url, const Folder& folder, const Prepare& prepare, std::uint64_t needed)
    {
        const std::string file = folder.file("file");
        return compare(
            m_rounds,
            [&] {
                prepare();
                // What the other side left to be written must not be written at this one's cost.
                sync();
                haveMemoryReady(needed / 2 * 3);
            },
            [&] { download(m_plugin, url, folder.path(), "file"); },
            [&] {
                runCommand({"curl", "-sS", "-o", file, url});
            });
    }

    void uploads()
    {
        const Folder folder(memoryFolder(m_size));
        const std::string file = folder.file("large");
        makeFile(file, m_size);
        const Rounds result = compare(
            m_rounds, [] { sync(); }, [&] { upload(m_plugin, file); },
            [&] {
                runCommand(
                    {"curl", "-sS", "-o", "/dev/null", "-F", "filename=@" + file + ";type=image/jpeg", m_server.url("/sink")});
            });
        m_report.figure("upload", summarise(ratios(result.mine, result.theirs)), "x", 0.90, Better::LOWER);
        m_report.figure("upload_cpu", summarise(ratios(result.myProcessor, result.theirProcessor)), "x", Better::LOWER);
        speeds("upload", result);

        const std::string small = folder.file("small");
        makeFile(small, 2 * MB);
        std::vector<double> milliseconds;
        for (int i = 0; i < 21; ++i) {
            const double begin = now();
            upload(m_plugin, small, "silent");
            milliseconds.push_back((now() - begin) * 1e3);
        }
        m_report.figure("upload_expect", summarise(milliseconds), "ms", 50, Better::LOWER);
    }

    void speeds(const std::string& name, const Rounds& rounds)
    {
        const auto speedOf = [this](const std::vector<double>& seconds) {
            std::vector<double> all;
            all.reserve(seconds.size());
            for (const double time : seconds)
                all.push_back(static_cast<double>(m_size) / MB / time);
            return summarise(all);
        };
        m_report.figure(name + "_speed", speedOf(rounds.mine), "MB/s", Better::HIGHER);
        m_report.figure(name + "_speed_curl", speedOf(rounds.theirs), "MB/s", Better::HIGHER);
    }

    const bool m_quick;
    const std::uint64_t m_size;
    const std::size_t m_rounds;
    Report m_report;
    const SmallServer m_server;
    const Plugin m_plugin;
};

} // namespace

} // namespace bench

int main(int argc, char** argv)
{
    return bench::runProgram(argc, argv, [](const bench::Arguments& arguments) { bench::Transfers(arguments).run(); });
}
