/* How much a test does: little, or as much as the environment says; scripts/proof does. */
#ifndef TESTS_PROOF_SIZE_H
#define TESTS_PROOF_SIZE_H

#include <cstdlib>

/* The number in the environment variable, or `usual` when it is not set. */
inline int proofSize(const char* variable, int usual) {
    const char* wanted = std::getenv(variable);
    return wanted == nullptr ? usual : std::atoi(wanted);
}

#endif
