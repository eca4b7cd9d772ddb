#include "configuration/procedures.h"

#include <fmt/format.h>

#include <array>
#include <memory>
#include <string_view>

#include "configuration/sqlpiPolicyConfigCommon.h"
#include "console/text.h"
#include "database/failureWitness.h"
#include "instance.h"
#include "sqlpiPolicyConfig.h"
#include "sqlpiPolicySp.h"

namespace kelpolicy {
namespace {

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
    throw Failure(fmt::format("cannot {} the row {}: {}", what, shownKey(key), trimmedEnd(call.message)),
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
