/* Where a command takes a policy from: the policy table, or a document that the user gives in its place. */
#ifndef KELPOLICY_POLICY_SOURCE_H
#define KELPOLICY_POLICY_SOURCE_H

#include <optional>
#include <string>

#include "configuration/policyKinds.h"
#include "database/databaseSession.h"
#include "database/policyRow.h"

namespace kelpolicy {

class PolicySource {
public:
    /* `path` empty: the table; then the engine context is bound to the thread as long as this lives. Throws Failure or
     * HostError when there is nothing to be read from; a document that is no policy is no such failure. */
    PolicySource(const PolicyKind& kind, const std::string& path, const GlobalOptions& options, Output& output);

    /* What the user gave; nothing where the table is read. */
    std::optional<std::string>& givenDocument() noexcept { return given_; }

    /* The document that is in force; nothing when there is none, or none that parses. */
    const std::string* effectiveDocument() const noexcept;

    /* In words, where the policy comes from, or that the defaults are in force. */
    std::string origin() const;

    /* Notes what stands in the document and is not seen. */
    void noteFindings() const;

    /* Tells what is wrong with the document and which remarks of the engine are of interest, ends the unit of work and
     * returns exitDone or exitFailed. */
    int finish(const RemarkFilter& isOfInterest = everyRemark);

private:
    const PolicyKind& kind_;
    Output& output_;
    EngineRemarks remarks_;
    std::optional<std::string> given_{};
    std::string givenName_{};
    std::optional<DocumentSession> documentSession_{};
    std::optional<DatabaseSession> databaseSession_{};
    std::optional<PolicyRow> row_{};
    DocumentVerdict verdict_{};
};

}  // namespace kelpolicy

#endif
