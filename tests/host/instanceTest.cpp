// The instance directory of the hosts outside a server.
#include "instance.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <thread>
#include <vector>

#include "bindFile.h"
#include "host/hostFixture.h"
#include "hostError.h"

namespace {

namespace fs = std::filesystem;
using hosttest::TemporaryDirectory;
using kelhost::HostError;
using kelhost::Instance;

std::string messageOf(const std::function<void()>& failing) {
    try {
        failing();
    } catch (const HostError& error) {
        EXPECT_EQ(error.sqlstate(), "58030");
        EXPECT_LT(error.sqlcode(), 0);
        return error.what();
    }
    return "no error";
}

class InstanceTest : public ::testing::Test {
protected:
    TemporaryDirectory directory_;
    fs::path path() const { return directory_.path() / "parent" / "instance"; }
};

TEST_F(InstanceTest, CreatingMakesEveryPart) {
    const Instance instance = Instance::create(path());
    EXPECT_EQ(instance.path(), path().string());
    const std::vector<std::string> parts = {instance.bindFiles(),     instance.messageFiles(), instance.exchangeFiles(),
                                            instance.databaseFiles(), instance.logFiles(),     instance.backups()};
    const std::vector<std::string> names = {"bnd", "misc", "tmp", "db", "log", "backup"};
    for (size_t i = 0; i < parts.size(); ++i) {
        EXPECT_EQ(parts[i], (path() / names[i]).string());
        EXPECT_TRUE(fs::is_directory(parts[i])) << parts[i];
        struct stat status {};
        ASSERT_EQ(::stat(parts[i].c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0027U, 0U) << "others have no rights, the group cannot write: " << parts[i];
    }
}

TEST_F(InstanceTest, CreatingAgainMakesWhatIsMissingAndKeepsTheRest) {
    Instance::create(path());
    std::ofstream(path() / "tmp" / "kept") << "x";
    fs::remove_all(path() / "bnd");
    Instance::create(path());
    EXPECT_TRUE(fs::is_directory(path() / "bnd"));
    EXPECT_EQ(hosttest::readWhole(path() / "tmp" / "kept"), "x");
}

const std::vector<std::string> installed = {"bnd/kelpolicy.bnd", "misc/kelsql.mo"};

std::vector<std::string> contentsOf(const fs::path& instance) {
    std::vector<std::string> contents;
    for (const std::string& name : installed) contents.push_back(hosttest::readWhole(instance / name));
    return contents;
}

/* Names below a directory, so that nothing half-written stays behind unseen. */
std::set<std::string> namesIn(const fs::path& directory) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory)) names.insert(entry.path().filename().string());
    return names;
}

TEST_F(InstanceTest, ItHasTheProgramsBindFileAndMessageFile) {
    Instance::create(path());
    const std::vector<std::string> contents = contentsOf(path());
    kelhost::BindFile bindFile;
    std::string error;
    EXPECT_TRUE(kelhost::readBindFile(contents[0], bindFile, error)) << error;
    EXPECT_EQ(bindFile.collection, "NULLID");
    EXPECT_EQ(bindFile.package, "POLYH03");
    EXPECT_EQ(bindFile.sections.at(0).text, "SELECT NAME FROM SYSTOOLS.POLICY WHERE MED = ?");
    EXPECT_EQ(contents[1].substr(0, 4), "\xDE\x12\x04\x95") << "a compiled message catalogue";
    for (const std::string& name : installed) {
        struct stat status {};
        ASSERT_EQ(::stat((path() / name).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, 0640U) << name;
    }
}

TEST_F(InstanceTest, OpeningBringsTheProgramsFilesUpToDate) {
    Instance::create(path());
    const std::vector<std::string> contents = contentsOf(path());
    for (const std::string& name : installed) {
        const fs::path file = path() / name;
        const auto open = [&](const char* why) {
            Instance::open(path());
            EXPECT_EQ(contentsOf(path()), contents) << name << ": " << why;
            EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(file))) << name << ": " << why;
            EXPECT_EQ(namesIn(file.parent_path()).size(), 1U) << name << ": " << why;
        };
        fs::remove(file);
        open("missing");
        std::ofstream(file) << "older";
        open("shorter");
        std::ofstream(file, std::ios::app) << "x";
        open("longer");
        std::fstream(file, std::ios::in | std::ios::out).put('?');
        open("of the same length");
        fs::remove(file);
        std::ofstream(directory_.file("outside")) << "kept";
        fs::create_symlink(directory_.file("outside"), file);
        open("a symbolic link");
        EXPECT_EQ(hosttest::readWhole(directory_.file("outside")), "kept");
        fs::last_write_time(file, fs::last_write_time(file) - std::chrono::hours(1));
        const auto before = fs::last_write_time(file);
        open("the same");
        EXPECT_EQ(fs::last_write_time(file), before) << "a file that is right is left alone";
    }
}

TEST_F(InstanceTest, WhatCannotBeWrittenFailsTheCreationOnly) {
    Instance::create(path());
    const fs::path file = path() / installed[0];
    fs::remove(file);
    fs::create_directory(file);
    EXPECT_EQ(Instance::open(path()).path(), path().string()) << "it is used as it is";
    EXPECT_NE(messageOf([this] { Instance::create(path()); }).find("cannot write the files of the instance"),
              std::string::npos);
    EXPECT_EQ(namesIn(file.parent_path()), std::set<std::string>{"kelpolicy.bnd"}) << "nothing half-written";
}

TEST_F(InstanceTest, ThePathIsMadeAbsoluteAndItsLinksAreResolved) {
    Instance::create(path());
    fs::create_directory_symlink(path(), directory_.path() / "link");
    EXPECT_EQ(Instance::open(directory_.path() / "link").path(), path().string());
    EXPECT_EQ(Instance::open(path() / "").path(), path().string()) << "a slash at the end";
    EXPECT_EQ(Instance::open(path() / "tmp" / "..").path(), path().string());
    const fs::path before = fs::current_path();
    fs::current_path(directory_.path());
    EXPECT_EQ(Instance::create("parent/instance").path(), path().string());
    EXPECT_EQ(Instance::create("other").path(), directory_.file("other"));
    fs::current_path(before);
}

TEST_F(InstanceTest, FailuresNameTheDirectoryAndTheReason) {
    for (const bool writes : {true, false}) {
        const std::string message = messageOf([&] { writes ? Instance::open(path()) : Instance::find(path()); });
        EXPECT_EQ(message, "there is no instance at \"" + path().string() + "\"");
    }
    EXPECT_FALSE(fs::exists(path()));
    try {
        Instance::find(path());
    } catch (const HostError& error) {
        EXPECT_EQ(error.hint(), "\"kelpolicy --instance " + path().string() + " init\" makes one there.");
    }
    EXPECT_NE(messageOf([] { Instance::create(""); }).find("empty"), std::string::npos);
    Instance::create(path());
    fs::remove(path() / "log");
    EXPECT_NE(messageOf([this] { Instance::open(path()); }).find("no part \"log\""), std::string::npos);
    std::ofstream(path() / "log") << "a file";
    EXPECT_NE(messageOf([this] { Instance::create(path()); }).find("/log\" of the instance is no directory"),
              std::string::npos);
    std::ofstream(directory_.path() / "file") << "a file";
    EXPECT_NE(messageOf([this] { Instance::create(directory_.path() / "file"); }).find("/file"), std::string::npos);
    EXPECT_NE(messageOf([this] { Instance::create(directory_.path() / "file" / "below"); }).find("file"),
              std::string::npos);
}

TEST_F(InstanceTest, APathThatIsTooLongIsRefusedBeforeAnythingIsMade) {
    fs::path deep = directory_.path();
    while (deep.native().size() + 101 < Instance::maximumPath) deep /= std::string(100, 'd');
    const fs::path longest = deep / std::string(Instance::maximumPath - deep.native().size() - 1, 'i');
    ASSERT_EQ(longest.native().size(), Instance::maximumPath);
    EXPECT_EQ(Instance::create(longest).path(), longest.string());
    const fs::path tooLong = longest.string() + "x";
    EXPECT_NE(messageOf([&] { Instance::create(tooLong); }).find("at most 1900"), std::string::npos);
    EXPECT_FALSE(fs::exists(tooLong));
}

TEST_F(InstanceTest, SeveralThreadsMayCreateItAtOnce) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([this] { EXPECT_EQ(Instance::create(path()).path(), path().string()); });
    }
    for (std::thread& thread : threads) thread.join();
}

TEST_F(InstanceTest, WhatAThreadWorksForIsItsOwn) {
    const Instance first = Instance::create(path());
    const Instance second = Instance::create(directory_.path() / "second");
    const std::string name = "DB";
    EXPECT_EQ(kelhost::threadScope().instance, nullptr);
    {
        const kelhost::BoundThreadScope outer({&first, nullptr});
        {
            const kelhost::BoundThreadScope inner({&second, &name});
            EXPECT_EQ(kelhost::threadScope().instance, &second);
            EXPECT_EQ(kelhost::threadScope().database, &name);
            std::thread([] { EXPECT_EQ(kelhost::threadScope().instance, nullptr); }).join();
        }
        EXPECT_EQ(kelhost::threadScope().instance, &first);
        EXPECT_EQ(kelhost::threadScope().database, nullptr);
    }
    EXPECT_EQ(kelhost::threadScope().instance, nullptr);
}

}  // namespace
