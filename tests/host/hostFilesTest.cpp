// The files contract.
#include "files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "host/hostFixture.h"

namespace {

namespace fs = std::filesystem;
using hosttest::ContextTest;
using hosttest::readWhole;
using hosttest::TemporaryDirectory;

class HostFiles : public ::testing::Test {
protected:
    TemporaryDirectory directory_;

    std::string path(const std::string& name) const { return directory_.file(name); }

    static int32_t write(const std::string& path, const std::string& content) {
        OSSHFile* file = nullptr;
        const int32_t opened = ossFileOpen(&file, path.c_str(), OSS_FILE_CREATE, 0644);
        if (opened != OSS_OK) {
            EXPECT_EQ(file, nullptr);
            return opened;
        }
        size_t done = 0;
        EXPECT_EQ(ossFileWrite(file, content.data(), content.size(), &done), OSS_OK);
        EXPECT_EQ(done, content.size());
        return ossFileClose(file);
    }

    /* Other contents for a file below a directory. */
    int32_t replace(const std::string& name, const std::string& content, uint32_t permissions = 0644,
                    const std::string& root = "") const {
        OSSHFile* file = nullptr;
        int32_t result = ossFileOpenBelow(&file, path(root).c_str(), name.c_str(), OSS_FILE_REPLACE, permissions);
        EXPECT_EQ(file != nullptr, result == OSS_OK);
        size_t done = 0;
        if (result == OSS_OK) result = ossFileWrite(file, content.data(), content.size(), &done);
        if (result == OSS_OK) result = ossFileCommit(file);
        ossFileClose(file);
        return result;
    }

    std::vector<std::string> names(const std::string& directory) const {
        std::vector<std::string> all;
        for (const auto& entry : fs::directory_iterator(path(directory))) all.push_back(entry.path().filename());
        std::sort(all.begin(), all.end());
        return all;
    }

    static int32_t open(const std::string& path) {
        OSSHFile* file = nullptr;
        const int32_t result = ossFileOpen(&file, path.c_str(), OSS_FILE_READ, 0);
        EXPECT_EQ(file != nullptr, result == OSS_OK);
        EXPECT_EQ(ossFileClose(file), OSS_OK);
        return result;
    }
};

TEST_F(HostFiles, WhatIsWrittenIsReadBack) {
    std::string content;
    for (int i = 0; i < 300'000; ++i) content += static_cast<char>(i * 31);
    ASSERT_EQ(write(path("f"), content), OSS_OK);
    EXPECT_EQ(readWhole(path("f")), content);

    OSSHFile* file = nullptr;
    ASSERT_EQ(ossFileOpen(&file, path("f").c_str(), OSS_FILE_READ, 0), OSS_OK);
    uint64_t size = 0;
    EXPECT_EQ(ossFileSize(file, &size), OSS_OK);
    EXPECT_EQ(size, content.size());
    std::string bytes(content.size() + 10, '#');
    size_t done = 0;
    EXPECT_EQ(ossFileRead(file, bytes.data(), 1000, &done), OSS_OK);
    EXPECT_EQ(done, 1000U);
    EXPECT_EQ(ossFileRead(file, bytes.data() + 1000, bytes.size() - 1000, &done), OSS_OK);
    EXPECT_EQ(done, content.size() - 1000) << "less than asked for only at the end";
    EXPECT_EQ(bytes, content + "##########");
    EXPECT_EQ(ossFileRead(file, bytes.data(), 10, &done), OSS_OK);
    EXPECT_EQ(done, 0U);
    EXPECT_EQ(ossFileClose(file), OSS_OK);
}

TEST_F(HostFiles, CreatingEmptiesAnExistingFileAndKeepsItsPermissions) {
    ASSERT_EQ(write(path("f"), "old content that is longer"), OSS_OK);
    ASSERT_EQ(::chmod(path("f").c_str(), 0600), 0);
    ASSERT_EQ(write(path("f"), "new"), OSS_OK);
    EXPECT_EQ(readWhole(path("f")), "new");
    EXPECT_EQ(fs::status(path("f")).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(HostFiles, ANewFileHasTheGivenPermissionsWithinTheProcesssMask) {
    const mode_t mask = ::umask(022);
    OSSHFile* file = nullptr;
    ASSERT_EQ(ossFileOpen(&file, path("f").c_str(), OSS_FILE_CREATE, 0777), OSS_OK);
    EXPECT_EQ(ossFileClose(file), OSS_OK);
    ::umask(mask);
    struct stat status {};
    ASSERT_EQ(::stat(path("f").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0755U);
}

TEST_F(HostFiles, AFileOpenedForReadingCannotBeWritten) {
    ASSERT_EQ(write(path("f"), "x"), OSS_OK);
    OSSHFile* file = nullptr;
    ASSERT_EQ(ossFileOpen(&file, path("f").c_str(), OSS_FILE_READ, 0), OSS_OK);
    size_t done = 7;
    EXPECT_EQ(ossFileWrite(file, "y", 1, &done), OSS_NO_PERMISSION);
    EXPECT_EQ(done, 0U);
    EXPECT_EQ(ossFileClose(file), OSS_OK);
    EXPECT_EQ(readWhole(path("f")), "x");
}

TEST_F(HostFiles, OnlyRegularFilesAreOpened) {
    ASSERT_EQ(write(path("target"), "secret"), OSS_OK);
    fs::create_symlink(path("target"), path("link"));
    fs::create_symlink(path("nowhere"), path("dangling"));
    fs::create_directory(path("dir"));
    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path("socket").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);

    for (const char* name : {"link", "dangling", "dir", "pipe", "socket"}) {
        EXPECT_EQ(open(path(name)), OSS_NOT_REGULAR) << name;
        EXPECT_EQ(write(path(name), "overwritten"), OSS_NOT_REGULAR) << name;
    }
    EXPECT_EQ(open("/dev/zero"), OSS_NOT_REGULAR);
    EXPECT_EQ(write("/dev/null", "x"), OSS_NOT_REGULAR);
    EXPECT_EQ(readWhole(path("target")), "secret");
    EXPECT_FALSE(fs::exists(path("nowhere"))) << "a file was created through a symbolic link";
    ::close(socket);
}

TEST_F(HostFiles, FailuresSayWhatIsWrong) {
    EXPECT_EQ(open(path("missing")), OSS_NOT_FOUND);
    EXPECT_EQ(open(""), OSS_NOT_FOUND);
    EXPECT_EQ(open(path("missing/f")), OSS_NOT_FOUND);
    EXPECT_EQ(write(path("missing/f"), "x"), OSS_NOT_FOUND);
    ASSERT_EQ(write(path("f"), "x"), OSS_OK);
    EXPECT_EQ(open(path("f") + "/below"), OSS_NOT_FOUND);
    OSSHFile* file = nullptr;
    EXPECT_EQ(ossFileOpen(&file, path("f").c_str(), 0, 0), OSS_ERROR) << "neither reading nor creating";
    EXPECT_EQ(ossFileOpen(&file, path("f").c_str(), OSS_FILE_READ | OSS_FILE_CREATE, 0), OSS_ERROR);
    EXPECT_EQ(file, nullptr);
    EXPECT_EQ(ossFileClose(nullptr), OSS_OK);
}

// Exits with 0 when the permissions of `directory` hold for a user who is not the superuser.
[[noreturn]] void tryForbiddenPaths(const std::string& directory) {
    constexpr uid_t nobody = 65534;
    if (::geteuid() == 0 && ::seteuid(nobody) != 0) ::_exit(1);
    OSSHFile* file = nullptr;
    if (ossFileOpen(&file, (directory + "/f").c_str(), OSS_FILE_READ, 0) != OSS_NO_PERMISSION) ::_exit(2);
    if (ossFileOpen(&file, (directory + "/f").c_str(), OSS_FILE_CREATE, 0644) != OSS_NO_PERMISSION) ::_exit(3);
    if (ossFileOpen(&file, (directory + "/new").c_str(), OSS_FILE_CREATE, 0644) != OSS_NO_PERMISSION) ::_exit(4);
    if (ossDirectoryCreate((directory + "/sub").c_str(), 0755) != OSS_NO_PERMISSION) ::_exit(5);
    if (ossFileOpenBelow(&file, directory.c_str(), "f", OSS_FILE_REPLACE, 0644) != OSS_NO_PERMISSION) ::_exit(6);
    if (ossDirectoryCreateBelow(directory.c_str(), "sub", 0755) != OSS_NO_PERMISSION) ::_exit(6);
    ::_exit(file == nullptr ? 0 : 7);
}

TEST_F(HostFiles, PermissionsAreRespected) {
    fs::create_directory(path("dir"));
    ASSERT_EQ(write(path("dir/f"), "x"), OSS_OK);
    ASSERT_EQ(::chmod(path("dir/f").c_str(), 0), 0);
    ASSERT_EQ(::chmod(path("dir").c_str(), 0555), 0);
    ASSERT_EQ(::chmod(path("").c_str(), 0755), 0);
    EXPECT_EXIT(tryForbiddenPaths(path("dir")), ::testing::ExitedWithCode(0), "");
    ASSERT_EQ(::chmod(path("dir").c_str(), 0700), 0);
    EXPECT_EQ(readWhole(path("dir/f")), ::geteuid() == 0 ? "x" : "");
}

// Exits with 0 when the write stops at the limit and says so.
[[noreturn]] void writeBeyondLimit(OSSHFile* file) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{10, 10};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    size_t done = 0;
    const int32_t result = ossFileWrite(file, "0123456789ABCDEF", 16, &done);
    ::_exit(result == OSS_NO_SPACE && done == 10 ? 0 : 1);
}

TEST_F(HostFiles, AFullDeviceIsReported) {
    // The one device of a usual system that is always full is no regular file; a limit on file sizes acts the same way.
    OSSHFile* file = nullptr;
    ASSERT_EQ(ossFileOpen(&file, path("f").c_str(), OSS_FILE_CREATE, 0600), OSS_OK);
    EXPECT_EXIT(writeBeyondLimit(file), ::testing::ExitedWithCode(0), "");
    EXPECT_EQ(ossFileClose(file), OSS_OK);
}

TEST_F(HostFiles, NamesUpToTheLimit) {
    // Components of 200 bytes up to a path of 4095 bytes.
    std::string whole = directory_.path().string();
    while (whole.size() + 201 < 4000) {
        whole += "/" + std::string(200, 'd');
        ASSERT_EQ(ossDirectoryCreate(whole.c_str(), 0755), OSS_OK) << whole.size();
    }
    const std::string longest = whole + "/" + std::string(4095 - whole.size() - 1, 'f');
    ASSERT_EQ(longest.size(), 4095U);
    const bool fits = 4095 - whole.size() - 1 <= 255;
    ASSERT_TRUE(fits) << "the temporary directory's own path is in the way";
    EXPECT_EQ(write(longest, "x"), OSS_OK);
    EXPECT_EQ(open(longest), OSS_OK);
    EXPECT_EQ(ossPathExists(longest.c_str()), 1);
    const std::string tooLong = longest + "x";
    EXPECT_EQ(write(tooLong, "x"), OSS_TOO_LONG);
    EXPECT_EQ(open(tooLong), OSS_TOO_LONG);
    EXPECT_EQ(ossPathExists(tooLong.c_str()), 0);
    EXPECT_EQ(ossIsDirectory(tooLong.c_str()), 0);
    EXPECT_EQ(ossDirectoryCreate(tooLong.c_str(), 0755), OSS_TOO_LONG);
    OSSHFile* file = nullptr;
    EXPECT_EQ(ossFileOpenBelow(&file, "/", tooLong.c_str(), OSS_FILE_READ, 0), OSS_TOO_LONG);
    EXPECT_EQ(ossFileOpenBelow(&file, tooLong.c_str(), "f", OSS_FILE_READ, 0), OSS_TOO_LONG);
    EXPECT_EQ(ossDirectoryCreateBelow("/", tooLong.c_str(), 0755), OSS_TOO_LONG);
    EXPECT_EQ(open(path(std::string(256, 'n'))), OSS_TOO_LONG) << "one component of 256 bytes";
    EXPECT_EQ(ossFileOpenBelow(&file, "/", longest.c_str(), OSS_FILE_READ, 0), OSS_OK);
    EXPECT_EQ(ossFileClose(file), OSS_OK);
    EXPECT_EQ(replace(std::string(255, 'n'), "x"), OSS_OK);
    EXPECT_EQ(replace(std::string(256, 'n'), "x"), OSS_TOO_LONG);
}

/* --- below a directory -------------------------------------------------------------------------------------------- */

TEST_F(HostFiles, AReplacementIsSeenInOneStep) {
    ASSERT_EQ(write(path("current"), "old"), OSS_OK);
    std::atomic<bool> stop{false};
    std::atomic<int> damaged{0};
    std::thread reader([&] {
        while (!stop) {
            const std::string content = readWhole(path("current"));
            if (content != "old" && content != "new") ++damaged;
        }
    });
    for (int i = 0; i < 50; ++i) EXPECT_EQ(replace("current", i % 2 == 0 ? "new" : "old"), OSS_OK);
    stop = true;
    reader.join();
    EXPECT_EQ(damaged, 0);
    EXPECT_EQ(names(""), std::vector<std::string>{"current"});
}

TEST_F(HostFiles, WithoutACommitTheFileStays) {
    ASSERT_EQ(write(path("f"), "old"), OSS_OK);
    for (const char* name : {"f", "new"}) {
        OSSHFile* file = nullptr;
        ASSERT_EQ(ossFileOpenBelow(&file, path("").c_str(), name, OSS_FILE_REPLACE, 0644), OSS_OK);
        size_t done = 0;
        EXPECT_EQ(ossFileWrite(file, "x", 1, &done), OSS_OK);
        EXPECT_EQ(names("").size(), 2U) << "the other one lies beside";
        EXPECT_EQ(ossFileClose(file), OSS_OK);
    }
    EXPECT_EQ(readWhole(path("f")), "old");
    EXPECT_EQ(names(""), std::vector<std::string>{"f"});
}

TEST_F(HostFiles, AReplacementKeepsModeAndOwner) {
    struct stat before {};
    struct stat after {};
    for (const mode_t mode : {0600U, 0640U, 0604U, 0755U, 0777U}) {
        ASSERT_EQ(write(path("f"), "old"), OSS_OK);
        if (::geteuid() == 0) {
            ASSERT_EQ(::chown(path("f").c_str(), 65534, 65533), 0);
        }
        ASSERT_EQ(::chmod(path("f").c_str(), mode), 0);
        ASSERT_EQ(::stat(path("f").c_str(), &before), 0);
        EXPECT_EQ(replace("f", "new"), OSS_OK) << std::oct << mode;
        ASSERT_EQ(::stat(path("f").c_str(), &after), 0);
        EXPECT_EQ(after.st_mode, before.st_mode);
        EXPECT_EQ(after.st_uid, before.st_uid);
        EXPECT_EQ(after.st_gid, before.st_gid);
        EXPECT_NE(after.st_ino, before.st_ino) << "in one step";
        EXPECT_EQ(readWhole(path("f")), "new");
    }
    const mode_t mask = ::umask(027);
    EXPECT_EQ(replace("new", "x", 0755), OSS_OK);
    ::umask(mask);
    ASSERT_EQ(::stat(path("new").c_str(), &after), 0);
    EXPECT_EQ(after.st_mode & 07777U, 0750U) << "a new file has the given permissions within the mask";
    EXPECT_EQ(names(""), (std::vector<std::string>{"f", "new"}));
}

/* Exits with 0 when an unprivileged user replaces what he may write, and that only. */
[[noreturn]] void replaceAsNobody(const std::string& directory) {
    constexpr uid_t nobody = 65534;
    if (::setegid(nobody) != 0 || ::seteuid(nobody) != 0) ::_exit(1);
    const auto replace = [&](const char* name) {
        OSSHFile* file = nullptr;
        int32_t result = ossFileOpenBelow(&file, directory.c_str(), name, OSS_FILE_REPLACE, 0644);
        size_t done = 0;
        if (result == OSS_OK) result = ossFileWrite(file, "new", 3, &done);
        if (result == OSS_OK) result = ossFileCommit(file);
        ossFileClose(file);
        return result;
    };
    if (replace("open/theirs") != OSS_OK) ::_exit(2);
    if (replace("open/mine") != OSS_OK) ::_exit(3);
    if (replace("closed/mine") != OSS_OK) ::_exit(4);
    if (replace("open/forbidden") != OSS_NO_PERMISSION) ::_exit(5);
    if (replace("open/readonly") != OSS_NO_PERMISSION) ::_exit(6);
    if (replace("closed/new") != OSS_NO_PERMISSION) ::_exit(7);
    if (replace("open/new") != OSS_OK) ::_exit(8);
    ::_exit(0);
}

TEST_F(HostFiles, WhatTheUserMayNotWriteIsNotReplaced) {
    if (::geteuid() != 0) GTEST_SKIP() << "files of several users can be made by the superuser only";
    constexpr uid_t nobody = 65534;
    const struct {
        const char* name;
        uid_t owner;
        mode_t mode;
        bool inPlace; /* else a new file, or none */
    } files[] = {{"open/theirs", 0, 0666, true},
                 {"open/mine", nobody, 0600, false},
                 {"closed/mine", nobody, 0640, true},
                 {"open/forbidden", 0, 0644, false},
                 {"open/readonly", nobody, 0444, false}};
    std::map<std::string, struct stat> before;
    for (const char* name : {"open", "closed"}) fs::create_directory(path(name));
    for (const auto& file : files) {
        ASSERT_EQ(write(path(file.name), "older"), OSS_OK);
        ASSERT_EQ(::chown(path(file.name).c_str(), file.owner, file.owner), 0);
        ASSERT_EQ(::chmod(path(file.name).c_str(), file.mode), 0);
        ASSERT_EQ(::stat(path(file.name).c_str(), &before[file.name]), 0);
    }
    ASSERT_EQ(::chmod(path("open").c_str(), 0777), 0);
    ASSERT_EQ(::chmod(path("").c_str(), 0755), 0);
    EXPECT_EXIT(replaceAsNobody(path("")), ::testing::ExitedWithCode(0), "");
    for (const auto& file : files) {
        struct stat after {};
        ASSERT_EQ(::stat(path(file.name).c_str(), &after), 0);
        EXPECT_EQ(after.st_mode, before[file.name].st_mode) << file.name;
        EXPECT_EQ(after.st_uid, before[file.name].st_uid) << file.name;
        EXPECT_EQ(after.st_gid, before[file.name].st_gid) << file.name;
        const bool isRefused = file.name == std::string("open/forbidden") || file.name == std::string("open/readonly");
        EXPECT_EQ(readWhole(path(file.name)), isRefused ? "older" : "new") << file.name;
        EXPECT_EQ(after.st_ino == before[file.name].st_ino, file.inPlace || isRefused) << file.name;
    }
    EXPECT_EQ(names("open"), (std::vector<std::string>{"forbidden", "mine", "new", "readonly", "theirs"}));
    EXPECT_EQ(names("closed"), std::vector<std::string>{"mine"});
}

TEST_F(HostFiles, NamesBelowADirectoryStayBelowIt) {
    fs::create_directories(path("root/a/b"));
    fs::create_directory(path("outside"));
    ASSERT_EQ(write(path("outside/f"), "secret"), OSS_OK);
    ASSERT_EQ(write(path("root/a/b/f"), "inside"), OSS_OK);
    fs::create_directory_symlink(path("outside"), path("root/link"));
    fs::create_directory_symlink("a", path("root/within"));
    fs::create_symlink("a/b/f", path("root/file"));
    fs::create_directory_symlink(path("root"), path("rootlink"));
    const struct {
        const char* root;
        const char* name;
        int32_t status;
    } cases[] = {{"root", "a/b/f", OSS_OK},
                 {"root", "/a//b/./f//", OSS_OK},
                 {"root", "link/f", OSS_NOT_FOUND},
                 {"root", "within/b/f", OSS_NOT_FOUND},
                 {"root", "file", OSS_NOT_REGULAR},
                 {"root", "a", OSS_NOT_REGULAR},
                 {"root", "a/b/f/g", OSS_NOT_FOUND},
                 {"root", "../outside/f", OSS_NOT_FOUND},
                 {"root", "a/../a/b/f", OSS_NOT_FOUND},
                 {"root", "a/b/..", OSS_NOT_REGULAR},
                 {"root", ".", OSS_NOT_REGULAR},
                 {"root", "/", OSS_NOT_REGULAR},
                 {"root", "", OSS_NOT_FOUND},
                 {"rootlink", "a/b/f", OSS_NOT_FOUND}};
    for (const auto& one : cases) {
        for (const uint32_t mode : {OSS_FILE_READ, OSS_FILE_REPLACE}) {
            OSSHFile* file = nullptr;
            EXPECT_EQ(ossFileOpenBelow(&file, path(one.root).c_str(), one.name, mode, 0644), one.status) << one.name;
            EXPECT_EQ(file != nullptr, one.status == OSS_OK) << one.name;
            EXPECT_EQ(ossFileClose(file), OSS_OK);
        }
    }
    OSSHFile* file = nullptr;
    EXPECT_EQ(ossFileOpenBelow(&file, path("root").c_str(), "a/b/f", OSS_FILE_CREATE, 0644), OSS_ERROR);
    EXPECT_EQ(ossDirectoryCreateBelow(path("root").c_str(), "a/new//deep/", 0755), OSS_OK);
    EXPECT_TRUE(fs::is_directory(path("root/a/new/deep")));
    EXPECT_EQ(ossDirectoryCreateBelow(path("root").c_str(), ".", 0755), OSS_OK) << "it exists already";
    for (const char* name : {"link/new", "within/new", "a/b/f", "../outside/new", "a/b/f/new"})
        EXPECT_NE(ossDirectoryCreateBelow(path("root").c_str(), name, 0755), OSS_OK) << name;
    EXPECT_EQ(names("outside"), std::vector<std::string>{"f"});
    EXPECT_EQ(readWhole(path("outside/f")), "secret");
}

/* Whoever exchanges a directory for a link while files below it are used wins nothing. */
TEST_F(HostFiles, ADirectoryThatIsExchangedForALinkLeadsNowhere) {
    fs::create_directories(path("root/d"));
    fs::create_directory(path("outside"));
    ASSERT_EQ(write(path("outside/f"), "secret"), OSS_OK);
    ASSERT_EQ(write(path("root/d/f"), "inside"), OSS_OK);
    fs::create_directory_symlink(path("outside"), path("root/link"));
    std::atomic<bool> stop{false};
    std::atomic<int> exchanges{0};
    std::thread attacker([&] {
        while (!stop &&
               ::renameat2(AT_FDCWD, path("root/d").c_str(), AT_FDCWD, path("root/link").c_str(), RENAME_EXCHANGE) == 0)
            ++exchanges;
        stop = true;
    });
    int written = 0;
    int read = 0;
    for (int i = 0; i < 2000 || (exchanges < 2000 && !stop); ++i) {
        if (replace("d/f", "inside", 0644, "root") == OSS_OK) ++written;
        OSSHFile* file = nullptr;
        if (ossFileOpenBelow(&file, path("root").c_str(), "d/f", OSS_FILE_READ, 0) != OSS_OK) continue;
        ++read;
        char text[8] = "";
        size_t done = 0;
        EXPECT_EQ(ossFileRead(file, text, sizeof text - 1, &done), OSS_OK);
        EXPECT_STREQ(text, "inside");
        EXPECT_EQ(ossFileClose(file), OSS_OK);
    }
    stop = true;
    attacker.join();
    EXPECT_GT(exchanges, 0);
    EXPECT_GT(written + read, 0);
    EXPECT_EQ(names("outside"), std::vector<std::string>{"f"});
    EXPECT_EQ(readWhole(path("outside/f")), "secret");
}

/* Exits with 0 when a file that is written in place keeps its contents, for there is no room for others. */
[[noreturn]] void replaceWithoutRoom(const std::string& directory) {
    constexpr uid_t nobody = 65534;
    std::signal(SIGXFSZ, SIG_IGN);
    if (::geteuid() == 0 && ::seteuid(nobody) != 0) ::_exit(1);
    OSSHFile* file = nullptr;
    if (ossFileOpenBelow(&file, directory.c_str(), "f", OSS_FILE_REPLACE, 0644) != OSS_OK) ::_exit(2);
    size_t done = 0;
    const std::string text(100, 'n');
    if (ossFileWrite(file, text.data(), text.size(), &done) != OSS_OK) ::_exit(3);
    const rlimit limit{50, 50};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    const int32_t result = ossFileCommit(file);
    ossFileClose(file);
    ::_exit(result == OSS_NO_SPACE ? 0 : 4);
}

TEST_F(HostFiles, WithoutRoomAFileThatIsWrittenInPlaceKeepsItsContents) {
    if (::geteuid() != 0) GTEST_SKIP() << "a directory of another user can be made by the superuser only";
    fs::create_directory(path("closed"));
    ASSERT_EQ(write(path("closed/f"), "old"), OSS_OK);
    ASSERT_EQ(::chmod(path("closed/f").c_str(), 0666), 0);
    ASSERT_EQ(::chmod(path("").c_str(), 0755), 0);
    EXPECT_EXIT(replaceWithoutRoom(path("closed")), ::testing::ExitedWithCode(0), "");
    EXPECT_EQ(readWhole(path("closed/f")), "old");
}

/* --- paths -------------------------------------------------------------------------------------------------------- */

TEST_F(HostFiles, ExistenceAndDirectories) {
    ASSERT_EQ(write(path("f"), "x"), OSS_OK);
    fs::create_directory(path("dir"));
    fs::create_symlink(path("dir"), path("link"));
    EXPECT_EQ(ossPathExists(path("f").c_str()), 1);
    EXPECT_EQ(ossPathExists(path("dir").c_str()), 1);
    EXPECT_EQ(ossPathExists(path("missing").c_str()), 0);
    EXPECT_EQ(ossIsDirectory(path("dir").c_str()), 1);
    EXPECT_EQ(ossIsDirectory(path("f").c_str()), 0);
    EXPECT_EQ(ossIsDirectory(path("missing").c_str()), 0);
    EXPECT_EQ(ossIsDirectory(path("link").c_str()), 0) << "a symbolic link is no directory";
}

TEST_F(HostFiles, DirectoriesAreMadeWithTheirParents) {
    const mode_t mask = ::umask(022);
    EXPECT_EQ(ossDirectoryCreate(path("a/b//c/").c_str(), 0755), OSS_OK);
    ::umask(mask);
    EXPECT_EQ(ossIsDirectory(path("a/b/c").c_str()), 1);
    struct stat status {};
    ASSERT_EQ(::stat(path("a/b").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0755U);
    EXPECT_EQ(ossDirectoryCreate(path("a/b/c").c_str(), 0755), OSS_OK) << "it exists already";
    ASSERT_EQ(write(path("f"), "x"), OSS_OK);
    EXPECT_NE(ossDirectoryCreate(path("f").c_str(), 0755), OSS_OK);
    EXPECT_NE(ossDirectoryCreate(path("f/sub").c_str(), 0755), OSS_OK);
    fs::create_directory_symlink(path("a"), path("link"));
    EXPECT_EQ(ossDirectoryCreate(path("link").c_str(), 0755), OSS_NOT_REGULAR)
        << "a link is not taken for the directory";
}

TEST_F(HostFiles, PathsAreSplit) {
    struct Case {
        const char* path;
        const char* directory;
        const char* name;
    };
    for (const Case& split : {Case{"a/b.xml", "a", "b.xml"}, Case{"b.xml", ".", "b.xml"}, Case{"/b.xml", "/", "b.xml"},
                              Case{"/", "/", "/"}, Case{"//", "/", "/"}, Case{"a//b", "a", "b"}, Case{"a/b/", "a", "b"},
                              Case{"a/b/c.xml", "a/b", "c.xml"}, Case{"", ".", "."}, Case{"..", ".", ".."}}) {
        char text[64] = "?";
        EXPECT_EQ(ossDirectoryName(split.path, text, sizeof text), OSS_OK) << split.path;
        EXPECT_STREQ(text, split.directory) << split.path;
        EXPECT_EQ(ossBaseName(split.path, text, sizeof text), OSS_OK) << split.path;
        EXPECT_STREQ(text, split.name) << split.path;
    }
    char small[3] = "?";
    EXPECT_EQ(ossBaseName("d/abc", small, sizeof small), OSS_TOO_LONG);
    EXPECT_STREQ(small, "");
    EXPECT_EQ(ossDirectoryName("abc/d", small, sizeof small), OSS_TOO_LONG);
    EXPECT_STREQ(small, "");
    EXPECT_EQ(ossBaseName("d/ab", small, sizeof small), OSS_OK);
    EXPECT_STREQ(small, "ab");
}

class HostInstancePath : public ContextTest {};

TEST_F(HostInstancePath, IsThatOfTheThreadsContext) {
    char path[OSS_PATH_SIZE] = "";
    EXPECT_EQ(sqloInstancePath(path, sizeof path), OSS_OK);
    EXPECT_EQ(path, instancePath());
    EXPECT_EQ(sqloInstancePath(path, instancePath().size()), OSS_TOO_LONG);
    EXPECT_STREQ(path, "");
    std::thread([&] {
        char other[16] = "?";
        EXPECT_EQ(sqloInstancePath(other, sizeof other), OSS_NOT_FOUND) << "this thread has no context";
        EXPECT_STREQ(other, "");
    }).join();
    context().unbind();
    EXPECT_EQ(sqloInstancePath(path, sizeof path), OSS_NOT_FOUND);
}

}  // namespace
