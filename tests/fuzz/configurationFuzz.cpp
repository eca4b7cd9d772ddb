/* Configuration text: validated, stored, and read back by the engine. */
#include "conversions.h"
#include "unit/trees.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const fuzz::BoundInstance instance;
    static const std::optional<std::string> first = fuzz::toStored("AUTO_RUNSTATS", "");  // sets up what is shared
    const std::string document(reinterpret_cast<const char*>(data), size);
    for (const char* type : fuzz::policyTypes) {
        static_cast<void>(fuzz::toStored(type, ""));  // its schema is built once and kept
        const fuzz::Balance balance;
        const std::optional<std::string> stored = fuzz::toStored(type, document);
        if (!stored.has_value() || fuzz::hasMarkupInText(document)) continue;
        fuzz::demand(parseTree(*stored) != nullptr, "what is stored can be read", *stored);
        const std::optional<std::string> back = fuzz::toConfiguration(type, *stored);
        fuzz::demand(back.has_value(), "what is stored can be shown", *stored);
        fuzz::demand(fuzz::toStored(type, *back).has_value(), "what is shown can be stored", *back);
        fuzz::demandFixedPoint(type, *back);
    }
    return 0;
}
