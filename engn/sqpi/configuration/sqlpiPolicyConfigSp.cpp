/* Automatic-maintenance procedures: the entries. */
#include <cstring>

#include "base/sqlpiOwn.h"
#include "base/sqlpiReport.h"
#include "base/sqlpiTrace.h"
#include "configuration/sqlpiPolicyConfigCommon.h"
#include "configuration/sqlpiPolicyConfigFile.h"
#include "logs.h"
#include "messages.h"
#include "sqlpiPolicyConfig.h"

namespace {

constexpr const char* tag = "sqlpiPolicyConfig";
constexpr const char* getRoutine = "AUTOMAINT_GET_POLICY";
constexpr const char* setRoutine = "AUTOMAINT_SET_POLICY";

/* One call of an entry: what it checks before and settles after its work. */
class EntryCall {
public:
    EntryCall(const sqlpiFileProcedure& procedure, char* sqlstate, sqlca& ca) noexcept
        : procedure_(procedure), sqlstate_(sqlstate), ca_(ca), trace_(procedure.entry) {
        sqloinca(&ca_);
        writeState("00000");
    }

    /* Whether an outcome can be told. */
    static bool hasOutputs(const char* sqlstate, const sqlca* ca) noexcept {
        return sqlstate != nullptr && ca != nullptr;
    }
    static bool isGiven(const char* text, const int16_t* null) noexcept {
        return !isNull(null) && text != nullptr && *text != '\0';
    }
    static bool isGiven(const sqludf_lob* value, const int16_t* null) noexcept {
        return !isNull(null) && value != nullptr && value->length > 0;
    }

    /* Whether the arguments are there and the policy type is one. `typeRoutine` is who a wrong type is reported for. */
    bool check(const char* policyType, bool typeGiven, bool secondGiven, const char* typeRoutine) noexcept {
        if (!typeGiven || !secondGiven) {
            pdLog(PD_ERROR, procedure_.entry, 10, "input values are null\n. ");
            sqlpiPrepSqlca(ca_, SQLPI_BAD_ARGUMENT, nullptr, {typeGiven ? "2" : "1", procedure_.routine});
            return false;
        }
        if (sqlpiIsPolicyType(policyType)) return true;
        pdLog(PD_ERROR, procedure_.entry, 20, "Input PolicyType is invalid \n. ");
        sqlpiPrepSqlca(ca_, SQLPI_BAD_ARGUMENT, nullptr, {"1", typeRoutine});
        return false;
    }

    /* Settles the SQLSTATE and returns the entry's result. */
    uint32_t end(uint32_t status) noexcept {
        const std::string_view state(ca_.sqlstate, sizeof ca_.sqlstate);
        if (ca_.sqlcode == 0 && status == SQLPI_CONFIG_OK)
            std::memcpy(ca_.sqlstate, "00000", sizeof ca_.sqlstate);
        else if (state == "00000" || state.find_first_not_of(std::string_view(" \0", 2)) == std::string_view::npos)
            std::memcpy(ca_.sqlstate, "5U0ZZ", sizeof ca_.sqlstate);
        writeState(ca_.sqlstate);
        return trace_.exit(ca_.sqlcode == 0 ? status : SQLPI_CONFIG_FAILED);
    }

private:
    static bool isNull(const int16_t* null) noexcept { return null != nullptr && *null < 0; }
    void writeState(const char* state) noexcept {
        std::memcpy(sqlstate_, state, SQLCA_STATE_LENGTH);
        sqlstate_[SQLCA_STATE_LENGTH] = '\0';
    }

    const sqlpiFileProcedure& procedure_;
    char* sqlstate_;
    sqlca& ca_;
    sqlpiFunctionTrace trace_;
};

constexpr sqlpiFileProcedure getFile = {"kelAutomaintGetPolicyFileSpLocal", "AutoMaintGetPolicy", getRoutine,
                                        SQLPI_UNWRITABLE_FILE};
constexpr sqlpiFileProcedure getDocument = {"kelAutomaintGetPolicyDocSpLocal", "AutoMaintGetPolicy", getRoutine, 0};
constexpr sqlpiFileProcedure setFile = {"kelAutomaintSetPolicyFileSpLocal", "AutoMaintSetPolicy", setRoutine,
                                        SQLPI_UNREADABLE_FILE};
constexpr sqlpiFileProcedure setDocument = {"kelAutomaintSetPolicyDocSpLocal", "AutoMaintSetPolicy", setRoutine, 0};

/* A configuration document as a block; null on any failure. */
sqlpiBlock takeConfiguration(const char* policyType, int& length, const sqludf_dbinfo* dbinfo, sqlca& ca) noexcept {
    char* text = nullptr;
    const uint32_t status = sqlpiAutomaintGetPolicySpCommon(policyType, &text, &length, dbinfo, ca);
    sqlpiBlock document(text, sqlpiFreeBlock{tag});
    if (status != SQLPI_CONFIG_OK || ca.sqlcode != 0 || length < 1) document.reset();
    return document;
}

}  // namespace

uint32_t kelAutomaintGetPolicyFileSpLocal(const char* policyType, const char* fileName, const int16_t* policyTypeNull,
                                          const int16_t* fileNameNull, char* sqlstate, const char*, const char*, char*,
                                          const sqludf_dbinfo* dbinfo, sqlca* ca) noexcept {
    if (!EntryCall::hasOutputs(sqlstate, ca)) return SQLPI_CONFIG_FAILED;
    EntryCall call(getFile, sqlstate, *ca);
    if (!call.check(policyType, call.isGiven(policyType, policyTypeNull), call.isGiven(fileName, fileNameNull),
                    getRoutine))
        return call.end(SQLPI_CONFIG_FAILED);
    sqlpiPolicyFile file(getFile, fileName);
    if (!file.resolve(*ca) || !file.makeDirectory(*ca)) return call.end(SQLPI_CONFIG_FAILED);
    int length = 0;
    const sqlpiBlock document = takeConfiguration(policyType, length, dbinfo, *ca);
    if (document == nullptr) {
        pdLog(PD_ERROR, getFile.entry, 70, "Error returned from sqlpiAutomaintGetPolicySpCommon.\n");
        return call.end(SQLPI_CONFIG_FAILED);
    }
    const bool written = file.replace({document.get(), static_cast<size_t>(length)}, *ca);
    return call.end(written ? SQLPI_CONFIG_OK : SQLPI_CONFIG_FAILED);
}

uint32_t kelAutomaintGetPolicyDocSpLocal(const char* policyType, sqludf_lob* document, const int16_t* policyTypeNull,
                                         int16_t* documentNull, char* sqlstate, const char*, const char*, char*,
                                         const sqludf_dbinfo* dbinfo, sqlca* ca) noexcept {
    if (documentNull != nullptr) *documentNull = SQLUDF_NULL;
    if (document != nullptr) document->length = 0;
    if (!EntryCall::hasOutputs(sqlstate, ca)) return SQLPI_CONFIG_FAILED;
    EntryCall call(getDocument, sqlstate, *ca);
    if (!call.check(policyType, call.isGiven(policyType, policyTypeNull), document != nullptr, setRoutine))
        return call.end(SQLPI_CONFIG_FAILED);
    int length = 0;
    const sqlpiBlock text = takeConfiguration(policyType, length, dbinfo, *ca);
    if (text == nullptr) {
        pdLog(PD_ERROR, getDocument.entry, 30, "Policy Configuration Failed \n");
        return call.end(SQLPI_CONFIG_FAILED);
    }
    document->length = static_cast<uint32_t>(length);
    std::memcpy(document->data, text.get(), document->length);
    if (documentNull != nullptr) *documentNull = SQLUDF_NOT_NULL;
    return call.end(SQLPI_CONFIG_OK);
}

uint32_t kelAutomaintSetPolicyFileSpLocal(const char* policyType, const char* fileName, const int16_t* policyTypeNull,
                                          const int16_t* fileNameNull, char* sqlstate, const char*, const char*, char*,
                                          const sqludf_dbinfo* dbinfo, sqlca* ca) noexcept {
    if (!EntryCall::hasOutputs(sqlstate, ca)) return SQLPI_CONFIG_FAILED;
    EntryCall call(setFile, sqlstate, *ca);
    if (!call.check(policyType, call.isGiven(policyType, policyTypeNull), call.isGiven(fileName, fileNameNull),
                    setRoutine))
        return call.end(SQLPI_CONFIG_FAILED);
    sqlpiPolicyFile file(setFile, fileName);
    sqlpiBlock document(nullptr, sqlpiFreeBlock{tag});
    size_t length = 0;
    if (!file.resolve(*ca) || !file.read(document, length, *ca)) return call.end(SQLPI_CONFIG_FAILED);
    const uint32_t status = sqlpiAutomaintSetPolicySpCommon(policyType, {document.get(), length}, dbinfo, *ca);
    if (status != SQLPI_CONFIG_OK)
        pdLog(PD_ERROR, setFile.entry, 110, "Error returned from sqlpiAutomaintSetPolicySpCommon.\n");
    return call.end(status);
}

uint32_t kelAutomaintSetPolicyDocSpLocal(const char* policyType, const sqludf_lob* document,
                                         const int16_t* policyTypeNull, const int16_t* documentNull, char* sqlstate,
                                         const char*, const char*, char*, const sqludf_dbinfo* dbinfo,
                                         sqlca* ca) noexcept {
    if (!EntryCall::hasOutputs(sqlstate, ca)) return SQLPI_CONFIG_FAILED;
    EntryCall call(setDocument, sqlstate, *ca);
    if (!call.check(policyType, call.isGiven(policyType, policyTypeNull), call.isGiven(document, documentNull),
                    setRoutine))
        return call.end(SQLPI_CONFIG_FAILED);
    if (document->length > SQLUDF_LARGEST_LOB) {
        pdLog(PD_ERROR, setDocument.entry, 25, "The input Policy document is longer than 2097152 bytes.");
        sqlpiPrepSqlca(*ca, SQLPI_BAD_ARGUMENT, nullptr, {"2", setRoutine});
        return call.end(SQLPI_CONFIG_FAILED);
    }
    const sqlpiBlock copy = sqlpiTakeBlock(size_t{document->length} + 1, tag);
    if (copy == nullptr) {
        sqlpiReportNoMemory(*ca, setDocument.entry, 30,
                            "AutoMaintSetPolicy memory allocation for policy doc failed. \n");
        return call.end(SQLPI_CONFIG_FAILED);
    }
    std::memcpy(copy.get(), document->data, document->length);
    copy.get()[document->length] = '\0';
    const uint32_t status = sqlpiAutomaintSetPolicySpCommon(policyType, {copy.get(), document->length}, dbinfo, *ca);
    if (status != SQLPI_CONFIG_OK) pdLog(PD_ERROR, setDocument.entry, 40, "Policy Configuration Failed \n");
    return call.end(status);
}
