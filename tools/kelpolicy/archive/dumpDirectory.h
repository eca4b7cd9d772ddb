/* A directory that holds the rows of a policy table: a file for each document, and manifest.json, which has the keys
 * and the checksums of the files and of itself. */
#ifndef KELPOLICY_DUMP_DIRECTORY_H
#define KELPOLICY_DUMP_DIRECTORY_H

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "console/failure.h"
#include "database/policyRow.h"

namespace kelpolicy {

struct DumpedRow {
    RowKey key{};
    std::string updateTime{};
    std::string file{}; /* in the directory */
    size_t bytes = 0;
    std::string sha256{};
};

/* A dump that is being made, under another name beside its own; gone at the end unless it was published. */
class NewDump {
public:
    /* Throws Failure when a dump must not take that name: what stands there is neither a dump nor an empty directory.
     */
    explicit NewDump(const std::string& directory);
    ~NewDump();
    NewDump(const NewDump&) = delete;
    NewDump& operator=(const NewDump&) = delete;

    void add(const RowKey& key, const PolicyRow& row);

    /* Writes the manifest and takes the name, in the place of an earlier dump if there is one. Throws Failure. */
    void publish(const std::string& database);

    const std::string& path() const noexcept { return target_; }
    size_t rows() const noexcept { return rows_.size(); }

private:
    void writeManifest(const std::string& database) const;

    std::string target_;
    std::string partial_;
    std::vector<DumpedRow> rows_{};
};

/* A dump as its manifest describes it. */
class Dump {
public:
    /* Throws Failure when the directory cannot be read or the manifest is missing or damaged. */
    explicit Dump(const std::string& directory);

    const std::vector<DumpedRow>& rows() const noexcept { return rows_; }

    /* The document of a row. Throws Failure when the file does not hold what was dumped. */
    std::string document(const DumpedRow& row) const;

    /* Compares all that is there with the manifest; `step` is called for each row. Throws one Failure with all that is
     * damaged, missing, or too much. */
    void check(const std::function<void()>& step) const;

    /* Names in the directory that are none of the dump's. */
    std::vector<std::string> foreignFiles() const;

private:
    std::filesystem::path directory_;
    std::vector<DumpedRow> rows_{};
};

}  // namespace kelpolicy

#endif
