// The files contract.
#include "files.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <csignal>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

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
    if (ossFileDelete((directory + "/f").c_str()) != OSS_NO_PERMISSION) ::_exit(6);
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
    EXPECT_EQ(ossFileDelete(tooLong.c_str()), OSS_TOO_LONG);
    EXPECT_EQ(ossFileRename(longest.c_str(), tooLong.c_str()), OSS_TOO_LONG);
    EXPECT_EQ(open(path(std::string(256, 'n'))), OSS_TOO_LONG) << "one component of 256 bytes";
    EXPECT_EQ(ossFileDelete(longest.c_str()), OSS_OK);
}

TEST_F(HostFiles, RenamingReplacesInOneStep) {
    ASSERT_EQ(write(path("current"), "old"), OSS_OK);
    std::atomic<bool> stop{false};
    std::atomic<int> damaged{0};
    std::thread reader([&] {
        while (!stop) {
            const std::string content = readWhole(path("current"));
            if (content != "old" && content != "new") ++damaged;
        }
    });
    for (int i = 0; i < 50; ++i) {
        ASSERT_EQ(write(path("beside"), i % 2 == 0 ? "new" : "old"), OSS_OK);
        ASSERT_EQ(ossFileRename(path("beside").c_str(), path("current").c_str()), OSS_OK);
        EXPECT_EQ(ossPathExists(path("beside").c_str()), 0);
    }
    stop = true;
    reader.join();
    EXPECT_EQ(damaged, 0);
    EXPECT_EQ(ossFileRename(path("missing").c_str(), path("current").c_str()), OSS_NOT_FOUND);
    EXPECT_EQ(readWhole(path("current")), "old");
}

TEST_F(HostFiles, DeletingTakesFilesOnly) {
    ASSERT_EQ(write(path("f"), "x"), OSS_OK);
    EXPECT_EQ(ossFileDelete(path("f").c_str()), OSS_OK);
    EXPECT_EQ(ossFileDelete(path("f").c_str()), OSS_NOT_FOUND);
    fs::create_directory(path("dir"));
    EXPECT_NE(ossFileDelete(path("dir").c_str()), OSS_OK);
    EXPECT_TRUE(fs::is_directory(path("dir")));
}

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
