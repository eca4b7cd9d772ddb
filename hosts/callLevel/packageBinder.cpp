// Binding: from a bind file to a row of SYSTOOLS.PACKAGE.
#include <fmt/format.h>

#include <filesystem>
#include <utility>

#include "engineContext.h"
#include "files.h"
#include "hostFile.h"
#include "messages.h"
#include "packages.h"
#include "reportTo.h"

namespace kelhost {
namespace {

constexpr int32_t boundWithWarnings = 25;

std::string inQuotes(const char* path) {
    return '"' + std::filesystem::path(path).filename().string() + '"';
}

// A session that only reads takes the program's own in place of the instance's copy: that may be another version's,
// and nothing of what runs is stored.
Outcome readFile(const char* path, const EngineContext& context, BindFile& file) {
    std::string text;
    std::string reason;
    const std::string_view own = context.session().reads() ? context.instance().programFile(path) : std::string_view();
    if (!own.empty() && readBindFile(own, file, reason)) return {};
    switch (readWholeFile(path, mostBindFileBytes, text)) {
        case OSS_OK:
            if (readBindFile(text, file, reason)) return {};
            return failure("58030", "bind file " + inQuotes(path) + ", " + reason);
        case OSS_NOT_FOUND:
            return failure("58030", "there is no bind file " + inQuotes(path));
        case OSS_NO_PERMISSION:
            return failure("58030", "no right to read the bind file " + inQuotes(path));
        case OSS_NOT_REGULAR:
            return failure("58030", "the bind file is no regular file: " + inQuotes(path));
        case OSS_TOO_LONG:
            return failure("58030", "the bind file is larger than 1 MB: " + inQuotes(path));
        default:
            return failure("58030", "the bind file cannot be read: " + inQuotes(path));
    }
}

/* What the options ask for. */
struct BindOptions {
    bool grantToAll = false;
    std::string unknown{}; /* numbers of the options that are not known */
};

Outcome readOptions(const sqloptList* list, BindOptions& options) {
    for (uint32_t i = 0; list != nullptr && i < list->count; ++i) {
        const sqloptValue& option = list->options[i];
        if (option.type != SQLA_BIND_GRANT) {
            options.unknown += ' ' + std::to_string(option.type);
        } else if (option.value > 1) {
            return failure("42815", "3\xFFsqlabndx");
        } else {
            options.grantToAll = option.value == 1;
        }
    }
    return {};
}

/* Where the binder's messages go; nowhere without a name. */
class MessageFile {
public:
    MessageFile() = default;
    ~MessageFile() { close(); }
    MessageFile(const MessageFile&) = delete;
    MessageFile& operator=(const MessageFile&) = delete;

    bool open(const char* path) {
        constexpr uint32_t permissions = 0640;
        return path == nullptr || ossFileOpen(&file_, path, OSS_FILE_CREATE, permissions) == OSS_OK;
    }

    /* All there is to say: false when it does not stand in the file. */
    bool writeAll(const std::string& text) {
        size_t done = 0;
        const bool written = file_ == nullptr || ossFileWrite(file_, text.data(), text.size(), &done) == OSS_OK;
        return close() && written;
    }

private:
    bool close() { return file_ == nullptr || ossFileClose(std::exchange(file_, nullptr)) == OSS_OK; }

    OSSHFile* file_ = nullptr;
};

std::string messageOf(const Outcome& outcome) {
    sqlca ca;
    fillSqlca(ca, outcome);
    char text[1024] = "";
    sqlaintp_api(text, sizeof text, 0, nullptr, &ca);
    return text;
}

Outcome boundBut(std::string detail) {
    Outcome outcome = failure("01000", std::move(detail));
    outcome.sqlcode = boundWithWarnings;
    return outcome;
}

std::string messageOf(const Outcome& outcome, const BindFile& file, size_t section) {
    if (outcome.sqlcode == 0) {
        return fmt::format("The package {}.{} was bound: {} sections.\n", file.collection, file.package,
                           file.sections.size());
    }
    return (section == 0 ? "" : fmt::format("Section {}: ", section)) + messageOf(outcome) + '\n';
}

Outcome bindFileAt(const char* path, const char* messageFile, const sqloptList* list) {
    EngineContext* context = EngineContext::current();
    if (context == nullptr) return failure("08003", "the thread has no engine context");
    BindOptions options;
    BindFile file;
    Outcome outcome = readOptions(list, options);
    if (!outcome.failed()) outcome = readFile(path, *context, file);
    MessageFile messages;  // opened only now: it may be the bind file itself
    if (!messages.open(messageFile)) return failure("58030", "no messages can be written to " + inQuotes(messageFile));
    size_t section = 0;
    if (!outcome.failed()) outcome = context->session().packages().bind(file, options.grantToAll, section);
    if (!outcome.failed() && !options.unknown.empty()) {
        outcome = boundBut("these bind options are not known:" + options.unknown);
    }
    if (!messages.writeAll(messageOf(outcome, file, section)) && outcome.sqlcode == 0) {
        outcome = boundBut("no messages could be written to " + inQuotes(messageFile));
    }
    return outcome;
}

}  // namespace

Outcome Packages::bind(const BindFile& file, bool grantToAll, size_t& section) {
    session_.kept().clear();  // what the texts refer to may have gone since
    for (section = 1; section <= file.sections.size(); ++section) {
        Outcome outcome = check(file.sections[section - 1]);
        if (outcome.failed()) return outcome;
    }
    section = 0;
    if (session_.reads()) return keep(file);
    std::string user;
    Outcome outcome = readUser(user);
    if (outcome.failed()) return outcome;
    outcome = session_.unit().createIfMissing([this] { return findTable(); }, [this] { return createTable(); });
    if (!outcome.failed()) outcome = store(file, grantToAll, user);
    const bool isReadOnly = outcome.state() == "25006";
    return isReadOnly ? keep(file) : outcome;
}

Outcome Packages::keep(const BindFile& file) {
    known_ = file;
    knownToken_ = consistencyTokenOf(file.sections);
    isKept_ = true;
    return boundBut("nothing may be written to the database; the package is bound for this session");
}

// A dynamic section has nothing to check yet.
Outcome Packages::check(const BindSection& section) {
    if (section.kind == SectionKind::dynamic) return {};
    const SqlText scanned = scanSql(section.text, session_.dialect());
    if (scanned.error != nullptr) return failure(scanned.error, scanned.errorDetail);
    if (scanned.parameters != section.inputs.size()) return failure("07002", "host variables and parameters differ");
    Running once(session_);
    return prepareWhole(once, section.text);
}

Outcome Packages::findTable() {
    return runOnce("SELECT TOKEN, BINDER, GRANTED, CONTENT FROM SYSTOOLS.PACKAGE WHERE 1 = 0", {});
}

Outcome Packages::createTable() {
    for (const char* text : session_.dialect().createPackageTable) {
        Outcome outcome = session_.database().run(text);
        if (outcome.failed()) return outcome;
    }
    return {};
}

// Somebody else may add the row after the first look.
Outcome Packages::store(const BindFile& file, bool grantToAll, const std::string& user) {
    const std::string token = tokenText(consistencyTokenOf(file.sections));
    std::string content = writeBindFile(file);
    int32_t granted = grantToAll ? 1 : 0;
    const Variables values = {
        textValue(token),
        textValue(user),
        {SQL_INTEGER, sizeof granted, &granted, nullptr, nullptr},
        {SQL_LONGVARBINARY, static_cast<uint32_t>(content.size()), content.data(), nullptr, nullptr},
        textValue(file.collection),
        textValue(file.package),
    };
    const std::string update =
        "UPDATE SYSTOOLS.PACKAGE SET TOKEN = ?, BINDER = ?, GRANTED = ?, BIND_TIME = CURRENT TIMESTAMP, CONTENT = ? "
        "WHERE COLLECTION = ? AND NAME = ?";
    const std::string insert =
        "INSERT INTO SYSTOOLS.PACKAGE (TOKEN, BINDER, GRANTED, BIND_TIME, CONTENT, COLLECTION, NAME) "
        "VALUES (?, ?, ?, CURRENT TIMESTAMP, ?, ?, ?)";
    Outcome outcome = runOnce(update, values);
    if (outcome.sqlcode == 100) outcome = runOnce(insert, values);
    if (outcome.state() == "23505") outcome = runOnce(update, values);
    return outcome.failed() ? outcome : Outcome{};
}

}  // namespace kelhost

int32_t sqlabndx(const char* path, const char* messageFile, const struct sqloptList* options, struct sqlca* ca) {
    return kelhost::reportTo(*ca,
                             [&] { return kelhost::bindFileAt(path == nullptr ? "" : path, messageFile, options); });
}
