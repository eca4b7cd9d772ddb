/* Stored text, whoever stored it: shown as configuration documents. */
#include "conversions.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const fuzz::BoundInstance instance;
    const std::string stored(reinterpret_cast<const char*>(data), size);
    for (const char* type : fuzz::policyTypes) {
        static_cast<void>(fuzz::toStored(type, ""));
        const fuzz::Balance balance;
        const std::optional<std::string> document = fuzz::toConfiguration(type, stored);
        fuzz::demand(document == fuzz::toConfiguration(type, stored), "a policy has one document");
        if (document.has_value() && !fuzz::hasMarkupInText(stored)) fuzz::demandFixedPoint(type, *document);
    }
    return 0;
}
