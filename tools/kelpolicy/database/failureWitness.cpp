#include "database/failureWitness.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <vector>

#include "console/text.h"
#include "database/reportedFailure.h"
#include "logs.h"
#include "messages.h"

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

}  // namespace

Failure FailureWitness::failure(const std::string& what, const sqlca& ca) const {
    Failure failure = failureOf(what, ca);
    failure.tokens = tokensOf(ca);
    if (const char* hint = hintFor(ca.sqlcode, failure.tokens)) failure.hint = withDocumentation(hint);
    if (failure.sqlstate.find_first_of(std::string_view(" \0", 2)) != std::string::npos) failure.sqlstate = policyState;
    for (const kelhost::LogRecord& record : capture_.records(kelhost::LogKind::diagnostic))
        if (record.importance <= PD_ERROR && failure.detail.empty()) failure.detail = trimmedEnd(record.text);
    return failure;
}

}  // namespace kelpolicy
