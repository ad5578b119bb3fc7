// SPDX-License-Identifier: MIT
#include "pictures/Confinement.h"

#include "common/Files.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <linux/prctl.h>
#include <memory>
#include <sched.h>
#include <seccomp.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

namespace pictures {

namespace {

struct ResourceLimit {
    __rlimit_resource resource;
    rlim_t value;
    const char* name;
};

constexpr ResourceLimit LIMITS[] = {
    {RLIMIT_CORE, 0, "RLIMIT_CORE"},
    {RLIMIT_FSIZE, rlim_t{64} << 20, "RLIMIT_FSIZE"}, // thumbnails are far smaller
    {RLIMIT_NOFILE, 64, "RLIMIT_NOFILE"},
    {RLIMIT_CPU, 3600, "RLIMIT_CPU"}, // whoever started it watches each picture's time; this holds when nobody does
};

void limitResource(const ResourceLimit& limit)
{
    const rlimit value = {limit.value, limit.value};
    if (::setrlimit(limit.resource, &value) != 0)
        common::throwSystemError("set", limit.name);
}

// What memory, threads, clocks and open descriptors need.
constexpr int ALLOWED[] = {
    SCMP_SYS(read),
    SCMP_SYS(pread64),
    SCMP_SYS(readv),
    SCMP_SYS(preadv),
    SCMP_SYS(write),
    SCMP_SYS(pwrite64),
    SCMP_SYS(writev),
    SCMP_SYS(lseek),
    SCMP_SYS(_llseek),
    SCMP_SYS(close),
    SCMP_SYS(fstat),
    SCMP_SYS(fstat64),
    SCMP_SYS(dup),
    SCMP_SYS(fadvise64),
    SCMP_SYS(fadvise64_64),
    SCMP_SYS(ftruncate),
    SCMP_SYS(poll),
    SCMP_SYS(ppoll),
    SCMP_SYS(recvmsg),
    SCMP_SYS(sendmsg),
    SCMP_SYS(sendto),
    //
    SCMP_SYS(brk),
    SCMP_SYS(munmap),
    SCMP_SYS(mremap),
    SCMP_SYS(madvise),
    SCMP_SYS(membarrier),
    //
    SCMP_SYS(futex),
    SCMP_SYS(set_robust_list),
    SCMP_SYS(rseq),
    SCMP_SYS(gettid),
    SCMP_SYS(getpid),
    SCMP_SYS(exit),
    SCMP_SYS(exit_group),
    SCMP_SYS(sched_yield),
    SCMP_SYS(sched_getaffinity),
    SCMP_SYS(sched_getattr),
    SCMP_SYS(restart_syscall),
    //
    SCMP_SYS(rt_sigaction),
    SCMP_SYS(rt_sigprocmask),
    SCMP_SYS(rt_sigreturn),
    SCMP_SYS(sigreturn),
    SCMP_SYS(sigaltstack),
    //
    SCMP_SYS(clock_gettime),
    SCMP_SYS(clock_getres),
    SCMP_SYS(clock_nanosleep),
    SCMP_SYS(nanosleep),
    SCMP_SYS(gettimeofday),
    SCMP_SYS(time),
    SCMP_SYS(getrandom),
    SCMP_SYS(getrusage),
    SCMP_SYS(sysinfo),
    SCMP_SYS(uname),
};

/// What may be asked of a descriptor: nothing that has signals sent, of which the receiver can be any process of the same user.
constexpr int DESCRIPTOR_COMMANDS[] = {F_DUPFD, F_DUPFD_CLOEXEC, F_GETFD, F_SETFD, F_GETFL};

/// Refused, where a library asks and goes on without.
struct RefusedCall {
    int call;
    int error;
};
constexpr RefusedCall REFUSED[] = {
    {SCMP_SYS(open), EACCES},
    {SCMP_SYS(openat), EACCES},
    {SCMP_SYS(access), EACCES},
    {SCMP_SYS(faccessat), EACCES},
    {SCMP_SYS(readlink), EACCES},
    {SCMP_SYS(statx), ENOSYS},
    {SCMP_SYS(ioctl), ENOTTY},
    // It reaches other processes too, the service's.
    {SCMP_SYS(sched_setattr), EPERM},
    // Its flags lie in memory, where they cannot be looked at; without it threads are made with clone().
    {SCMP_SYS(clone3), ENOSYS},
};

class Filter {
public:
    Filter() : m_context(seccomp_init(SCMP_ACT_KILL_PROCESS), &seccomp_release)
    {
        if (!m_context)
            fail();
    }

    template <typename... Conditions> void allow(int call, Conditions... conditions) { add(SCMP_ACT_ALLOW, call, conditions...); }
    void refuse(const RefusedCall& refused) { add(SCMP_ACT_ERRNO(static_cast<std::uint32_t>(refused.error)), refused.call); }
    void load()
    {
        // All threads, those that a library has begun already too.
        if (seccomp_attr_set(m_context.get(), SCMP_FLTATR_CTL_TSYNC, 1) != 0 || seccomp_load(m_context.get()) != 0)
            fail();
    }

private:
    template <typename... Conditions> void add(std::uint32_t action, int call, Conditions... conditions)
    {
        const scmp_arg_cmp list[] = {conditions..., scmp_arg_cmp{}};
        if (seccomp_rule_add_array(m_context.get(), action, call, sizeof...(conditions), list) != 0)
            fail();
    }
    [[noreturn]] static void fail() { throw std::runtime_error("the system does not let system calls be filtered"); }

    std::unique_ptr<void, void (*)(scmp_filter_ctx)> m_context;
};

/// \p argument & \p mask == \p value
constexpr scmp_arg_cmp masked(unsigned argument, std::uint64_t mask, std::uint64_t value)
{
    return {argument, SCMP_CMP_MASKED_EQ, mask, value};
}
constexpr scmp_arg_cmp equal(unsigned argument, std::uint64_t value) { return {argument, SCMP_CMP_EQ, value, 0}; }

void filterSystemCalls()
{
    Filter filter;
    for (const int call : ALLOWED)
        filter.allow(call);
    for (const RefusedCall& refused : REFUSED)
        filter.refuse(refused);
    for (const int call : {SCMP_SYS(fcntl), SCMP_SYS(fcntl64)}) {
        for (const int command : DESCRIPTOR_COMMANDS)
            filter.allow(call, equal(1, static_cast<std::uint64_t>(command)));
    }
    filter.allow(SCMP_SYS(mprotect), masked(2, PROT_EXEC, 0));
    // Memory that is shared or grows by itself is none that RLIMIT_DATA counts. Files may be shared: they are bounded themselves.
    for (const int call : {SCMP_SYS(mmap), SCMP_SYS(mmap2)}) {
        filter.allow(call, masked(2, PROT_EXEC, 0), masked(3, MAP_TYPE | MAP_GROWSDOWN, MAP_PRIVATE));
        filter.allow(call, masked(2, PROT_EXEC, 0), masked(3, MAP_ANONYMOUS | MAP_GROWSDOWN, 0));
    }
    // Threads, not processes.
    filter.allow(SCMP_SYS(clone), masked(0, CLONE_THREAD, CLONE_THREAD));
    // A file's state by its descriptor, not by a name.
    filter.allow(SCMP_SYS(newfstatat), masked(3, AT_EMPTY_PATH, AT_EMPTY_PATH));
    filter.allow(SCMP_SYS(prctl), equal(0, PR_SET_NAME));
    filter.allow(SCMP_SYS(prctl), equal(0, PR_SET_VMA));
    // An abort is a signal to itself.
    filter.allow(SCMP_SYS(tgkill), equal(0, static_cast<std::uint64_t>(::getpid())));
    filter.load();
}

} // namespace

void confine()
{
    for (const ResourceLimit& limit : LIMITS)
        limitResource(limit);
    // A file that grows too large is an error, as a full disk is.
    std::signal(SIGXFSZ, SIG_IGN);
    if (SANITIZED)
        return;
    limitResource({RLIMIT_DATA, PICTURE_MEMORY, "RLIMIT_DATA"});
    filterSystemCalls();
}

} // namespace pictures
