// The embedded-SQL runtime: gathers what a statement needs, then runs it through the session's packages.
#include <algorithm>

#include "engineContext.h"
#include "packages.h"
#include "reportTo.h"

namespace {

using kelhost::EngineContext;
using kelhost::failure;
using kelhost::Outcome;
using kelhost::Packages;
using kelhost::reportTo;

/* What the calling thread has handed over since sqlastrt. */
struct CurrentStatement {
    sqlca* ca = nullptr; /* null: none is started */
    kelhost::SectionId id{};
    kelhost::Variables inputs{};
    kelhost::Variables outputs{};
    std::string text{};
    bool failed = false;

    kelhost::Variables* of(uint32_t usage) noexcept {
        return usage == SQLA_INPUT ? &inputs : usage == SQLA_OUTPUT ? &outputs : nullptr;
    }
};

thread_local CurrentStatement current;

Outcome badArgument(int position, const char* function) {
    return failure("42815", std::to_string(position) + "\xFF" + function);
}

// Whether the bytes at `data` are what the type needs.
bool isUsable(const sqlaVariable& variable) noexcept {
    if (variable.data == nullptr && variable.length > 0) return false;
    if (variable.sqlType == SQL_INTEGER) return variable.length == sizeof(int32_t);
    return variable.sqlType == SQL_VARCHAR || variable.sqlType == SQL_LONGVARBINARY;
}

// One step of handing over; after one that failed the statement does not run.
template <class Work>
int32_t handOver(Work work) noexcept {
    if (current.ca == nullptr || current.failed) return -1;
    current.failed = reportTo(*current.ca, work) != 0;
    return current.failed ? -1 : 0;
}

Outcome callSection(Packages& packages, uint32_t call) {
    switch (call) {
        case SQLA_CALL_EXECUTE:
            return packages.execute(current.id, current.inputs);
        case SQLA_CALL_PREPARE:
            return packages.prepare(current.id, current.text);
        case SQLA_CALL_OPEN:
            return packages.open(current.id, current.inputs);
        case SQLA_CALL_FETCH:
            return packages.fetch(current.id, current.outputs);
        case SQLA_CALL_CLOSE:
            return packages.close(current.id);
        default:
            return badArgument(1, "sqlacall");
    }
}

}  // namespace

int32_t sqlastrt(const struct sqlaProgramId* program, struct sqlca* ca) {
    sqlastop();
    current.ca = ca;
    return handOver([&]() -> Outcome {
        if (EngineContext::current() == nullptr) return failure("08003", "the thread has no engine context");
        current.id.collection = program->collection;
        current.id.package = program->package;
        std::copy(std::begin(program->consistencyToken), std::end(program->consistencyToken), current.id.token.begin());
        return {};
    });
}

int32_t sqlaaloc(uint32_t usage, uint32_t count) {
    return handOver([&]() -> Outcome {
        kelhost::Variables* variables = current.of(usage);
        if (variables == nullptr) return badArgument(1, "sqlaaloc");
        if (count > kelhost::mostBindVariables) return badArgument(2, "sqlaaloc");
        variables->assign(count, sqlaVariable{SQL_VARCHAR, 0, nullptr, nullptr, nullptr});
        return {};
    });
}

int32_t sqlasetdata(uint32_t usage, uint32_t first, uint32_t count, const struct sqlaVariable* given) {
    return handOver([&]() -> Outcome {
        kelhost::Variables* variables = current.of(usage);
        if (variables == nullptr) return badArgument(1, "sqlasetdata");
        if (first > variables->size()) return badArgument(2, "sqlasetdata");
        if (count > variables->size() - first) return badArgument(3, "sqlasetdata");
        if (given == nullptr && count > 0) return badArgument(4, "sqlasetdata");
        if (!std::all_of(given, given + count, isUsable)) return badArgument(4, "sqlasetdata");
        std::copy(given, given + count, variables->begin() + first);
        return {};
    });
}

int32_t sqlastls(uint32_t length, const char* text) {
    return handOver([&]() -> Outcome {
        current.text.assign(text == nullptr ? "" : text, text == nullptr ? 0 : length);
        return {};
    });
}

void sqlacall(uint32_t call, uint32_t section) {
    handOver([&]() -> Outcome {
        EngineContext* context = EngineContext::current();
        if (context == nullptr) return failure("08003", "the thread has no engine context");
        current.id.section = section;
        return callSection(context->session().packages(), call);
    });
}

void sqlastop(void) {
    current.ca = nullptr;
    current.failed = false;
    current.inputs.clear();
    current.outputs.clear();
    current.text.clear();
}
