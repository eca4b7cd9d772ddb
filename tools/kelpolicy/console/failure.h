/* What went wrong, in words for a person and in codes for a program. */
#ifndef KELPOLICY_FAILURE_H
#define KELPOLICY_FAILURE_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace kelpolicy {

class Failure : public std::runtime_error {
public:
    Failure(const std::string& message, std::string advice, int32_t code, std::string state)
        : std::runtime_error(message), hint(std::move(advice)), sqlcode(code), sqlstate(std::move(state)) {}

    std::string hint; /* what to do about it */
    int32_t sqlcode;
    std::string sqlstate;
    std::string policy{}; /* NAME of the policy concerned, or empty */
    uint64_t line = 0;    /* place in its document, from 1; 0: nowhere in particular */
    uint64_t column = 0;
    std::vector<std::string> tokens{}; /* of the engine's message */
    std::string document{};            /* its path, or "<stdin>" */
    std::string detail{};              /* what is wrong there */
    std::string excerpt{};             /* for a terminal: the line of the document, and a caret below its column */
};

/* "PATH:LINE:COLUMN: error: DETAIL" with what of it is known, and the excerpt below it; fit for a terminal. */
std::string shownDetail(const Failure& failure);

/* Codes of failures that are told in more than one place. */
inline constexpr int32_t policyFileCode = -1436;     /* a document's file is missing, unreadable, empty or too large */
inline constexpr int32_t policyDocumentCode = -1438; /* a policy document cannot be read */
inline constexpr const char* policyState = "5U0ZZ";
inline constexpr int32_t systemErrorCode = -902; /* reading or writing failed */
inline constexpr const char* systemErrorState = "58030";
inline constexpr int32_t defectCode = -901; /* what should never happen */
inline constexpr const char* defectState = "58004";
inline constexpr int32_t unknownNameCode = -204;
inline constexpr const char* unknownNameState = "42704";
inline constexpr int32_t interruptedCode = -952; /* the user did not want it */
inline constexpr const char* interruptedState = "57014";

}  // namespace kelpolicy

#endif
