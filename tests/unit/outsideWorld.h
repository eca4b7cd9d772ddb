/* What documents may point at and nobody may touch: a file, a pipe, and a server. */
#ifndef TESTS_UNIT_OUTSIDE_WORLD_H
#define TESTS_UNIT_OUTSIDE_WORLD_H

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include "unit/servicesSupport.h"

class OutsideWorld {
public:
    explicit OutsideWorld(const std::string& contentOfFile) {
        std::ofstream(file) << contentOfFile;
        // Whoever opens a pipe that nobody writes to waits for ever; the test holds it open, so that it is seen.
        EXPECT_EQ(mkfifo(pipe.c_str(), 0600), 0);
        heldPipe_ = open(pipe.c_str(), O_RDWR | O_NONBLOCK);
        EXPECT_GE(heldPipe_, 0);
        for (const std::string& path : {file, pipe})
            EXPECT_GE(inotify_add_watch(watch_, path.c_str(), IN_OPEN | IN_ACCESS), 0);

        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(bind(server_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(listen(server_, 16), 0);
        socklen_t size = sizeof address;
        EXPECT_EQ(getsockname(server_, reinterpret_cast<sockaddr*>(&address), &size), 0);
        url = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/x";
    }
    ~OutsideWorld() {
        for (const int descriptor : {server_, watch_, heldPipe_}) close(descriptor);
    }
    OutsideWorld(const OutsideWorld&) = delete;
    OutsideWorld& operator=(const OutsideWorld&) = delete;

    std::vector<std::string> places() const { return {file, "file://" + file, pipe, "file://" + pipe, url}; }

    /* Whether anybody has opened the file or the pipe, or connected to the server. */
    bool wasTouched() const {
        pollfd waiting[] = {{server_, POLLIN, 0}, {watch_, POLLIN, 0}};
        return poll(waiting, 2, 0) != 0;
    }

private:
    const services::TemporaryInstance instance_;

public:
    const std::string file = instance_.get().path() + "/tmp/file";
    const std::string pipe = instance_.get().path() + "/tmp/pipe";
    std::string url;

private:
    const int server_ = socket(AF_INET, SOCK_STREAM, 0);
    const int watch_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    int heldPipe_ = -1;
};

#endif
