/* What stands in a policy-language document and the engine does not see, or reads otherwise than it is written: it
 * takes what it finds and reports nothing. */
#ifndef KELPOLICY_DOCUMENT_LINT_H
#define KELPOLICY_DOCUMENT_LINT_H

#include <string>
#include <vector>

#include "configuration/policyKinds.h"
#include "console/output.h"
#include "document/finding.h"

namespace kelpolicy {

/* All findings in a document that is read as this policy, in the order of their places.
 * REQUIRES: the engine's parser accepts the document. */
std::vector<Finding> lintDocument(const PolicyKind& kind, const std::string& document);

/* "the online window: it never opens" */
std::string shownSubject(const Finding& finding);

/* The first of the findings as notes, and how many there are beside them. `policy` is its name where the answer is of
 * several. */
void noteFindings(const std::vector<Finding>& findings, Output& output, const char* policy = nullptr);

}  // namespace kelpolicy

#endif
