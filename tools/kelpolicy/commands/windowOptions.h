/* What the commands about maintenance windows share. */
#ifndef KELPOLICY_WINDOW_OPTIONS_H
#define KELPOLICY_WINDOW_OPTIONS_H

#include <optional>
#include <string>

#include "commands/command.h"
#include "configuration/policySource.h"
#include "sqlpiCommonPolicy.h"

namespace kelpolicy {

struct WindowOptions {
    std::string document{};
    std::string zone{};
    std::string at{};            /* as given; empty: now */
    std::string kind = "online"; /* or "offline" */
};

void addZoneOption(Command command, WindowOptions& options);
void addAtOption(Command command, WindowOptions& options);
void addKindOption(Command command, WindowOptions& options, const char* help);

/* Makes the zone the process's; without one the process keeps its own, and an unknown TZ is told. The policy table is
 * read in the engine's own zone; only answers are computed in the one asked for. */
void enterZone(const std::string& zone, Output& output);

/* The moment asked about, in the process's zone. */
int64_t momentOf(const WindowOptions& options);

/* The windows as the source says them; then the process is in the zone that the options name. */
class Windows {
public:
    /* Throws Failure. */
    Windows(const WindowOptions& options, const GlobalOptions& globals, Output& output);

    const sqlpiMaintWindow& record() const noexcept { return record_; }
    const sqlpiMaintWindowInfo& ofKind(const std::string& kind) const noexcept {
        return kind == "offline" ? record_.offline : record_.online;
    }
    int64_t at() const noexcept { return at_; } /* the moment asked about */
    PolicySource& source() noexcept { return source_; }

private:
    PolicySource source_;
    sqlpiMaintWindow record_;
    int64_t at_;
};

}  // namespace kelpolicy

#endif
