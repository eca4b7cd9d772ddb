/* What a host's own C++ functions throw. Never crosses the platform contracts. */
#ifndef KELHOST_HOST_ERROR_H
#define KELHOST_HOST_ERROR_H

#include <cstdint>
#include <stdexcept>
#include <string>

#include "sqlca.h"

namespace kelhost {

class HostError : public std::runtime_error {
public:
    HostError(int32_t sqlcode, std::string sqlstate, const std::string& message, std::string hint = {})
        : std::runtime_error(message), sqlcode_(sqlcode), sqlstate_(std::move(sqlstate)), hint_(std::move(hint)) {}

    int32_t sqlcode() const noexcept { return sqlcode_; }
    const std::string& sqlstate() const noexcept { return sqlstate_; } /* 5 characters */
    const std::string& hint() const noexcept { return hint_; }         /* what to do about it, or empty */

private:
    int32_t sqlcode_;
    std::string sqlstate_;
    std::string hint_;
};

/* A failure of the operating system: "<what>: <reason>", SQLCODE -902, SQLSTATE 58030. */
HostError systemError(const std::string& what, int errorNumber);

/* Fills an area with an outcome; `tokens` are separated by SQLCA_TOKEN_SEPARATOR and cut at the field's size. */
void fillSqlca(sqlca& ca, int32_t sqlcode, const char* sqlstate, const std::string& tokens) noexcept;

}  // namespace kelhost

#endif
