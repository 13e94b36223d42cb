// SPDX-License-Identifier: GPL-2.0-or-later
// A private Xvfb server on a display number of its own choosing, ended with
// the object.
#pragma once

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

class Xvfb {
public:
    Xvfb() = default;
    Xvfb(const Xvfb&) = delete;
    Xvfb& operator=(const Xvfb&) = delete;
    ~Xvfb() {
        if (pid > 0) {
            kill(pid, SIGTERM);
            waitpid(pid, nullptr, 0);
        }
    }

    // Starts the server with one screen of `screen` (WxHxD); false when it
    // did not say which display it took.
    bool Start(const char* screen = "1280x1024x24") {
        int fds[2];
        if (pipe(fds) != 0) return false;
        pid = fork();
        if (pid == 0) {
            close(fds[0]);
            const std::string fd = std::to_string(fds[1]);
            execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", screen, "-nolisten", "tcp",
                   static_cast<char*>(nullptr));
            _exit(127);
        }
        close(fds[1]);
        std::string number;
        pollfd wait{fds[0], POLLIN, 0};
        char c = 0;
        while (poll(&wait, 1, 15000) > 0 && read(fds[0], &c, 1) == 1 && c != '\n') number += c;
        close(fds[0]);
        display = ":" + number;
        return !number.empty();
    }

    std::string display;  // ":N" once started

private:
    pid_t pid = -1;
};
