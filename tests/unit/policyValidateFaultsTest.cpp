/* Validation when memory runs out, and when files cannot be looked for. */
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <mutex>

#include "configuration/sqlpiPolicyRead.h"
#include "configuration/sqlpiRecordTexts.h"
#include "unit/endProcess.h"
#include "unit/failingGlobalMemory.h"
#include "unit/smallStack.h"
#include "unit/validateSupport.h"

namespace {

using namespace validated;
using faulty::Duration;
using faulty::Service;
using services::LogRecord;

const LogRecord outOfMemory = {PD_SEVERE, "Out of memory. Unable to allocate object."};
const LogRecord noSchema = {PD_ERROR, "Schema source is null. "};

/* Long texts, so that each of them needs memory of its own. */
std::vector<std::string> soundDocuments() {
    const std::string lettersForABlock(900, 'x');
    return {
        backup(disk("/"), "mode='Offline'"),
        backup(tape("t")),
        backup("<XBSABackupTarget numberOfSessions='4'/>"),
        reorg("useSystemTempTableSpace='true' dictionaryOption='Rebuild' indexReorgMode='Online' "
              "numInxPseudoEmptyPagesForVolatileTables='3'",
              "", "f"),
        windows(text({.daysOfWeek = "Mon", .daysOfMonth = "1 -1", .monthsOfYear = "Jan"}) + text({}, "OfflineWindow")),
        backup(vendor("/l" + lettersForABlock, lettersForABlock)),
        backup("<VLTBackupTarget numberOfSessions='3'/>"),
        reorg("reclaimExtentsSizeForMDCTables='1'", "maxOfflineReorgTableSize='2'", lettersForABlock),
        runstats("\xC3\xA9" + lettersForABlock)};
}

std::vector<std::string> wrongDocuments() {
    return {
        "<x/>",
        "<",
        oneWindow({.attributes = "duration='25'"}),
        oneWindow({.attributes = "startTime='noon'"}),
        oneWindow({.daysOfMonth = "32"}),
        oneWindow({.attributes = "Other='1'"}),
        windows(text({}, "OfflineWindow") + text({})),
        windows(""),
        backup(disk("") + tape("")),
        backup(disk("<x/>")),
        backup("<DiskBackupTarget/>"),
        backup("<DiskBackupTarget Other='1'><PathName/></DiskBackupTarget>"),
        backup("<DiskBackupTarget>text<PathName/></DiskBackupTarget>"),
        backup(vendor("", "")),
        backup("<XBSABackupTarget numberOfSessions='1000'/>"),
        backup(disk(""), "mode='Now'"),
        backup(disk(""), "", "Other='1'"),
        backup(disk(""), "", "numberOfFullBackups='x' timeSinceLastBackup='0' logSpaceConsumedSinceLastBackup='-1'"),
        backup("<VLTBackupTarget/>"),
        backup(tape("")),
        backup(disk("/no/such/place")),
        reorg("dictionaryOption='Drop'", "", ""),
        reorg("", "maxOfflineReorgTableSize='-1'", "<x/>"),
        reorg("reclaimExtentsSizeForMDCTables='0' numInxPseudoEmptyPagesForVolatileTables='x'", "Other='1'", ""),
        reorg("useSystemTempTableSpace='1' indexReorgMode='x'", "", "</FilterClause><FilterClause>"),
        config::root("KELAutoReorgPolicy", "text<ReorgOptions>text</ReorgOptions>"),
        config::root("KELAutoReorgPolicy", "<ReorgTableScope><FilterClause/></ReorgTableScope>"),
        config::root("KELAutoRunstatsPolicy", "<RunstatsTableScope/><Other/>"),
        runstats("</FilterCondition><FilterCondition>"),
        runstats(std::string(5000, 'f')),
        runstats("</Filter>"),
        withDeclarations(runstats("&e;"), "KELAutoRunstatsPolicy", "<!ENTITY e '<x/>'>"),
        withDeclarations(runstats("&e;"), "KELAutoRunstatsPolicy", "<!ENTITY e SYSTEM 'e'>"),
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>" + runstats("f").substr(39),
        "<?xml version=\"1.0\" encoding=\"GB18030\"?>" + runstats("f").substr(39),
        "<?xml version=\"1.0\" encoding=\"GB18030\"?>" + runstats("<x/>").substr(39)};
}

class ValidationFaults : public services::DocumentTest {
protected:
    ValidationFaults() {
        for (const std::string& document : soundDocuments()) validate(typeOf(document), document);
        faulty::reset();
        clearLogs();
    }
    ~ValidationFaults() override { faulty::reset(); }
};

TEST_F(ValidationFaults, EveryAllocationMayFailOnceOrForEver) {
    for (const std::string& document : soundDocuments()) {
        SCOPED_TRACE(document.substr(0, 100));
        const std::string whole = validate(typeOf(document), document).output;
        for (const Duration duration : {Duration::once, Duration::forEver}) {
            uint64_t call = 1;
            for (bool failed = true; failed; ++call) {
                faulty::reset();
                clearLogs();
                faulty::failCall(Service::anyMemory, call, duration);
                const Verdict verdict = validate(typeOf(document), document);
                failed = faulty::failures(Service::anyMemory) > 0;
                faulty::reset();
                SCOPED_TRACE(call);
                if (failed) {
                    expectRefused(verdict, -1438, {});
                    const auto log = takeDiagnosticLog();
                    ASSERT_FALSE(log.empty());
                    ASSERT_EQ(log.back(), outOfMemory);
                } else {
                    ASSERT_EQ(verdict.status, 0U);
                    ASSERT_EQ(verdict.output, whole);
                }
            }
            EXPECT_GT(call, 10U) << "a validation makes at least so many allocations";
        }
    }
}

TEST_F(ValidationFaults, AMistakeIsToldOrMemoryIs) {
    for (const std::string& document : wrongDocuments()) {
        SCOPED_TRACE(document.substr(0, 100));
        const Verdict expected = validate(typeOf(document), document);
        ASSERT_NE(expected.status, 0U);
        for (const Duration duration : {Duration::once, Duration::forEver}) {
            bool failed = true;
            for (uint64_t call = 1; failed; ++call) {
                SCOPED_TRACE(call);
                faulty::reset();
                faulty::failCall(Service::anyMemory, call, duration);
                const Verdict verdict = validate(typeOf(document), document);
                failed = faulty::failures(Service::anyMemory) > 0;
                faulty::reset();
                if (failed && verdict.sqlcode == -1438)
                    expectRefused(verdict, -1438, {});
                else
                    expectRefused(verdict, expected.sqlcode, expected.tokens);
            }
        }
    }
}

TEST_F(ValidationFaults, TheXmlLibrarysOwnMemoryMayFail) {
    for (const std::string& document : soundDocuments())
        for (const Duration duration : {Duration::once, Duration::forEver}) {
            bool failed = true;
            for (int call = 1; failed; ++call) {
                SCOPED_TRACE(call);
                clearLogs();
                FailingGlobalMemory memory(call, duration);
                const Verdict verdict = validate(typeOf(document), document);
                failed = memory.hasFailed;
                if (failed)
                    expectRefused(verdict, -1438, {});
                else
                    ASSERT_EQ(verdict.status, 0U);
            }
        }
}

TEST_F(ValidationFaults, ALocationThatCannotBeLookedForIsMissing) {
    faulty::failCall(Service::ossPathExists, 2);
    expectRefused(validate("AUTO_BACKUP", backup(disk("/,/"))), -1447, {"1"});
    EXPECT_EQ(faulty::calls(Service::ossPathExists), 2U);
    EXPECT_EQ(validate("AUTO_BACKUP", backup(disk("/,/"))).status, 0U);
}

TEST_F(ValidationFaults, OwnedTextsWithoutMemoryAreNone) {
    char* field = nullptr;
    ASSERT_TRUE(sqlpiSetOwnedText(field, "before"));
    faulty::failCall(Service::sqlogmblkEx, 1);
    EXPECT_FALSE(sqlpiSetOwnedText(field, "after"));
    EXPECT_EQ(field, nullptr);
}

/* --- the first use in a process ----------------------------------------------------------------------------------- */

/* What engines give their processes; sanitizers need more of it for themselves. */
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr size_t littleStack = size_t{512} << 10;
#else
constexpr size_t littleStack = size_t{64} << 10;
#endif

/* Runs each test in a process of its own, in which nothing has been validated. */
class FirstValidation : public testing::Test {
protected:
    FirstValidation() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
    template <class Steps>
    static void inOwnProcess(Steps steps) {
        EXPECT_EXIT(
            {
                steps();
                std::fflush(nullptr);
                endProcess(HasFailure() ? 1 : 0);
            },
            testing::ExitedWithCode(0), "");
    }
};

TEST_F(FirstValidation, ASchemaThatCouldNotBeBuiltIsBuiltByTheNextCall) {
    inOwnProcess([] {
        const std::string unknown = "<x/>";
        EXPECT_EQ(validate("NO_SUCH_TYPE", unknown).sqlcode, -1438);  // takes the XML platform
        int failures = 0;
        Duration duration = Duration::once;
        const auto otherOf = [](Duration one) { return one == Duration::once ? Duration::forEver : Duration::once; };
        for (const config::Type& type : config::types) {
            const std::string document = config::soundDocument(type.name);
            const kelhost::LogCapture logs;
            for (int call = 1;; ++call) {
                const int64_t before = kelhost::memoryTotal().blocks;
                FailingGlobalMemory memory(call, (duration = otherOf(duration)));
                const Verdict verdict = validate(type.name, document);
                if (!memory.hasFailed) break;
                ++failures;
                EXPECT_EQ(kelhost::memoryTotal().blocks, before);
                expectRefused(verdict, -1438, {});
            }
            EXPECT_EQ(logs.texts(kelhost::LogKind::diagnostic).front(), noSchema.text);
            EXPECT_EQ(validate(type.name, document).status, 0U) << type.name;
        }
        EXPECT_GT(failures, 40);
    });
}

TEST_F(FirstValidation, NeedsNoInstanceAndAnyPathWillDo) {
    inOwnProcess([] { EXPECT_EQ(validate("AUTO_RUNSTATS", config::runstats()).status, 0U) << "no engine context"; });
    inOwnProcess([] {
        const services::TemporaryInstance outer;
        for (const config::Type& type : config::types) {
            // Not even UTF-8, and as long as an instance's path may be.
            std::string path = outer.get().path() + "/\xC3\xA9\xFF" + type.name;
            while (path.size() < kelhost::Instance::maximumPath - 200) path += "/" + std::string(100, 'p');
            const kelhost::Instance instance = kelhost::Instance::create(path);
            const kelhost::BoundThreadScope scope({&instance, nullptr});
            EXPECT_EQ(validate(type.name, config::soundDocument(type.name)).status, 0U) << type.name;
        }
    });
}

TEST_F(FirstValidation, AndAllOthersNeedLittleStack) {
    inOwnProcess([] {
        const auto work = [] {
            for (int round = 0; round < 2; ++round) {
                for (const std::string& document : soundDocuments())
                    EXPECT_EQ(validate(typeOf(document), document).status, 0U);
                for (const std::string& document : wrongDocuments())
                    EXPECT_NE(validate(typeOf(document), document).status, 0U);
            }
        };
        onSmallStack(work, littleStack);
    });
}

/* Memory that can be made read-only, but for the mutexes in it. */
class FreezableMemory : public xercesc::MemoryManager {
public:
    FreezableMemory()
        : pages_(static_cast<char*>(
              mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0))) {}
    void freeze() {
        isFrozen_ = true;
        EXPECT_EQ(mprotect(pages_, size, PROT_READ), 0);
    }
    void* allocate(XMLSize_t wanted) override {
        ++allocations;
        constexpr size_t mutexWithHeader = sizeof(std::mutex) + sizeof(void*);
        if (isFrozen_ || wanted == mutexWithHeader) return std::malloc(wanted);
        char* block = pages_ + used_;
        used_ += (wanted + 15) / 16 * 16;
        if (used_ > size) throw xercesc::OutOfMemoryException();
        return block;
    }
    void deallocate(void* block) override {
        auto* place = static_cast<char*>(block);
        if (place < pages_ || place >= pages_ + size) std::free(block);
    }
    xercesc::MemoryManager* getExceptionMemoryManager() override { return this; }

    std::atomic<int> allocations = 0;

private:
    static constexpr size_t size = size_t{256} << 20;
    char* pages_;
    size_t used_ = 0;
    bool isFrozen_ = false;
};

TEST_F(FirstValidation, AfterItWhatIsSharedIsNeverWrittenAgain) {
    std::vector<std::string> documents = soundDocuments();
    for (const std::string& wrong : wrongDocuments()) documents.push_back(wrong);
    for (const config::Type& type : config::types) {
        SCOPED_TRACE(type.name);
        // Each kind alone: none completes what another one shares with it.
        inOwnProcess([&] {
            static FreezableMemory platformMemory;
            static FreezableMemory callMemory;
            xercesc::XMLPlatformUtils::Initialize(xercesc::XMLUni::fgXercescDefaultLocale, nullptr, nullptr,
                                                  &platformMemory);
            EXPECT_EQ(validate(type.name, "").sqlcode, -1447);
            xercesc::XMLPlatformUtils::fgMemoryManager = &callMemory;
            // Whoever writes to a grammar, or to what the platform shares, ends the process from here on. A grammar
            // with lists is used by one parser at a time.
            if (std::string(type.name) != "MAINTENANCE_WINDOW") platformMemory.freeze();
            platformMemory.allocations = 0;
            for (const std::string& document : documents) validate(type.name, document);
            EXPECT_EQ(validate(type.name, config::soundDocument(type.name)).status, 0U);
            EXPECT_EQ(platformMemory.allocations, 0) << "what the kinds share is complete";
        });
    }
}

}  // namespace
