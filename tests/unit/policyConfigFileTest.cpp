/* Getting and setting policies through files: where names lead, what is refused, what a reader of the file sees. */
#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <thread>

#include "configuration/sqlpiPolicyConfigFile.h"
#include "faulty.h"
#include "files.h"
#include "unit/configSupport.h"

namespace {

namespace fs = std::filesystem;
using config::getFile;
using config::Outcome;
using config::setFile;
using faulty::Service;

using Strings = std::vector<std::string>;

class PolicyConfigFile : public config::ProceduresTest {
protected:
    void expectRefused(const Outcome& outcome, int32_t sqlcode, const Strings& tokens, const Strings& logged) {
        EXPECT_EQ(outcome.status, SQLPI_CONFIG_FAILED);
        EXPECT_EQ(outcome.sqlcode, sqlcode);
        EXPECT_EQ(outcome.sqlstate, "5U0ZZ");
        EXPECT_EQ(outcome.tokens, tokens);
        EXPECT_EQ(takeComplaints(), logged);
    }
    static std::string row() { return *services::stored(SQLPI_BACKUP_KEY); }
    Strings filesInTmp() const {
        Strings names;
        for (const auto& entry : fs::recursive_directory_iterator(tmp(""))) names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }

    const std::string document_ = config::getDocument("AUTO_BACKUP").document;
};

TEST_F(PolicyConfigFile, AGetWritesTheDocumentBelowTmp) {
    const fs::path outside = fs::path(instance().path()) / "p.xml";
    const struct {
        const char* name;
        const char* file;
    } cases[] = {{"p.xml", "p.xml"},
                 {"./p2.xml", "p2.xml"},
                 {"sub/p.xml", "sub/p.xml"},
                 {"a/b/c/p.xml", "a/b/c/p.xml"},
                 {"/abs/p.xml", "abs/p.xml"},
                 {"/p3.xml", "p3.xml"},
                 {"dir/", "dir"},
                 {"with blank .xml", "with blank .xml"}};
    for (const auto& [name, file] : cases) {
        const Outcome outcome = getFile("AUTO_BACKUP", name);
        EXPECT_TRUE(outcome.isDone()) << name << ": " << outcome;
        EXPECT_EQ(config::readWhole(tmp(file)), document_) << name;
    }
    EXPECT_FALSE(fs::exists(outside));
    struct stat status {};
    const mode_t mask = umask(0);
    umask(mask);
    ASSERT_EQ(stat(tmp("p.xml").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0755U & ~mask);
    ASSERT_EQ(stat(tmp("sub").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0755U & ~mask);
}

TEST_F(PolicyConfigFile, AGetReplacesAnOlderFileAndLeavesNothingBeside) {
    config::writeWhole(tmp("p.xml"), std::string(100'000, 'x'));
    ASSERT_TRUE(getFile("AUTO_BACKUP", "p.xml").isDone());
    EXPECT_EQ(config::readWhole(tmp("p.xml")), document_);
    EXPECT_EQ(filesInTmp(), Strings{"p.xml"});
}

TEST_F(PolicyConfigFile, ASetReadsWhatAGetWrote) {
    for (const config::Type& type : config::types) {
        config::writeWhole(tmp("in.xml"), config::soundDocument(type.name));
        const Outcome set = setFile(type.name, "in.xml");
        ASSERT_TRUE(set.isDone()) << type.name << set;
        ASSERT_TRUE(getFile(type.name, "sub/out.xml").isDone());
        EXPECT_EQ(config::readWhole(tmp("sub/out.xml")), config::getDocument(type.name).document);
        EXPECT_TRUE(setFile(type.name, "/sub/out.xml").isDone());
    }
}

TEST_F(PolicyConfigFile, NamesThatLeadElsewhereAreRefused) {
    for (const std::string name : {"../x.xml", "c:x.xml", "a/../../x.xml", "..", ":", "a..b", "sub/..", "/../etc/x"}) {
        SCOPED_TRACE(name);
        expectRefused(getFile("AUTO_BACKUP", name), -171, {"2", "AUTOMAINT_GET_POLICY"},
                      {"AutoMaintGetPolicy error, input policy file " + name + " contains relative path \n"});
        expectRefused(setFile("AUTO_BACKUP", name), -171, {"2", "AUTOMAINT_SET_POLICY"},
                      {"AutoMaintSetPolicy error, input policy file " + name + " contains relative path \n"});
    }
    EXPECT_EQ(filesInTmp(), Strings{});
}

TEST_F(PolicyConfigFile, NamesThatAreUnusableAreRefused) {
    const std::string longName = std::string(60, 'n') + "/" + std::string(5000, 'x');
    for (const std::string& name : {longName, std::string("."), std::string("/"), std::string("sub/.")}) {
        SCOPED_TRACE(name.substr(0, 20));
        const Outcome get = getFile("AUTO_BACKUP", name);
        EXPECT_EQ(get.sqlcode, -1448);
        EXPECT_EQ(get.tokens, Strings{name.substr(0, 40)});
        Strings complaints = takeComplaints();
        ASSERT_EQ(complaints.size(), 1u);
        EXPECT_TRUE(complaints[0].starts_with("AutoMaintGetPolicy error, input policy file " + name.substr(0, 100)));
        EXPECT_EQ(setFile("AUTO_BACKUP", name).sqlcode, -1436);
        takeComplaints();
    }
}

TEST_F(PolicyConfigFile, APathThatBecomesTooLongIsRefused) {
    // Each part is short enough by itself.
    std::string name;
    while (name.size() < 4000) name += std::string(99, 'd') + "/";
    name += std::string(80, 'f');
    EXPECT_EQ(getFile("AUTO_BACKUP", name).sqlcode, -1448);
    EXPECT_EQ(setFile("AUTO_BACKUP", name).sqlcode, -1436);
    EXPECT_EQ(filesInTmp(), Strings{});
}

TEST_F(PolicyConfigFile, ADirectoryThatCannotBeMadeIsTold) {
    const std::string unable =
        "unable to create the directory under instance-home/tmp, for writing the  policy file \n";
    config::writeWhole(tmp("file"), "x");
    expectRefused(getFile("AUTO_BACKUP", "file/p.xml"), -1448, {"file/p.xml"}, {unable});
    expectRefused(getFile("AUTO_BACKUP", "file/deeper/p.xml"), -1448, {"file/deeper/p.xml"}, {unable});
    expectRefused(setFile("AUTO_BACKUP", "file/p.xml"), -1436, {"file/p.xml"},
                  {"AutoMaintSetPolicy error, input policy file file/p.xml does not exist \n"});
    const faulty::Scope scope;
    faulty::failCall(Service::ossDirectoryCreateBelow, 1);
    const std::string name = std::string(45, 'n') + "/p.xml";
    expectRefused(getFile("AUTO_BACKUP", name), -1448, {std::string(40, 'n')}, {unable});
}

TEST_F(PolicyConfigFile, LinksPipesAndDirectoriesAreRefused) {
    const std::string outside = instance().path() + "/outside";
    fs::create_directory(outside);
    config::writeWhole(outside + "/secret.xml", config::backup());
    fs::create_symlink(outside, tmp("linked"));
    fs::create_symlink(outside + "/secret.xml", tmp("link.xml"));
    fs::create_symlink(outside + "/new.xml", tmp("dangling.xml"));
    fs::create_directory(tmp("directory"));
    ASSERT_EQ(mkfifo(tmp("pipe").c_str(), 0600), 0);
    const std::string before = row();
    for (const std::string name : {"linked/secret.xml", "linked/p.xml", "linked/deeper/p.xml", "link.xml",
                                   "dangling.xml", "directory", "pipe"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(getFile("AUTO_BACKUP", name).sqlcode, -1448);
        EXPECT_EQ(setFile("AUTO_BACKUP", name).sqlcode, -1436);
    }
    EXPECT_EQ(row(), before);
    EXPECT_EQ(config::readWhole(outside + "/secret.xml"), config::backup());
    EXPECT_FALSE(fs::exists(outside + "/new.xml"));
    EXPECT_FALSE(fs::exists(outside + "/deeper"));
    EXPECT_FALSE(fs::exists(outside + "/p.xml"));
    EXPECT_TRUE(fs::is_symlink(tmp("link.xml")));
}

TEST_F(PolicyConfigFile, AFileThatCannotBeReadIsTold) {
    const std::string before = row();
    const std::string longName(50, 'n');
    expectRefused(setFile("AUTO_BACKUP", longName), -1436, {longName},
                  {"AutoMaintSetPolicy error, input policy file " + longName + " does not exist \n"});
    expectRefused(setFile("AUTO_BACKUP", "no/such/p.xml"), -1436, {"no/such/p.xml"},
                  {"AutoMaintSetPolicy error, input policy file no/such/p.xml does not exist \n"});
    EXPECT_FALSE(fs::exists(tmp("no")));  // a set makes no directory

    config::writeWhole(tmp("empty"), "");
    expectRefused(setFile("AUTO_BACKUP", "empty"), -1436, {"empty"},
                  {"Policy file contents are of 0 bytes of length\n",
                   "AutoMaintSetPolicy error, input policy file empty is empty \n"});
    const std::string unreadable = "AutoMaintSetPolicy error, input policy file f does not have reade permission \n";
    config::writeWhole(tmp("f"), config::backup());
    for (const auto& [service, code] :
         {std::pair(Service::ossFileOpenBelow, faulty::usualFailure),
          std::pair(Service::ossFileOpenBelow, int32_t{OSS_NO_PERMISSION}),
          std::pair(Service::ossFileSize, faulty::usualFailure), std::pair(Service::ossFileRead, faulty::usualFailure),
          std::pair(Service::ossFileRead, faulty::shortTransfer)}) {
        const faulty::Scope scope;
        faulty::failCall(service, 1, faulty::Duration::once, code);
        SCOPED_TRACE(faulty::serviceName(service));
        expectRefused(setFile("AUTO_BACKUP", "f"), -1436, {"f"}, {unreadable});
    }
    EXPECT_EQ(row(), before);
}

TEST_F(PolicyConfigFile, AFileMayHaveTwoMegabytesAndNoMore) {
    const std::string sound = config::backup();
    config::writeWhole(tmp("largest"), sound + std::string(SQLUDF_LARGEST_LOB - sound.size(), ' '));
    EXPECT_TRUE(setFile("AUTO_BACKUP", "largest").isDone());
    config::writeWhole(tmp("larger"), sound + std::string(SQLUDF_LARGEST_LOB + 1 - sound.size(), ' '));
    takeComplaints();
    expectRefused(setFile("AUTO_BACKUP", "larger"), -1436, {"larger"},
                  {"AutoMaintSetPolicy error, input policy file larger is longer than 2097152 bytes \n"});
}

TEST_F(PolicyConfigFile, AFileThatCannotBeWrittenKeepsItsContents) {
    const std::string name = "sub/" + std::string(50, 'n');
    const struct {
        Service service;
        int32_t code;
        const char* text;
        size_t token;
    } cases[] = {
        {Service::ossFileOpenBelow, OSS_NO_PERMISSION, "could not open input policy file", 30},
        {Service::ossFileWrite, OSS_NO_SPACE, "Write", 40},
        {Service::ossFileWrite, faulty::shortTransfer, "Write", 40},
        {Service::ossFileCommit, OSS_NO_SPACE, "Write", 40},
    };
    config::writeWhole(tmp(name), "old");
    for (const auto& fault : cases) {
        const faulty::Scope scope;
        faulty::failCall(fault.service, 1, faulty::Duration::once, fault.code);
        SCOPED_TRACE(faulty::serviceName(fault.service));
        const std::string text =
            fault.text == std::string("Write")
                ? "AutoMaintGetPolicy error, input policy file " + name + " does not have Write permission \n"
                : "AutoMaintGetPolicy error, could not open input policy file " + name + " \n";
        expectRefused(getFile("AUTO_BACKUP", name), -1448, {name.substr(0, fault.token)}, {text});
        EXPECT_EQ(config::readWhole(tmp(name)), "old");
        EXPECT_EQ(filesInTmp().size(), 2u);  // "sub" and the file
    }
}

TEST_F(PolicyConfigFile, AGetKeepsModeAndOwnerOfAFileThatIsThere) {
    struct stat before {};
    struct stat after {};
    for (const mode_t mode : {0600U, 0640U, 0777U}) {
        config::writeWhole(tmp("p.xml"), "old");
        if (geteuid() == 0) {
            ASSERT_EQ(chown(tmp("p.xml").c_str(), 65534, 65533), 0);
        }
        ASSERT_EQ(chmod(tmp("p.xml").c_str(), mode), 0);
        ASSERT_EQ(stat(tmp("p.xml").c_str(), &before), 0);
        EXPECT_TRUE(getFile("AUTO_BACKUP", "p.xml").isDone());
        ASSERT_EQ(stat(tmp("p.xml").c_str(), &after), 0);
        EXPECT_EQ(after.st_mode, before.st_mode);
        EXPECT_EQ(after.st_uid, before.st_uid);
        EXPECT_EQ(after.st_gid, before.st_gid);
        EXPECT_EQ(config::readWhole(tmp("p.xml")), document_);
    }
    EXPECT_EQ(filesInTmp(), Strings{"p.xml"});
}

/* The way is walked anew for each use, so that there is no moment in which a link could stand in for a directory. */
TEST_F(PolicyConfigFile, ADirectoryThatBecomesALinkBehindTheLookAtItIsNotFollowed) {
    const std::string outside = instance().path() + "/outside";
    fs::create_directory(outside);
    config::writeWhole(outside + "/secret.xml", "secret");
    const sqlpiFileProcedure procedure = {"test", "Test", "TEST", -1448};
    sqlca ca{};
    sqlpiPolicyFile written(procedure, "sub/p.xml");
    sqlpiPolicyFile read(procedure, "sub/secret.xml");
    ASSERT_TRUE(written.resolve(ca) && written.makeDirectory(ca) && read.resolve(ca));
    config::writeWhole(tmp("sub/secret.xml"), "inside");
    fs::rename(tmp("sub"), tmp("moved"));
    fs::create_directory_symlink(outside, tmp("sub"));
    EXPECT_FALSE(written.replace("text", ca));
    EXPECT_EQ(ca.sqlcode, -1448);
    sqlpiBlock text(nullptr, sqlpiFreeBlock{"sqlpiPolicyConfig"});
    size_t length = 0;
    EXPECT_FALSE(read.read(text, length, ca));
    EXPECT_FALSE(written.makeDirectory(ca));
    EXPECT_FALSE(fs::exists(outside + "/p.xml"));
    EXPECT_EQ(std::distance(fs::directory_iterator(outside), fs::directory_iterator()), 1);
}

TEST_F(PolicyConfigFile, AFailedGetTouchesNoFile) {
    services::remove(SQLPI_BACKUP_KEY);
    clearLogs();
    const Outcome outcome = getFile("AUTO_BACKUP", "p.xml");
    EXPECT_EQ(outcome.sqlcode, 100);
    EXPECT_EQ(takeComplaints().back(), "Error returned from sqlpiAutomaintGetPolicySpCommon.\n");
    EXPECT_EQ(filesInTmp(), Strings{});
}

TEST_F(PolicyConfigFile, AFailedSetSaysSo) {
    config::writeWhole(tmp("bad.xml"), "<KELAutoBackupPolicy/>");
    const Outcome outcome = setFile("AUTO_BACKUP", "bad.xml");
    EXPECT_EQ(outcome.sqlcode, -1437);
    EXPECT_EQ(takeComplaints().back(), "Error returned from sqlpiAutomaintSetPolicySpCommon.\n");
}

TEST_F(PolicyConfigFile, WithoutAnInstanceNoFileIsFound) {
    const faulty::Scope scope;
    faulty::failCall(Service::sqloInstancePath, 1);
    EXPECT_EQ(getFile("AUTO_BACKUP", "p.xml").sqlcode, -1448);
}

TEST_F(PolicyConfigFile, AReaderSeesTheOldFileOrTheNew) {
    ASSERT_TRUE(getFile("AUTO_BACKUP", "p.xml").isDone());
    ASSERT_TRUE(config::setDocument("AUTO_BACKUP", config::backup()).isDone());
    ASSERT_TRUE(getFile("AUTO_BACKUP", "q.xml").isDone());
    const std::string newDocument = config::readWhole(tmp("q.xml"));
    ASSERT_NE(newDocument, document_);
    std::atomic<bool> done = false;
    std::atomic<int> seen = 0;
    std::optional<std::string> strange;
    std::thread reader([&] {
        while (!done) {
            const std::string content = config::readWhole(tmp("p.xml"));
            if (content != document_ && content != newDocument) strange = content;
            ++seen;
        }
    });
    while (seen == 0) std::this_thread::yield();
    for (int i = 0; i < 50; ++i) EXPECT_TRUE(getFile("AUTO_BACKUP", "p.xml").isDone());
    done = true;
    reader.join();
    EXPECT_EQ(strange, std::nullopt);
    EXPECT_EQ(config::readWhole(tmp("p.xml")), newDocument);
}

}  // namespace
