/* The host variables of a source: what BEGIN DECLARE SECTION ... END DECLARE SECTION declares. */
#ifndef KELPREP_HOST_VARIABLES_H
#define KELPREP_HOST_VARIABLES_H

#include <string>
#include <string_view>
#include <vector>

#include "bindFile.h"
#include "sourceScanner.h"

namespace kelprep {

enum class CppType {
    charArray,   /* char name[number] */
    charPointer, /* char* name: a terminated text, input only */
    int32,       /* int32_t name */
    int16,       /* int16_t name: a null indicator */
    blob,        /* sqlaBlob name */
};

struct HostVariable {
    std::string name{};
    CppType type = CppType::charArray;
    uint32_t size = 0; /* of a char array */
    bool isConst = false;
    size_t depth = 0; /* of the block that declares it */
};

/* Names are seen from their declaration to the end of its block, as in C++. */
class HostVariables {
public:
    /* The tokens of one declaration without its semicolon. Throws SourceError. */
    void declare(const std::vector<Token>& declaration, Place end, size_t depth);

    /* A block has ended; `depth` is that of the block around it. */
    void leaveBlock(size_t depth);

    /* Throws SourceError when no variable has that name here. */
    const HostVariable& find(const Token& name) const;

private:
    std::vector<HostVariable> variables_{};
};

/* One use of a variable in a statement, as sqlasetdata takes it. */
struct VariableUse {
    kelhost::BindVariable shape{};
    std::string code{}; /* a C++ expression that makes the sqlaVariable */
};

/* `indicator` may be null. Throws SourceError when the variable cannot be used so. */
VariableUse useAsInput(const HostVariable& variable, const HostVariable* indicator, Place place);
VariableUse useAsOutput(const HostVariable& variable, const HostVariable* indicator, Place place);

}  // namespace kelprep

#endif
