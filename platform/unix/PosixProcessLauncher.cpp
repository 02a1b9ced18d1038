// Starting programs with posix_spawn, detached: own session, standard streams on /dev/null.
#include "platform/unix/PosixProcessLauncher.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>

extern char** environ;

namespace kelvo::platform {

namespace {

/// The spawn settings, released however Launch leaves.
struct SpawnSetup {
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    int error = 0;
    bool ready = false;

    SpawnSetup() {
        if ((error = posix_spawn_file_actions_init(&actions)) != 0)
            return;
        if ((error = posix_spawnattr_init(&attributes)) != 0) {
            posix_spawn_file_actions_destroy(&actions);
            return;
        }
        ready = true;
    }
    ~SpawnSetup() {
        if (ready) {
            posix_spawnattr_destroy(&attributes);
            posix_spawn_file_actions_destroy(&actions);
        }
    }
    SpawnSetup(const SpawnSetup&) = delete;
    SpawnSetup& operator=(const SpawnSetup&) = delete;
};

int Configure(SpawnSetup& setup) {
    int error = 0;
    for (const auto& [fd, flags] : {std::pair{0, O_RDONLY}, {1, O_WRONLY}, {2, O_WRONLY}}) {
        if ((error = posix_spawn_file_actions_addopen(&setup.actions, fd, "/dev/null", flags, 0)) != 0)
            return error;
    }
#if defined(__GLIBC__) && (__GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 34))
    // Descriptors the host left inheritable (a toolkit's pipes, a printing
    // system connection) are none of the helper's business.
    if ((error = posix_spawn_file_actions_addclosefrom_np(&setup.actions, 3)) != 0)
        return error;
#endif
    // A dialog may block or ignore signals for its own reasons; the helper
    // starts clean. Ignored signals would survive the exec otherwise.
    sigset_t none;
    sigemptyset(&none);
    sigset_t defaults;
    sigemptyset(&defaults);
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM, SIGCHLD, SIGUSR1, SIGUSR2, SIGALRM})
        sigaddset(&defaults, signal);
    if ((error = posix_spawnattr_setsigmask(&setup.attributes, &none)) != 0 ||
        (error = posix_spawnattr_setsigdefault(&setup.attributes, &defaults)) != 0)
        return error;
    return posix_spawnattr_setflags(&setup.attributes,
                                    POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
}

} // namespace

int PosixProcessLauncher::Launch(const std::vector<std::string>& arguments, pid_t& pid) {
    if (arguments.empty() || arguments.front().empty())
        return EINVAL;
    SpawnSetup setup;
    if (!setup.ready)
        return setup.error;
    if (const int error = Configure(setup); error != 0)
        return error;

    // posix_spawn wants mutable strings; it changes none of them.
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);

    pid_t child = 0;
    const int error = posix_spawn(&child, argv[0], &setup.actions, &setup.attributes, argv.data(), environ);
    if (error != 0)
        return error;
    mChildren.insert(child);
    pid = child;
    return 0;
}

std::size_t PosixProcessLauncher::Reap() {
    std::size_t collected = 0;
    for (auto child = mChildren.begin(); child != mChildren.end();) {
        int status = 0;
        const pid_t done = waitpid(*child, &status, WNOHANG);
        // ECHILD: someone else (a SIGCHLD handler of the host) collected it.
        if (done == *child || (done < 0 && errno == ECHILD)) {
            child = mChildren.erase(child);
            ++collected;
        } else {
            ++child;
        }
    }
    return collected;
}

} // namespace kelvo::platform
