/* The statement with which the policy table is read. Internal. */
#ifndef SQLPI_POLICY_QUERY_H
#define SQLPI_POLICY_QUERY_H

#include <cstddef>
#include <cstdint>

constexpr size_t SQLPI_QUERY_SIZE = 2048;

/* Writes the statement that sqlpiGetPolicy executes, cut at the buffer's end when the keys are longer than it holds.
 * Returns false when `sinceTime` is out of range. */
bool sqlpiBuildPolicyQuery(char (&query)[SQLPI_QUERY_SIZE], const char* med, const char* decision, const char* name,
                           const int64_t* sinceTime) noexcept;

#endif
