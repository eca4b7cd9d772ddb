/* What is wrong with a source, and where. */
#ifndef KELPREP_SOURCE_ERROR_H
#define KELPREP_SOURCE_ERROR_H

#include <cstddef>
#include <stdexcept>
#include <string>

namespace kelprep {

/* Both are counted from 1; the column in bytes. */
struct Place {
    size_t line = 1;
    size_t column = 1;
};

class SourceError : public std::runtime_error {
public:
    SourceError(Place place, const std::string& message) : std::runtime_error(message), place_(place) {}
    Place place() const noexcept { return place_; }

private:
    Place place_;
};

}  // namespace kelprep

#endif
