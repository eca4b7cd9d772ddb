#include "configuration/policySource.h"

#include <fmt/format.h>

#include "configuration/documentLint.h"
#include "document/documentFile.h"

namespace kelpolicy {

PolicySource::PolicySource(const PolicyKind& kind, const std::string& path, const GlobalOptions& options,
                           Output& output)
    : kind_(kind), output_(output) {
    if (!path.empty()) {
        givenName_ = documentName(path);
        documentSession_.emplace(options, output);
        given_ = readDocument(path);
        verdict_ = judgeDocument(kind, *given_, DocumentOrigin::given, givenName_);
        return;
    }
    databaseSession_.emplace(options, output, Purpose::answer);
    row_ = readPolicyRow(kind.key);
    if (row_.has_value()) verdict_ = judgeStoredDocument(kind, row_->document);
}

const std::string* PolicySource::effectiveDocument() const noexcept {
    if (verdict_.problem.has_value()) return nullptr;
    if (given_.has_value()) return &*given_;
    return row_.has_value() ? &row_->document : nullptr;
}

std::string PolicySource::origin() const {
    if (!given_.has_value() && !row_.has_value())
        return fmt::format("no row {}: the built-in defaults are in force", kind_.key.name);
    const std::string from = given_.has_value() ? givenName_ : shownOrigin(kind_.key, *row_);
    if (verdict_.problem.has_value()) return from + " cannot be read: the built-in defaults are in force";
    return from;
}

void PolicySource::noteFindings() const {
    const std::string* document = effectiveDocument();
    if (document != nullptr && !verdict_.saysNothing) kelpolicy::noteFindings(lintDocument(kind_, *document), output_);
}

int PolicySource::finish(const RemarkFilter& isOfInterest) {
    if (databaseSession_.has_value()) databaseSession_->commit();
    if (verdict_.problem.has_value()) {
        output_.report(*verdict_.problem);
        return exitFailed;
    }
    if (!given_.has_value() && !row_.has_value()) output_.note(noteOfMissingRow(kind_.key));
    if (!verdict_.isFit()) output_.note(noteOfMisfit(kind_, verdict_, origin()));
    remarks_.tell(output_, "the engine logged", isOfInterest);
    return exitDone;
}

}  // namespace kelpolicy
