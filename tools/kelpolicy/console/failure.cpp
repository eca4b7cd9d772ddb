#include "console/failure.h"

#include <fmt/format.h>

#include "console/text.h"

namespace kelpolicy {

std::string shownDetail(const Failure& failure) {
    std::string shown = printable(failure.document);
    if (failure.line > 0) shown += fmt::format(":{}:{}", failure.line, failure.column);
    shown += fmt::format("{}error: {}\n", shown.empty() ? "" : ": ", printable(failure.detail));
    return shown + failure.excerpt;
}

}  // namespace kelpolicy
