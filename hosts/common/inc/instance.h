/* The instance directory: where the engine keeps what belongs to one installation. */
#ifndef KELHOST_INSTANCE_H
#define KELHOST_INSTANCE_H

#include <filesystem>
#include <string>
#include <string_view>

namespace kelhost {

class Instance {
public:
    /* Longest path of an instance directory, in bytes: everything named below it must fit the engine's records. */
    static constexpr size_t maximumPath = 1900;

    /* Makes the directory and whatever part of it is missing (each 0750), installs the program's bind file and message
     * file, and opens it. Safe to call at any time, by several processes at once. Throws HostError. */
    static Instance create(const std::filesystem::path& directory);

    /* Opens an existing instance as it is, and writes nothing. Throws HostError when the directory or a part of it is
     * missing. */
    static Instance find(const std::filesystem::path& directory);

    /* The same, and brings its bind file and message file up to date where it may write them. */
    static Instance open(const std::filesystem::path& directory);

    /* What this program installs at a path of the instance; empty where it installs nothing. */
    std::string_view programFile(std::string_view path) const noexcept;

    const std::string& path() const noexcept { return path_; } /* absolute, links resolved, no slash at its end */

    std::string bindFiles() const { return path_ + "/bnd"; }
    std::string messageFiles() const { return path_ + "/misc"; }
    std::string exchangeFiles() const { return path_ + "/tmp"; }
    std::string databaseFiles() const { return path_ + "/db"; }
    std::string logFiles() const { return path_ + "/log"; }
    std::string backups() const { return path_ + "/backup"; } /* the default backup path */

private:
    explicit Instance(std::string path) : path_(std::move(path)) {}

    std::string path_;
};

/* What the calling thread works for. Null members: nothing. */
struct ThreadScope {
    const Instance* instance = nullptr;
    const std::string* database = nullptr; /* the database's name, for the logs */
};

const ThreadScope& threadScope() noexcept;

/* Binds the scope to the calling thread; the previous one comes back at the end.
 * REQUIRES: destroyed by the thread that made it, in reverse order; what it points to lives as long. */
class BoundThreadScope {
public:
    explicit BoundThreadScope(ThreadScope scope) noexcept;
    ~BoundThreadScope();
    BoundThreadScope(const BoundThreadScope&) = delete;
    BoundThreadScope& operator=(const BoundThreadScope&) = delete;

private:
    ThreadScope previous_;
};

}  // namespace kelhost

#endif
