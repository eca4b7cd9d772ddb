/* The C++ that stands in a prepared source. */
#ifndef KELPREP_GENERATED_CODE_H
#define KELPREP_GENERATED_CODE_H

#include <string>
#include <string_view>

#include "bindFile.h"

namespace kelprep {

/* What stands before the source: the package's identity, how a statement runs, and the line directive. */
std::string generatedHead(const kelhost::BindFile& file, std::string_view sourceName);

/* Statements in one line each, so that the lines of the source keep their numbers. */
std::string sectionCall(std::string_view kind, size_t section, const std::string& inputs, const std::string& outputs);
std::string prepareCall(size_t section, const std::string& text);

}  // namespace kelprep

#endif
