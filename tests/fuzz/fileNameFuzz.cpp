/* File names of the file procedures: whatever the name, only files below the instance's "tmp" directory are reached,
 * and what is written there is read back. */
#include <optional>

#include "configuration/sqlpiPolicyConfigFile.h"
#include "fuzzTarget.h"

namespace {

namespace fs = std::filesystem;

/* A directory in which the instance lies, so that what is written beside that is seen. */
class Surroundings {
public:
    Surroundings() {
        std::string path = fs::temp_directory_path() / "kelpolicyXXXXXX";
        fuzz::demand(mkdtemp(path.data()) != nullptr, "a directory can be made", path);
        root_ = path;
        instance_.emplace(kelhost::Instance::create(root_ + "/a/instance"));
        scope_.emplace(kelhost::ThreadScope{&*instance_, nullptr});
        fs::create_directory(root_ + "/elsewhere");
        before_ = listing();
    }
    ~Surroundings() { fs::remove_all(root_); }
    Surroundings(const Surroundings&) = delete;
    Surroundings& operator=(const Surroundings&) = delete;

    /* Empties "tmp" but for a link that leads out of it, a directory, and a file. */
    void begin() const {
        const std::string tmp = instance_->exchangeFiles();
        for (const auto& entry : fs::directory_iterator(tmp)) fs::remove_all(entry.path());
        fs::create_directory_symlink(root_ + "/elsewhere", tmp + "/link");
        fs::create_directory(tmp + "/dir");
    }
    void demandUntouched(const std::string& name) const {
        fuzz::demand(listing() == before_, "nothing outside of \"tmp\" is touched", name);
    }

private:
    std::string listing() const {
        std::string text;
        for (auto entry = fs::recursive_directory_iterator(root_); entry != fs::recursive_directory_iterator();
             ++entry) {
            if (entry->path() == instance_->exchangeFiles()) entry.disable_recursion_pending();
            text += entry->path().string() + "\n";
        }
        return text;
    }

    std::string root_;
    std::optional<kelhost::Instance> instance_;
    std::optional<kelhost::BoundThreadScope> scope_;
    std::string before_;
};

constexpr sqlpiFileProcedure procedure = {"entry", "prefix", "ROUTINE", -1448};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const Surroundings surroundings;
    // Terminated, as SQL hands it over.
    const std::string name = std::string(reinterpret_cast<const char*>(data), size).c_str();
    surroundings.begin();
    const fuzz::Balance balance;
    sqlca ca = {};
    sqlpiPolicyFile file(procedure, name.c_str());
    if (file.resolve(ca) && file.makeDirectory(ca) && file.replace("text", ca)) {
        fuzz::demand(ca.sqlcode == 0, "success is no error", name);
        sqlpiBlock text(nullptr, {});
        size_t length = 0;
        fuzz::demand(file.read(text, length, ca), "what was written can be read", name);
        fuzz::demand(std::string_view(text.get(), length) == "text", "what was written is read", name);
        fuzz::demand(name.find("..") == std::string::npos, "no name leads upwards", name);
    } else {
        fuzz::demand(ca.sqlcode == -1448 || ca.sqlcode == -171, "a failure says why", name);
    }
    surroundings.demandUntouched(name);
    return 0;
}
