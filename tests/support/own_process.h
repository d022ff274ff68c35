#pragma once

#include <sys/wait.h>
#include <unistd.h>

/// Runs the body in a process of its own, for what belongs to the whole process: signal handlers,
/// masks, limits. The status it leaves with by _exit(), 99 if it returns, or 128 and the number of
/// the signal that ended it.
template <typename Body>
int exitStatusOf(Body body) {
    const pid_t child = fork();
    if (child == 0) {
        body();
        _exit(99);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
