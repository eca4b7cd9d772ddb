#include "configuration/procedures.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <memory>
#include <string_view>

#include "configuration/sqlpiPolicyConfigCommon.h"
#include "instance.h"
#include "logs.h"
#include "messages.h"
#include "sqlpiPolicyConfig.h"
#include "sqlpiPolicySp.h"

namespace kelpolicy {
namespace {

struct Advice {
    int32_t sqlcode;
    std::string_view token; /* the first one; empty: any */
    const char* hint;
};

constexpr Advice advice[] = {
    {-171, "2", "Name the file without \"..\" and \":\"; whatever directory it names lies below the instance's tmp."},
    {-1436, "",
     "The file is looked for below the tmp directory of the instance: a regular file, no link, of 1 to 2097152 bytes "
     "that the engine may read."},
    {-1448, "",
     "Name a file below the tmp directory of the instance: one that does not exist, or a regular file, no link, in a "
     "directory that the engine may write to."},
    {-1437, "", "Correct the document there; docs/configuration.md tells what may stand where."},
    {-1438, "4", "Correct the stored policy, or set it anew: kelpolicy set writes over it."},
    {-1438, "6",
     "The engine reads the filter whole, but no configuration document can. kelpolicy retrieve shows the row; a filter "
     "may name the tables of a view in place of a long list."},
    {-1438, "7", "Set the policy anew: kelpolicy set writes over it."},
    {-1438, "", "Free memory, or allow the process more of it, and try again."},
    {-1447, "1", "Make the directory that PathName names, or leave PathName empty for the default location."},
    {-1447, "4", "Give an XML document; docs/configuration.md has one of each type."},
    {-1447, "5", "Save the document as UTF-8, and declare encoding=\"UTF-8\" or none."},
    {-1447, "6", "Shorten that text; a filter may name the tables of a view in place of a long list."},
    {100, "",
     "The row of the policy is not in SYSTOOLS.POLICY: the engine works with its built-in defaults. \"kelpolicy init\" "
     "makes the default row; set the policy then."},
    {-805, "", "Check that kelpolicy.bnd in the bnd directory of the instance can be read."},
    {-818, "", "Check that kelpolicy.bnd in the bnd directory of the instance is that of this program."},
};

const char* hintFor(int32_t sqlcode, const std::vector<std::string>& tokens) {
    const std::string first = tokens.empty() ? "" : tokens.front();
    for (const Advice& entry : advice)
        if (entry.sqlcode == sqlcode && (entry.token.empty() || entry.token == first)) return entry.hint;
    return nullptr;
}

/* Hints name the documentation as it lies in the sources. That of an installed program has a path of its own. */
std::string withDocumentation(std::string hint) {
    namespace fs = std::filesystem;
    static constexpr std::string_view inSources = "docs/";
    static const std::string installed = [] {
        std::error_code failure;
        const fs::path prefix = fs::read_symlink("/proc/self/exe", failure).parent_path().parent_path();
        const fs::path documents = prefix / KELPOLICY_DOCUMENTS;
        return fs::exists(documents / "configuration.md", failure) ? documents.string() + "/" : std::string(inSources);
    }();
    const size_t place = hint.find(inSources);
    return place == std::string::npos ? hint : hint.replace(place, inSources.size(), installed);
}

std::vector<std::string> tokensOf(const sqlca& ca) {
    std::vector<std::string> tokens;
    std::string_view rest(ca.sqlerrmc, static_cast<size_t>(std::clamp<int16_t>(ca.sqlerrml, 0, sizeof ca.sqlerrmc)));
    while (!rest.empty()) {
        const size_t end = std::min(rest.find(SQLCA_TOKEN_SEPARATOR), rest.size());
        tokens.emplace_back(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return tokens;
}

std::string trimmed(std::string text) {
    text.erase(text.find_last_not_of(" \n") + 1);
    return text;
}

/* A large-object value. */
struct FreeLob {
    void operator()(sqludf_lob* value) const { ::operator delete(value); }
};
using Lob = std::unique_ptr<sqludf_lob, FreeLob>;
Lob emptyLob(size_t room) {
    return Lob(::new (::operator new(sizeof(sqludf_lob) + room)) sqludf_lob{});
}
Lob makeLob(std::string_view bytes) {
    Lob value = emptyLob(bytes.size());
    value->length = static_cast<uint32_t>(bytes.copy(value->data, bytes.size()));
    return value;
}

/* What the engine hands every procedure beside its own arguments, and what comes back. */
struct Call {
    Call() {
        if (const std::string* name = kelhost::threadScope().database)
            database.dbnamelen = static_cast<uint16_t>(name->copy(database.dbname, sizeof database.dbname));
    }

    char sqlstate[SQLUDF_STATE_SIZE] = "";
    char message[SQLUDF_MESSAGE_SIZE] = "";
    sqludf_dbinfo database{};
    sqlca ca{};
    FailureWitness witness{};

    void require(uint32_t status, const char* what, const ConfigurationType& type) const {
        if (status == SQLPI_CONFIG_OK) return;
        Failure failure = witness.failure(fmt::format("cannot {} {}", what, type.name), ca);
        failure.policy = type.kind.key.name;
        throw failure;
    }
};

constexpr int16_t given = SQLUDF_NOT_NULL;

}  // namespace

Failure FailureWitness::failure(const std::string& what, const sqlca& ca) const {
    Failure failure = failureOf(what, ca);
    failure.tokens = tokensOf(ca);
    if (const char* hint = hintFor(ca.sqlcode, failure.tokens)) failure.hint = withDocumentation(hint);
    if (failure.sqlstate.find_first_of(std::string_view(" \0", 2)) != std::string::npos) failure.sqlstate = policyState;
    for (const kelhost::LogRecord& record : capture_.records(kelhost::LogKind::diagnostic))
        if (record.importance <= PD_ERROR && failure.detail.empty()) failure.detail = trimmed(record.text);
    return failure;
}

std::string getPolicyDocument(const ConfigurationType& type) {
    Call call;
    const Lob document = emptyLob(SQLUDF_LARGEST_LOB);
    int16_t isNull = SQLUDF_NULL;
    const uint32_t status = kelAutomaintGetPolicyDocSpLocal(type.name, document.get(), &given, &isNull, call.sqlstate,
                                                            "AUTOMAINT_GET_POLICY", "AUTOMAINT_GET_POLICY_DOC",
                                                            call.message, &call.database, &call.ca);
    call.require(status, "get", type);
    return {document->data, document->length};
}

void getPolicyFile(const ConfigurationType& type, const std::string& fileName) {
    Call call;
    const uint32_t status = kelAutomaintGetPolicyFileSpLocal(type.name, fileName.c_str(), &given, &given, call.sqlstate,
                                                             "AUTOMAINT_GET_POLICY", "AUTOMAINT_GET_POLICY_FILE",
                                                             call.message, &call.database, &call.ca);
    call.require(status, "get", type);
}

void setPolicyDocument(const ConfigurationType& type, const std::string& document) {
    Call call;
    const Lob value = makeLob(document);
    const uint32_t status =
        kelAutomaintSetPolicyDocSpLocal(type.name, value.get(), &given, &given, call.sqlstate, "AUTOMAINT_SET_POLICY",
                                        "AUTOMAINT_SET_POLICY_DOC", call.message, &call.database, &call.ca);
    call.require(status, "set", type);
}

void setPolicyFile(const ConfigurationType& type, const std::string& fileName) {
    Call call;
    const uint32_t status = kelAutomaintSetPolicyFileSpLocal(type.name, fileName.c_str(), &given, &given, call.sqlstate,
                                                             "AUTOMAINT_SET_POLICY", "AUTOMAINT_SET_POLICY_FILE",
                                                             call.message, &call.database, &call.ca);
    call.require(status, "set", type);
}

void installPolicy(InstallAction action, const RowKey& key, const std::optional<std::string>& document,
                   const std::string& fileName) {
    Call call;
    const char letter = static_cast<char>(action);
    const Lob value = document.has_value() ? makeLob(*document) : nullptr;
    const int32_t status =
        kelPolicyInstallSpLocal(&letter, key.med.c_str(), key.decision.c_str(), key.name.c_str(), fileName.c_str(),
                                value.get(), nullptr, call.sqlstate, call.message, &call.database);
    if (status == 0) return;
    const std::string what = action == InstallAction::insert   ? "insert"
                             : action == InstallAction::update ? "update"
                                                               : "delete";
    throw Failure(fmt::format("cannot {} the row {}: {}", what, shownKey(key), trimmed(call.message)),
                  fileName.empty() ? "Look into log/diagnostic.log of the instance directory for what led to it."
                                   : "Name a regular file of at most 2097152 bytes below the instance directory.",
                  defectCode, call.sqlstate);
}

std::string describePolicy(const ConfigurationType& type) {
    Call call;
    std::array<char, 16384> text{};
    call.require(sqpiGetPolicyOldFormatString(type.name, text.data(), int32_t{text.size()}, call.ca), "describe", type);
    return text.data();
}

}  // namespace kelpolicy
