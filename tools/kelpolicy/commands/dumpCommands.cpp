// kelpolicy dump, load: all rows of the policy table as files, and back.
#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include "archive/dumpDirectory.h"
#include "commands/command.h"
#include "configuration/changeReport.h"
#include "configuration/policyKinds.h"
#include "console/terminal.h"
#include "console/text.h"
#include "database/databaseSession.h"
#include "database/sqlStatement.h"

namespace kelpolicy {
namespace {

struct LoadOptions {
    std::string directory{};
    bool replace = false;
};

constexpr const char* update = "update";

/* Rows that a load met. */
struct Loaded {
    size_t inserted = 0;
    size_t updated = 0;
    size_t unchanged = 0;
    size_t kept = 0;
    size_t removed = 0;
    std::map<RowKey, RowChange> changes{}; /* that a record tells of: of rows that are no policy of the engine's,
                                              whether they are there */

    /* To be called before the change. */
    void change(const RowKey& key, const char* action, bool isThere) {
        if (findPolicyKind(key) != nullptr || action != update)
            changes[key] = {action, isThere ? describeRow(key) : ""};
    }
};

int runDump(const std::string& directory, const GlobalOptions& globals, Output& output) {
    NewDump dump(directory);
    DatabaseSession session(globals, output, Purpose::answer);
    {
        Progress progress(output, "dumping row", listPolicyRows().size());
        forEachPolicyRow([&](const RowKey& key, const PolicyRow& row) {
            dump.add(key, row);
            progress.step();
        });
    }
    dump.publish(session.databaseName());
    session.commit();
    if (output.isJson())
        output.writeJson({{"directory", dump.path()}, {"rows", dump.rows()}});
    else
        output.writeLine(fmt::format("dumped {} rows: {}", dump.rows(), printable(dump.path())));
    return exitDone;
}

/* Nobody else changes rows between the look at them and the change. Row by row in the order of their keys, so that of
 * two loads one waits for the other and never each for the other. */
void holdAllRows() {
    holdPolicyRow(RowKey{});  // where the whole table is held at once, it is before the look
    for (const ListedRow& row : listPolicyRows()) holdPolicyRow(row.key);
}

/* For the same reason. */
std::vector<DumpedRow> inKeyOrder(std::vector<DumpedRow> rows) {
    std::sort(rows.begin(), rows.end(), [](const DumpedRow& a, const DumpedRow& b) { return a.key < b.key; });
    return rows;
}

/* Writes a row that is not there as it is in the dump. UPDATE_TIME becomes the present: the engine takes a policy for
 * changed when its time is later than that of the last look. */
void loadRow(const RowKey& key, const std::string& document, Loaded& loaded) {
    const std::optional<PolicyRow> stored = readPolicyRow(key);
    if (stored.has_value() && stored->document == document) {
        ++loaded.unchanged;
        return;
    }
    SqlStatement statement(fmt::format("cannot load the row {}", shownKey(key)));
    loaded.change(key, stored.has_value() ? update : "insert", stored.has_value());
    if (stored.has_value()) {
        SqlValues values = {{document, true}};
        for (const SqlValue& value : keyValues(key)) values.push_back(value);
        statement.change(
            fmt::format("UPDATE SYSTOOLS.POLICY SET UPDATE_TIME = CURRENT TIMESTAMP, POLICY = ? {}", whereKey), values);
        ++loaded.updated;
        return;
    }
    SqlValues values = keyValues(key);
    values.push_back({document, true});
    statement.change(
        "INSERT INTO SYSTOOLS.POLICY (MED, DECISION, NAME, UPDATE_TIME, POLICY) VALUES (?, ?, ?, CURRENT TIMESTAMP, ?)",
        values);
    ++loaded.inserted;
}

void settleOthers(const Dump& dump, bool replace, Loaded& loaded) {
    std::set<RowKey> dumped;
    for (const DumpedRow& row : dump.rows()) dumped.insert(row.key);
    for (const ListedRow& row : listPolicyRows()) {
        if (dumped.contains(row.key)) continue;
        if (!replace) {
            ++loaded.kept;
            continue;
        }
        loaded.change(row.key, "delete", true);
        SqlStatement("cannot remove a row")
            .change(fmt::format("DELETE FROM SYSTOOLS.POLICY {}", whereKey), keyValues(row.key));
        ++loaded.removed;
    }
}

int runLoad(const LoadOptions& options, const GlobalOptions& globals, Output& output) {
    const Dump dump(options.directory);
    {
        Progress progress(output, "checking row", dump.rows().size());
        dump.check([&progress] { progress.step(); });
    }
    DatabaseSession session(globals, output, Purpose::change);
    holdAllRows();
    Loaded loaded;
    {
        Progress progress(output, "loading row", dump.rows().size());
        for (const DumpedRow& row : inKeyOrder(dump.rows())) {
            loadRow(row.key, dump.document(row), loaded);
            progress.step();
        }
    }
    settleOthers(dump, options.replace, loaded);
    for (auto& [key, change] : loaded.changes)
        if (readPolicyRow(key).has_value()) change.after = describeRow(key);
    session.commit();
    // The engine's procedures would not bring every row back byte for byte; a load leaves the same records as they do.
    for (const auto& [key, change] : loaded.changes)
        reportChange("kelpolicy load", key, session.databaseName(), change);

    if (output.isJson())
        output.writeJson({{"directory", options.directory},
                          {"rows", dump.rows().size()},
                          {"inserted", loaded.inserted},
                          {"updated", loaded.updated},
                          {"unchanged", loaded.unchanged},
                          {"kept", loaded.kept},
                          {"removed", loaded.removed}});
    else
        output.writeLine(fmt::format(
            "loaded {} rows: {} inserted, {} updated, {} unchanged; others: {} kept, {} removed", dump.rows().size(),
            loaded.inserted, loaded.updated, loaded.unchanged, loaded.kept, loaded.removed));
    return exitDone;
}

Command addDirectoryCommand(Command parent, const char* name, const char* help, const char* directoryHelp,
                            std::string& directory) {
    Command command = parent.command(name, help);
    command.option("DIR", directory, directoryHelp).required().notEmpty();
    return command;
}

}  // namespace

void addDump(Command parent) {
    const auto directory = std::make_shared<std::string>();
    Command command = addDirectoryCommand(parent, "dump", "Write all rows of the policy table as files",
                                          "A directory that is new, empty, or holds an earlier dump, which is "
                                          "replaced",
                                          *directory);
    command.footer(example("kelpolicy dump /var/backups/policies"));
    command.runs(
        [directory](const GlobalOptions& globals, Output& output) { return runDump(*directory, globals, output); });
}

void addLoad(Command parent) {
    const auto options = std::make_shared<LoadOptions>();
    Command command = addDirectoryCommand(parent, "load", "Load the rows of a dump into the policy table",
                                          "The directory that \"kelpolicy dump\" has written", options->directory);
    command.flag("--replace", options->replace, "Remove rows that are not in the dump");
    command.footer(example("kelpolicy load /var/backups/policies"));
    command.runs(
        [options](const GlobalOptions& globals, Output& output) { return runLoad(*options, globals, output); });
}

}  // namespace kelpolicy
