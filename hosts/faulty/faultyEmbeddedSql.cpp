// Embedded SQL. A step that is planned to fail is not carried out; the area of its sqlastrt reports the failure.
#include "embeddedSql.h"
#include "faultPlan.h"
#include "hostError.h"

using faulty::countCall;
using faulty::Fault;
using faulty::Service;

namespace {

thread_local sqlca* area = nullptr;  // of the thread's last sqlastrt

void report(const Fault& fault, sqlca* ca) noexcept {
    if (ca != nullptr) kelhost::fillSqlca(*ca, fault.sqlcode, "58004", "");
}

template <class Real>
int32_t wrapStep(Service service, Real real) noexcept {
    const auto fault = countCall(service);
    if (!fault) return real();
    report(*fault, area);
    return -1;
}

}  // namespace

FAULTY_WRAP(int32_t, sqlastrt, (const struct sqlaProgramId* program, struct sqlca* ca)) {
    area = ca;
    return wrapStep(Service::sqlastrt, [&] { return __real_sqlastrt(program, ca); });
}

FAULTY_WRAP(int32_t, sqlaaloc, (uint32_t usage, uint32_t count)) {
    return wrapStep(Service::sqlaaloc, [&] { return __real_sqlaaloc(usage, count); });
}

FAULTY_WRAP(int32_t, sqlasetdata,
            (uint32_t usage, uint32_t first, uint32_t count, const struct sqlaVariable* variables)) {
    return wrapStep(Service::sqlasetdata, [&] { return __real_sqlasetdata(usage, first, count, variables); });
}

FAULTY_WRAP(int32_t, sqlastls, (uint32_t length, const char* text)) {
    return wrapStep(Service::sqlastls, [&] { return __real_sqlastls(length, text); });
}

FAULTY_WRAP(void, sqlacall, (uint32_t call, uint32_t section)) {
    const auto fault = countCall(Service::sqlacall);
    if (!fault) return __real_sqlacall(call, section);
    report(*fault, area);
}

FAULTY_WRAP(int32_t, sqlabndx,
            (const char* path, const char* messageFile, const struct sqloptList* options, struct sqlca* ca)) {
    const auto fault = countCall(Service::sqlabndx);
    if (!fault) return __real_sqlabndx(path, messageFile, options, ca);
    report(*fault, ca);
    return fault->sqlcode;
}
